#!/usr/bin/env python3
"""Checks that docs/messages.md lists every message zab2veda can print, and
nothing else.

    check_messages.py SOURCE_ROOT MESSAGES.md [--show]

The messages are taken from the code: every call of a reporting function (the
list below) in the converter's folders of src/, with the string literals in
its arguments; the reasons that the library loader gives (texts assigned to
its message, printed after "*** Msg: ") count as calls too. A message built
from pieces ("Dimension name " + tab + " not unique" + liner()) is listed in
the page with placeholders for the variable parts. For every call, one
listed message must match it:
- it holds the call's literals in their order, starting with the first one
  when the call's message starts with a literal (after the fixed start that
  some reporting functions add: "Internal error: ", "--- VEDA Cube: ");
- where an expression stands between two literals of one argument, or after
  the last literal of the message, the listed message has a placeholder
  ("<name>", or the word a caller passes), or " in line <n>: <line>" for
  liner(); literals with nothing between them are adjacent; the message ends
  where the call's message ends.
In the other direction, every listed message must be the message of some
call, so that a message the code no longer prints does not stay in the page.
A function that hands a string parameter on to a reporting function must be
one of the reporting functions or a known forwarder of names (lists below),
so that a new wrapper can't hide its callers' messages. --show prints what
was extracted.

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
             "countLine", "isOneDimensionalTab", "out", "outLn", "fputs"]
# Functions that hand a string parameter on to a reporting function, but whose
# callers pass names (of files, symbols, subsets, store operations), not
# message texts. Any other such function fails the check until it is put in
# one of the two lists, so that no message can hide behind a new wrapper.
NAME_FORWARDERS = ["writeSummary", "addSubsetElements", "loadOpened", "createOrFail",
                   "listItem", "appendInOrder", "checkRange", "checkNameIndex",
                   "reportShortRead", "checkSuffix", "findTextTab", "checkChildren"]
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


DEFINITION = re.compile(r"^[\w:<>&*\s\[\]]*?\b(\w+)\s*\(([^()]*)\)\s*(?:const\s*)?\{", re.M)
STRING_PARAM = re.compile(r"(?:(?:string_view|ShortStr|string)\b|char\s*\*).*?(\w+)\s*$")


def skip_quoted(text, i):
    """The index after the string or character literal that starts at i."""
    if text[i] == '"':
        return LITERAL.match(text, i).end()
    j = i + 1
    while text[j] != "'":
        j += 2 if text[j] == "\\" else 1
    return j + 1


def body(text, start):
    """The text from start to the brace that closes the block opened before it."""
    depth, i = 1, start
    while depth:
        if text[i] in "\"'":
            i = skip_quoted(text, i)
            continue
        depth += text[i] == "{"
        depth -= text[i] == "}"
        i += 1
    return text[start:i - 1]


def wrappers(root):
    """Yields (place, name) of every function that passes one of its string
    parameters to a reporting function."""
    for rel, text in sources(root):
        for m in DEFINITION.finditer(text):
            params = [STRING_PARAM.search(p) for p in m.group(2).split(",")]
            names = [p.group(1) for p in params if p]
            if not names or m.group(1) in ("if", "for", "while", "switch"):
                continue
            code = body(text, m.end())
            for call in CALL.finditer(code):
                args = arguments(code, call.end())
                if any(re.search(r"\b%s\b" % n, args) for n in names):
                    yield "%s:%d" % (rel, text.count("\n", 0, m.start()) + 1), m.group(1)
                    break


def sources(root):
    """(path relative to root, text without comments) of the scanned files."""
    for folder in FOLDERS:
        for dirpath, _, names in os.walk(os.path.join(root, folder)):
            for n in sorted(names):
                if not n.endswith(".cc"):
                    continue
                rel = os.path.relpath(os.path.join(dirpath, n), root)
                if rel not in SKIP:
                    yield rel, strip_comments(open(os.path.join(root, rel), encoding="utf-8").read())


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
    for rel, text in sources(root):
        found = [(m, arguments(text, m.end())) for m in CALL.finditer(text)]
        if rel.startswith("src/zab/"):
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
    seen = set()
    for place, name in wrappers(root):
        seen.add(name)
        if name not in REPORTERS and name not in NAME_FORWARDERS:
            errors.append("%s: %s hands a string parameter to a reporting function: add it to"
                          " REPORTERS (its callers pass message texts) or NAME_FORWARDERS" % (place, name))
    for name in NAME_FORWARDERS:
        if name not in seen:
            errors.append("NAME_FORWARDERS: %s hands no string parameter to a reporting function"
                          " (any more): take it off the list" % name)
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
