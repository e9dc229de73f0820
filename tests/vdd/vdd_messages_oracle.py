#!/usr/bin/env python3
"""An independent model of the VDD reader's messages, checked against zab2veda
on many generated VDD files.

The model reads a VDD file line by line the way the reader is documented to:
the untrimmed comment test, the 255-byte line cut, the tokenizer (blank before
comma before tab, quotes, a comma after a closing quote dropped but not a
semicolon), tab names expanded into their places with the pending places kept
across lines, every section's checks in their order, the abrupt stop in
[ParentSubSets] and the closing Attribute check. It predicts every line that
loading prints and the "--- VEDA Cube: Dimensions=" line with the four counts.
It shares no code with the program.

    vdd_messages_oracle.py ZAB2VEDA ZABTOOL [RUNS]

Each run writes a generated VDD file, converts a one-symbol ZAB file with it
and compares standard output from the line after "--- ZAB File" up to the
cube line. The generator is seeded, so a failure repeats; the failing VDD file
is printed with the difference.
"""
import difflib
import json
import os
import random
import re
import subprocess
import sys
import tempfile

HEADERS = ["[Options]", "[ParentDimension]", "[ParentDimensionTextAll]", "[ParentSubSets]",
           "[SpecialValues]", "[Dimensions]", "[DataEntries]", "[DataBaseName]",
           "[DimensionText]", "[DimensionTextAll]", "[SubSets]"]
SUFFIXES = ["l", "m", "lo", "up", "lm"]


def trim(s):
    b, e = 0, len(s)
    while b < e and ord(s[b]) <= 32:
        b += 1
    while e > b and ord(s[e - 1]) <= 32:
        e -= 1
    return s[b:e]


def cut(s):
    return s[:255]


def fold(s):
    return s.translate(str.maketrans("ABCDEFGHIJKLMNOPQRSTUVWXYZ", "abcdefghijklmnopqrstuvwxyz"))


