// zabtool build: a ZAB file from its JSON form.
//
// The document is read as a stream: labels, texts and records go to the
// writer as they are parsed (what must wait for later members is kept, see
// json_build.cc). A fault is reported with the JSON path where it sits
// ("symbols[3].records[17].keys: expected 2 labels, got 3"). The output
// file appears only when everything succeeded; it is written as output.h
// describes (links followed, devices and pipes written in place, "-"
// standard output).
#pragma once

#include <string>

namespace zabtool {

// Builds outPath from the JSON text in sourcePath ("-": standard input).
// Returns false with a message (path of the fault first) in `error`.
bool buildFromJsonFile(const std::string& sourcePath, const std::string& outPath,
                       std::string& error);

// Same from JSON text in memory (tests).
bool buildFromJsonText(const std::string& jsonText, const std::string& outPath, std::string& error);

}  // namespace zabtool
