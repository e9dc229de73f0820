// The VDD reader: loads a VEDA Data Definition file into vdd::def.
//
// Lexical layer (reader state in vdd::def: line, origLine, expandedLine,
// token, numLine, numToken, numErr):
// - nextLine() hands the parser the next line that is neither empty, blank
//   nor a comment ("*" as the very first byte, before trimming); lines are
//   cut at 255 bytes.
// - getToken1(buffer) takes one token off the front of a non-empty buffer:
//   a leading comma, semicolon or tab gives an empty token; a double-quoted
//   token may hold blanks, commas and tabs (a comma right after the closing
//   quote is dropped); an unquoted token ends at the first blank of the
//   buffer, or, only when there is no blank at all, at the first comma, or
//   else at the first tab. The rest is left trimmed in the buffer.
// - getExpandedToken() is getToken() where a tab name stands for its short
//   names; the pending short names wait in def.expandedLine, also across lines.
// - reportError(msg) prints "*** " + msg (cut at 255) and counts it in
//   def.numErr; liner() is the " in line N: <line as read>" suffix.
// loadVdd(file) reads the whole file, section by section; every problem is
// reported and counted, loading goes on. It resets only the counts it owns,
// so a second load needs resetDefinition() first. loadVddText(text) loads the
// bytes of text as the file's contents, line by line through the same reader
// (text must stay alive until it returns).
#pragma once

#include <string_view>

#include "runtime/short_string.h"
#include "vdd/definition.h"

namespace vdd {

void loadVdd(std::string_view fileName);
void loadVddText(std::string_view text);

bool nextLine();
bool getToken1(rt::ShortStr& buffer);
bool getToken();  // getToken1(def.line)
bool getExpandedToken();
// The idiom of every parser: the next plain token, or empty at the line's end.
void nextToken();
rt::ShortStr liner();
void reportError(std::string_view message);

}  // namespace vdd
