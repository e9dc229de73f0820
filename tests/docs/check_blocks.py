#!/usr/bin/env python3
"""Runs the code blocks of Markdown pages and checks that each shows exactly
what the real programs produce.

    check_blocks.py ZAB2VEDA ZABTOOL EXAMPLE_DIR PAGE.md...

Every fenced block (```) of a page must sit right under one marker line, an
HTML comment that says what the block shows:

  <!-- file: NAME -->               the whole file NAME of EXAMPLE_DIR
  <!-- file: NAME lines A-B -->     lines A to B of it (1-based, inclusive)
  <!-- console: exit N -->          a command and its standard output: the
                                    first line is "$ " and the command, run
                                    with bash in the work folder; the other
                                    lines are its standard output, exactly;
                                    N is its exit code; standard error must
                                    stay empty
  <!-- output: NAME -->             the whole file NAME of the work folder,
  <!-- output: NAME lines A-B -->   or lines A to B of it; the file must have
                                    been written by the page's latest command

The work folder is a fresh copy of EXAMPLE_DIR, one per page; the blocks of a
page run in order, so a page reads as one session. The programs' folder comes
first on PATH, so commands name zab2veda and zabtool as a user would. A block
without a marker, a marker without a block, an unknown marker or an indented
code block fails the check.
"""
import hashlib
import os
import re
import shutil
import subprocess
import sys
import tempfile

MARKER = re.compile(r"^<!-- (file|output): (\S+)(?: lines (\d+)-(\d+))? -->$|^<!-- console: exit (\d+) -->$")


def fail(where, what):
    raise SystemExit("%s: %s" % (where, what))


def blocks(page):
    """Yields (line number of the fence, marker line, block lines)."""
    lines = open(page, encoding="utf-8").read().split("\n")
    i = 0
    prev_blank = True
    while i < len(lines):
        line = lines[i]
        if line.startswith("```"):
            marker = lines[i - 1] if i > 0 else ""
            if not marker.startswith("<!--"):
                fail("%s:%d" % (page, i + 1), "code block without a marker line above it")
            end = i + 1
            while end < len(lines) and not lines[end].startswith("```"):
                end += 1
            if end == len(lines):
                fail("%s:%d" % (page, i + 1), "code block is not closed")
            yield i + 1, marker, lines[i + 1:end]
            i = end + 1
            prev_blank = False
            continue
        if re.match(r"^<!-- *(file|output|console)\b", line):
            if not MARKER.match(line):
                fail("%s:%d" % (page, i + 1), "malformed marker %r" % line)
            if i + 1 >= len(lines) or not lines[i + 1].startswith("```"):
                fail("%s:%d" % (page, i + 1), "marker not followed by a code block")
        if prev_blank and (line.startswith("    ") or line.startswith("\t")) and line.strip() \
                and not re.match(r"^\s*([-*|]|\d+\.)", line):
            fail("%s:%d" % (page, i + 1), "indented code block (use a fenced block with a marker)")
        prev_blank = line.strip() == ""
        i += 1


def file_lines(path):
    with open(path, encoding="utf-8", newline="") as f:
        text = f.read()
    if text and not text.endswith("\n"):
        return text.split("\n"), False
    return text.split("\n")[:-1], True


def compare(where, shown, path, first, last):
    actual, complete = file_lines(path)
    if first is None and not complete:
        fail(where, "%s does not end with a line end" % path)
    if first is not None:
        a, b = int(first), int(last)
        if not 1 <= a <= b <= len(actual):
            fail(where, "lines %d-%d outside %s (%d lines)" % (a, b, path, len(actual)))
        actual = actual[a - 1:b]
    if shown != actual:
        fail(where, "block differs from %s%s:\n%s" % (
            os.path.basename(path), "" if first is None else " lines %s-%s" % (first, last),
            "\n".join(diff(shown, actual))))


def diff(shown, actual):
    import difflib
    return difflib.unified_diff(shown, actual, "shown", "actual", lineterm="")


def snapshot(folder):
    state = {}
    for root, _, names in os.walk(folder):
        for n in names:
            p = os.path.join(root, n)
            with open(p, "rb") as f:
                state[os.path.relpath(p, folder)] = hashlib.md5(f.read()).hexdigest()
    return state


def check_page(page, example, bindir):
    checked = 0
    with tempfile.TemporaryDirectory() as work:
        for n in os.listdir(example):
            shutil.copy(os.path.join(example, n), work)
        env = dict(os.environ, PATH=bindir + os.pathsep + os.environ.get("PATH", ""), LC_ALL="C")
        written = None  # files the latest command created or changed
        for lineno, marker, shown in blocks(page):
            where = "%s:%d" % (page, lineno)
            m = MARKER.match(marker)
            if not m:
                fail(where, "unknown marker %r" % marker)
            kind, name, first, last, code = m.groups()
            if kind == "file":
                compare(where, shown, os.path.join(example, name), first, last)
            elif kind == "output":
                if written is None or name not in written:
                    fail(where, "%s was not written by the latest command" % name)
                compare(where, shown, os.path.join(work, name), first, last)
            else:
                if not shown or not shown[0].startswith("$ "):
                    fail(where, "a console block starts with \"$ \" and the command")
                before = snapshot(work)
                r = subprocess.run(["bash", "-c", shown[0][2:]], cwd=work, env=env,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                after = snapshot(work)
                written = {p for p in after if before.get(p) != after[p]}
                out = r.stdout.decode("utf-8")
                if out and not out.endswith("\n"):
                    fail(where, "output does not end with a line end")
                actual = out.split("\n")[:-1]
                if shown[1:] != actual:
                    fail(where, "console output differs:\n" + "\n".join(diff(shown[1:], actual)))
                if r.returncode != int(code):
                    fail(where, "exit code %d, the page says %s" % (r.returncode, code))
                if r.stderr:
                    fail(where, "unexpected standard error: " + r.stderr.decode("utf-8", "replace"))
            checked += 1
    if checked == 0:
        fail(page, "no code blocks")
    print("%s: %d blocks checked" % (page, checked))


def main():
    if len(sys.argv) < 5:
        raise SystemExit(__doc__)
    z2v, zabtool, example = sys.argv[1:4]
    bindir = os.path.dirname(os.path.abspath(z2v))
    if os.path.dirname(os.path.abspath(zabtool)) != bindir:
        raise SystemExit("zab2veda and zabtool must sit in one folder")
    for page in sys.argv[4:]:
        check_page(page, example, bindir)


if __name__ == "__main__":
    main()
