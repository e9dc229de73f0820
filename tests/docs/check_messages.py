#!/usr/bin/env python3
"""Checks that docs/messages.md lists every message zab2veda can print, and
nothing else.

    check_messages.py SOURCE_ROOT MESSAGES.md [--show]

The messages are taken from the code: every call of a reporting function (the
list below) in the converter's folders of src/, with the string literals in
its arguments. A message built from pieces ("Dimension name " + tab + " not
unique" + position) is listed in the page with placeholders for the variable
parts; the check wants, for every call, one listed message that holds the
call's literals in their order, and that starts with the first literal when
the message starts with one (after the fixed start that some reporting
functions add: "Internal error: ", "--- VEDA Cube: "). Where an expression
stands between two literals of one argument, the listed message has one
placeholder there ("<name>", or the word a caller passes), or the line position " in line <n>: <line>" for
liner(); literals with nothing between them must be adjacent; and what
follows the last literal of a message's only argument ends the listed message
in the same way. The reasons that the
library loader gives (texts assigned to its message, printed after "*** Msg: ")
count as calls too. In the other direction, every listed message must be the
message of some call, so that a message the code no longer prints does not
stay in the page. --show prints what was extracted.

Listed messages are the first column of the page's tables, in one code span,
with the "*** " that starts an error line.
"""
import os
import re
import sys

FOLDERS = ["src/driver", "src/vdd", "src/veda", "src/zab", "src/runtime", "src/core"]
# Files that print fixed texts of their own (help, usage, the summary file,
# the CSV dump) rather than messages.
SKIP = {"src/driver/usage.cc", "src/vdd/vdd_help.cc", "src/vdd/vdd_summary.cc"}
REPORTERS = ["reportError", "report", "reportFileError", "failFile", "fail", "stop",
             "fileFailure", "libraryMessage", "internalError", "violated", "zabErrorHandling",
             "countLine", "out", "outLn", "fputs"]
# The fixed start that a reporting function puts before its argument.
PREFIX = {"internalError": "Internal error: ", "violated": "Internal error: TDimensionStore.",
          "countLine": "--- VEDA Cube: ", "msg =": "Msg: "}

LITERAL = re.compile(r'"((?:[^"\\]|\\.)*)"')
CALL = re.compile(r"(?<![\w.>])(?:\w+::)*(%s)\s*\(" % "|".join(REPORTERS))
# The library loader's reasons: msg = <expression>;
MSG_SET = re.compile(r"(?<![\w.>])(msg =)\s*")


def unescape(s):
    return s.encode("latin-1").decode("unicode_escape")


def strip_comments(text):
    out, i = [], 0
    while i < len(text):
        if text.startswith("//", i):
            j = text.find("\n", i)
            i = len(text) if j < 0 else j
        elif text.startswith("/*", i):
            i = text.find("*/", i) + 2
        elif text[i] == '"':
            m = LITERAL.match(text, i)
            out.append(m.group(0))
            i = m.end()
        elif text[i] == "'":
            j = i + 1
            while text[j] != "'":
                j += 2 if text[j] == "\\" else 1
            out.append(text[i:j + 1])
            i = j + 1
        else:
            out.append(text[i])
            i += 1
    return "".join(out)


def arguments(text, start):
    """The text between the parenthesis at start - 1 and its partner."""
    depth, i = 1, start
    while depth:
        c = text[i]
        if c == '"':
            i = LITERAL.match(text, i).end()
            continue
        if c == "'":
            i = text.index("'", i + 2 if text[i + 1] == "\\" else i + 1) + 1
            continue
        depth += c == "("
        depth -= c == ")"
        i += 1
    return text[start:i - 1]


def statement(text, start):
    """The text from start to the end of its statement (the next top-level ;)."""
    i, depth = start, 0
    while text[i] != ";" or depth:
        if text[i] == '"':
            i = LITERAL.match(text, i).end()
            continue
        depth += text[i] == "("
        depth -= text[i] == ")"
        i += 1
    return text[start:i]


PLACEHOLDER = r'(?:"?<[^<>]+>"?|\w+)'