class Model:
    def __init__(self):
        self.out = []
        self.codes = {}  # folded name -> (index, code)
        self.names = []
        self.tab = [-1] * 51
        self.places = [[] for _ in range(51)]
        self.line = self.orig = self.expanded = self.token = ""
        self.numline = self.numtoken = 0

    # messages
    def report(self, text):
        self.out.append("*** " + cut(text))

    def liner(self):
        return cut(" in line %d: %s" % (self.numline, self.orig))

    # names
    def add_name(self, name, dim, pos):
        key = fold(cut(name))
        if key not in self.codes:
            self.codes[key] = (len(self.names), dim * 65536 + pos)
            self.names.append(cut(name))
        return self.codes[key][0]

    def index(self, name):
        entry = self.codes.get(fold(cut(name)))
        return entry[0] if entry else -1

    def code(self, i):
        return self.codes[fold(self.names[i])][1]

    def dim_of_index(self, i):
        return 0 if i < 0 else self.code(i) >> 16

    def place_of_index(self, i):
        if i < 0:
            return 0
        p = self.code(i) & 0xFFFF
        return p - 65536 if p >= 32768 else p

    def dim_of(self, name):
        return self.dim_of_index(self.index(name))

    def place_count(self, d):
        return -1 if self.tab[d] == -1 else len(self.places[d])

    # tokens
    def token1(self, which):
        s = getattr(self, which)
        self.numtoken += 1
        c = s[0]
        if c in ",;\t":
            self.token = ""
            setattr(self, which, trim(s[1:]))
            return
        if c == '"':
            p = s.find('"', 1)
            if p < 0:
                self.report('Unmatched " for token %d' % self.numtoken + self.liner())
                self.token = s[1:]
                setattr(self, which, "")
                return
            self.token = s[1:p]
            rest = trim(s[p + 1:])
            if rest and rest[0] in ",\t":
                rest = trim(rest[1:])
            setattr(self, which, rest)
            return
        p = s.find(" ")
        if p < 0:
            p = s.find(",")
        if p < 0:
            p = s.find("\t")
        if p < 0:
            self.token = s
            setattr(self, which, "")
        else:
            self.token = s[:p]
            setattr(self, which, trim(s[p + 1:]))

    def plain(self):
        if self.line:
            self.token1("line")
        else:
            self.token = ""

    def expanded_token(self):
        while True:
            if self.expanded:
                self.token1("expanded")
                return True
            if not self.line:
                self.token = ""
                return False
            self.token1("line")
            i = self.index(self.token)
            if i < 0 or self.place_of_index(i) > 0:
                return True
            words = []
            for p in self.places[self.dim_of_index(i)]:
                name = self.names[p]
                if " " in name:
                    q = '"' if '"' not in name else "'"
                    name = q + name + q
                words.append(name)
            self.expanded = cut(" ".join(words))

    # the file
    def load(self, data):
        counts = {"dim": 0, "entry": 0, "text": 0, "subset": 0}
        self.atrpos = 0
        self.literals = 0
        self.parent = -1
        self.dimsubset = [0] * 51
        self.subset_name, self.nextset, self.nextsubset = {}, {}, {}
        section = None
        lines = data.split(b"\n")
        if lines[-1] == b"":
            lines.pop()
        for raw in lines:
            self.numline += 1
            raw = raw[:255].decode("latin-1")
            if raw == "" or raw[0] == "*":
                continue
            self.orig, self.line = raw, trim(raw)
            if not self.line:
                continue
            self.numtoken = 0
            self.plain()
            header = [h for h in HEADERS if fold(h) == fold(self.token)]
            if header:
                section = header[0]
                if section == "[Dimensions]" and counts["dim"] > 0:
                    self.report("Multiple Dimensions sections header" + self.liner())
                if section == "[DataEntries]" and counts["entry"] > 0:
                    self.report("Multiple DataEntries sections header" + self.liner())
                continue
            if section is None:
                self.report("Looking for section headers" + self.liner())
            elif not self.parse(section, counts):
                break
        if self.atrpos == 0:
            self.report("Dummy for Attribute not found")
        self.out.append("--- VEDA Cube: Dimensions=%(dim)d Entries=%(entry)d Text=%(text)d "
                        "SubSets=%(subset)d" % counts)
        return self.out

    def parse(self, section, counts):
        if section == "[Dimensions]":
            self.dimensions(counts)
        elif section == "[DataEntries]":
            self.data_entry(counts)
        elif section in ("[DimensionText]", "[DimensionTextAll]"):
            self.text_entry(counts)
        elif section in ("[SubSets]", "[ParentSubSets]"):
            return self.subset(counts, section == "[ParentSubSets]")
        elif section == "[ParentDimension]":
            self.parent_dimension()
        elif section == "[ParentDimensionTextAll]":
            self.parent_text()
        elif section == "[Options]":
            self.option()
        elif section == "[SpecialValues]":
            if fold(self.token) not in ("eps", "inf", "minf", "na", "undef"):
                self.report("Unexpected token:" + self.token + self.liner())
        return True

    def dimensions(self, counts):
        if counts["dim"] == 50:
            self.report("Too many dimensions, max = 50" + self.liner())
            return
        d = counts["dim"] + 1
        name = self.token
        self.tab[d] = self.add_name(name, d, 0)
        counts["dim"] = d
        while self.line:
            self.token1("line")
            self.places[d].append(self.add_name(self.token, d, len(self.places[d]) + 1))
        if not self.places[d]:
            self.places[d].append(self.add_name(cut(name + "_"), d, 1))
        if self.atrpos == 0:
            self.atrpos = self.dim_of("Attribute")

    def data_entry(self, counts):
        if counts["entry"] == 500:
            self.report("Too many dateentries, max = 500" + self.liner())
            return
        counts["entry"] += 1
        self.plain()
        if self.token == "":
            self.report("Missing ZAB name" + self.liner())
        dot = self.token.find(".")
        if dot >= 0 and fold(self.token[dot + 1:]) not in SUFFIXES:
            self.report("Unknown ZAB suffix" + self.liner())
        items = []
        while self.expanded_token():
            t = self.token
            if t and t[0] == "/" and t[-1] == "/":
                if self.literals == 100:
                    self.report("Too many literals")
                self.literals += 1
                items.append(-self.literals)
                continue
            i = self.index(t)
            if i < 0:
                self.report("Unknown Dummy Dimension " + t + self.liner())
            elif i in items:
                self.report("The dummy argument " + t + " is not unique" + self.liner())
            else:
                items.append(i)

    def text_entry(self, counts):
        if counts["text"] == 200:
            self.report("Too many text entries, max = 200" + self.liner())
            return
        counts["text"] += 1
        items = 0
        while self.expanded_token():
            if self.index(self.token) < 0:
                self.report("Dummy entry " + self.token + " unknown" + self.liner())
                break
            items += 1
        if items == 0:
            self.report("Dummy text missing" + self.liner())

    def subset(self, counts, parent_line):
        if counts["subset"] == 200:
            self.report("Too many subset definitions max=200" + self.liner())
            return True
        counts["subset"] += 1
        k = counts["subset"]
        if parent_line and self.parent == -1:
            self.report("[ParentDimension] must come before [ParentSubSets]" + self.liner())
            return True
        name = self.token
        self.plain()
        if self.token == "":
            self.report("Missing orma name" + self.liner())
            return True
        self.expanded_token()
        first = self.token
        if first == "":
            self.report("Missing dimension name" + self.liner())
            return True
        d = self.dim_of(first)
        if d == 0:
            self.report("Unknown dimension " + first + self.liner())
            return True
        if d == self.atrpos:
            self.report("Cannot define subsets for " + first + self.liner())
            return True
        if not parent_line:
            while self.expanded_token():
                if self.dim_of(self.token) != d:
                    self.report("Tuple in subset definition does not match previous one, " +
                                name + self.liner())
                    break
        else:
            self.expanded_token()
            fourth = self.token
            if fourth == "":
                self.report("Additional token expected for subset " + name)
                return False
            if self.dim_of(fourth) == 0:
                self.report("Unknown dimension " + fourth + self.liner())
                return True
        return True

    def one_dimensional(self, what):
        d = self.dim_of(self.token)
        if d == 0:
            self.report(what + self.token + " is not declared")
            return 0
        if self.place_count(d) != 1:
            self.report(what + self.token + " is not one-dimensional")
            return 0
        return d

    def parent_dimension(self):
        if self.token == "":
            return
        d = self.one_dimensional("ParentDimension: Tab ")
        if d == 0:
            return
        self.parent = d
        children = []
        while self.line:
            self.token1("line")
            child = self.one_dimensional("ParentDimension: Tab ")
            if child == 0:
                return
            if child in children:
                self.report("Duplicate child: " + self.token)
                return
            children.append(child)

    def parent_text(self):
        if self.token == "":
            return
        for _ in range(2):
            self.plain()
            if self.dim_of(self.token) == 0:
                self.report("ParentDimensionTextAll: Tab " + self.token + " is not declared")
                return

    def option(self):
        keyword = self.token
        k = fold(keyword)
        if k in ("tupleseparator", "scenario"):
            self.plain()
        elif k in ("showallseparators", "relaxdimensionall"):
            pass
        elif k == "valuedim":
            self.plain()
            text = trim(self.token)
            value = 0
            if re.fullmatch(r"[+-]?[0-9]+", text) and -2**31 <= int(text) < 2**31:
                value = int(text)
            else:
                self.report("ValueDim value not recognized:" + self.token + self.liner())
            if value not in (1, 2):
                self.report("ValueDim value illegal:" + self.token + self.liner())
        elif k == "setsallowed":
            while self.line:
                self.token1("line")
                if self.dim_of(self.token) == 0:
                    self.report("SetsAllowed: Tab " + self.token + " is not found")
                    return
        elif k == "format":
            self.plain()
            if fold(self.token) not in ("csv", "veda"):
                self.report("format option needs csv or veda as argument")
        elif k == "not-0":
            while self.line:
                self.token1("line")
        else:
            self.report("Unexpected option:" + keyword + self.liner())