def gap_pattern(gap):
    """What a listed message holds between two literals of a call: for each
    expression there, a placeholder (quoted when the code quotes the value),
    or a word where the page names the value a caller passes ("--- VEDA
    Cube: TextRecords="); the line position for liner()."""
    if re.search(r"(^|[^(]*\))[^()]*,", gap) or "?" in gap:
        return ".*?"  # another argument, or a choice: anything
    out = ""
    for piece in gap.split("+"):
        code = re.sub(r"[\s()]|\.view|(?:\w+::)*(?:ShortStr|string_view|string)\b", "", piece)
        if code == "liner":
            out += re.escape(" in line <n>: <line>")
        elif code:
            out += PLACEHOLDER
    return out


def pattern(args, anchored, whole):
    """The regular expression a listed message of this call must match."""
    spans = list(LITERAL.finditer(args))
    out = "^" if anchored else ""
    for k, m in enumerate(spans):
        lit = unescape(m.group(1))
        if k == 0 and lit.startswith("*** "):
            lit = lit[4:]
        if k > 0:
            out += gap_pattern(args[spans[k - 1].end():m.start()])
            out += re.escape(lit)
        elif "?" in args[:m.start()]:
            out += "(?:%s|%s)" % (PLACEHOLDER, re.escape(lit))  # value or default
        else:
            out += re.escape(lit)
    if whole:
        rest = gap_pattern(args[spans[-1].end():])
        if rest != ".*?":
            out += rest + "$"
    return re.compile(out)


def calls(root):
    """Yields (place, literals, starts_with_literal, prefix) per reporting call."""
    for folder in FOLDERS:
        for dirpath, _, names in os.walk(os.path.join(root, folder)):
            for n in sorted(names):
                if not n.endswith(".cc"):
                    continue
                path = os.path.join(dirpath, n)
                rel = os.path.relpath(path, root)
                if rel in SKIP:
                    continue
                text = strip_comments(open(path, encoding="utf-8").read())
                found = [(m, arguments(text, m.end())) for m in CALL.finditer(text)]
                if folder == "src/zab":
                    found += [(m, statement(text, m.end())) for m in MSG_SET.finditer(text)]
                for m, args in found:
                    lits = [unescape(x) for x in LITERAL.findall(args)]
                    if not any(re.search(r"[A-Za-z]", x) for x in lits):
                        continue
                    head = re.sub(r"^[\s(]*(?:(?:\w+::)*\w+\(\s*)*", "", args)
                    line = text.count("\n", 0, m.start()) + 1
                    # Console pieces may continue a line: not anchored.
                    piece = m.group(1) in ("out", "outLn")
                    anchored = head.startswith('"') and not piece
                    yield ("%s:%d" % (rel, line), pattern(args, anchored, not piece), lits,
                           PREFIX.get(m.group(1), ""))


def listed(page):
    """The messages of the page: the code span in the first cell of table rows."""
    entries = []
    for lineno, line in enumerate(open(page, encoding="utf-8"), 1):
        m = re.match(r"^\| `([^`]+)` \|", line)
        if m:
            entries.append((lineno, m.group(1)))
    return entries


def holds(entry, regex, prefix):
    body = entry[4:] if entry.startswith("*** ") else entry
    return body.startswith(prefix) and regex.search(body[len(prefix):]) is not None


def main():
    if len(sys.argv) < 3:
        raise SystemExit(__doc__)
    root, page = sys.argv[1], sys.argv[2]
    found = list(calls(root))
    entries = listed(page)
    if "--show" in sys.argv:
        for place, regex, lits, prefix in found:
            print(place, repr(prefix), regex.pattern)
    if len(found) < 100 or len(entries) < 100:
        raise SystemExit("only %d calls and %d listed messages found: is the extraction broken?"
                         % (len(found), len(entries)))
    errors = []
    used = set()
    for place, regex, lits, prefix in found:
        hits = [n for n, e in entries if holds(e, regex, prefix)]
        if not hits:
            errors.append("%s: no listed message matches %r (the call's texts: %s)" % (
                place, prefix + regex.pattern, ", ".join(repr(x) for x in lits)))
        used.update(hits)
    for n, e in entries:
        if n not in used:
            errors.append("%s:%d: %r is no message of the code" % (page, n, e))
    if errors:
        raise SystemExit("\n".join(errors))
    print("%d reporting calls, all among the %d listed messages" % (len(found), len(entries)))


if __name__ == "__main__":
    main()