WORDS = ["Attribute", "attr", "Reg", "r", "Links", "ii", "jj", "Big", '"big city"', "q", "One",
         "o", "Two", "w", "p", "s", "/x/", "/y/", "/", "x.l", "p.M", "p.scale", "ValueDim", "2",
         "3", "-1", "SetsAllowed", "not-0", "format", "CSV", "veda", "EPS", "na", "abc",
         "TupleSeparator", "Scenario", ",", ";", '"', "a,b", "\t", "Reg_", "x\r", "  *"]
CUBE = ["[Dimensions]", "Attribute attr", "Reg r", "Links ii jj", 'Big "big city" q', "One o",
        "Two w"]


def generate(rng):
    lines = list(CUBE) if rng.random() < 0.6 else []
    if lines and rng.random() < 0.5:
        lines += ["[ParentDimension]", rng.choice(["One Two", "Reg One", "Two", "Links"])]
    for _ in range(rng.randint(1, 45)):
        if rng.random() < 0.15:
            header = rng.choice(HEADERS)
            lines.append(header.lower() if rng.random() < 0.1 else header)
        else:
            words = [rng.choice(WORDS) for _ in range(rng.randint(0, 8))]
            lead = rng.choice(["", "", "", " ", "*"])
            lines.append(lead + " ".join(words))
    if rng.random() < 0.1:
        lines.append("Reg " + "r " * 150)  # longer than 255 bytes
    if lines and rng.random() < 0.1:  # past the 100 literals
        lines += ["[DataEntries]"] + ["L%d p " % i + "/v/ " * 60 for i in range(rng.randint(1, 3))]
    return ("\n".join(lines) + "\n").encode()


def main():
    if len(sys.argv) < 3:
        sys.exit("usage: vdd_messages_oracle.py ZAB2VEDA ZABTOOL [RUNS]")
    z2v, zabtool = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
    runs = int(sys.argv[3]) if len(sys.argv) > 3 else 600
    rng = random.Random(20261121)
    with tempfile.TemporaryDirectory() as work:
        source = os.path.join(work, "m.json")
        with open(source, "w") as f:
            json.dump({"symbols": [{"name": "p", "type": "parameter", "dim": 1,
                                    "records": [{"keys": ["a"], "value": 1}]}]}, f)
        zab = os.path.join(work, "m.zab")
        subprocess.run([zabtool, "build", source, zab], check=True, capture_output=True)
        vdd = os.path.join(work, "f.vdd")
        for run in range(runs):
            data = generate(rng)
            with open(vdd, "wb") as f:
                f.write(data)
            result = subprocess.run([z2v, zab, vdd], capture_output=True, cwd=work)
            lines = result.stdout.decode("latin-1").split("\n")[1:]
            end = next((i for i, l in enumerate(lines) if l.startswith("--- VEDA Cube: Dim")), None)
            got = lines[:end + 1] if end is not None else lines
            want = Model().load(data)
            if got != want:
                print("run %d: the VDD file" % run)
                print(data.decode("latin-1"))
                print("\n".join(difflib.unified_diff(want, got, "model", "zab2veda", lineterm="")))
                return 1
    print("%d VDD files: every message as the model predicts" % runs)
    return 0


if __name__ == "__main__":
    sys.exit(main())
