#!/usr/bin/env python3
"""An independent model of zab2veda's dump mode, used to check the golden
expectations of the dump cases byte for byte.

It reads a case's JSON ZAB source the way the JSON form defines it (label and
text numbering, record order by label numbers, defaults, aliases) and builds
the console report and the CSV dump from scratch: listing columns, the blank
run after the name, the two counts, quoted fields cut at 255 bytes, set text
numbers, the five lines of variables and equations, default special-value
texts and the 15-digit number format. It shares no code with the program.

    dump_oracle.py GOLDEN_CASES_DIR     checks every case listed in CASES
    dump_oracle.py --generated ZAB2VEDA ZABTOOL
        writes synthetic files with `zabtool gen` (every symbol type, sparse
        grids, special values), turns each into JSON with `zabtool dump`, and
        compares zab2veda's listing and dump with the model's
"""
import json
import math
import os
import subprocess
import sys
import tempfile

# case folder -> (JSON source, ZAB file name as the program sees it, CSV path);
# None for the CSV path: the dump fails, with the error lines of FAILURES.
CASES = {
    "cli_zab_completion": ("model.json", "model.zab", "model.csv"),
    "cli_other_extension": ("model.json", "model.dat", "model.csv"),
    "cli_dot_in_directory": ("model.json", "dir.v1/model.zab", "dir.v1/model.csv"),
    "cli_trailing_dot": ("model.json", "model.", "model.csv"),
    "dump_scalars_only": ("scalars.json", "scalars.zab", "scalars.csv"),
    "dump_mixed_dimensions": ("mixed.json", "mixed.zab", "mixed.csv"),
    "dump_name_lengths": ("names.json", "names.zab", "names.csv"),
    "dump_sets_and_texts": ("sets.json", "sets.zab", "sets.csv"),
    "dump_special_values": ("special.json", "special.zab", "special.csv"),
    "dump_aliases_and_other_types": ("alias.json", "alias.zab", "alias.csv"),
    "dump_variables_and_equations": ("vareq.json", "vareq.zab", "vareq.csv"),
    "dump_empty_file": ("empty.json", "empty.zab", "empty.csv"),
    "dump_long_fields": ("long.json", "long.zab", "long.csv"),
    "dump_cannot_create": ("model.json", "model.zab", None),
    "dump_write_fails": ("model.json", "model.zab", None),
}
FAILURES = {
    "dump_cannot_create": "*** Could not open file: model.csv\n*** Msg: Is a directory\n",
    "dump_write_fails": "*** Could not write file: model.csv\n*** Msg: No space left on device\n",
}

SPECIAL = {"UNDEF": 1e300, "NA": 2e300, "+INF": 3e300, "INF": 3e300, "-INF": 4e300,
           "MINF": 4e300, "EPS": 5e300, "NaN": math.nan, "Infinity": math.inf,
           "-Infinity": -math.inf}
TYPES = {"set": 0, "parameter": 1, "variable": 2, "equation": 3, "alias": 4}
FILE_SPECIALS = [1e300, 2e300, 3e300, 4e300, 5e300]
DEFAULT_TEXTS = ["8888888888", "9999999999", "+1e30", "-1e30", "0"]
TYPE_WORDS = ["Set ", "Par ", "Var ", "Equ "]
SUFFIXES = ["l", "m", "lo", "up", "lm"]


def value(v):
    return SPECIAL[v] if isinstance(v, str) else float(v)


def fold(s):
    return "".join(chr(ord(c) + 32) if "A" <= c <= "Z" else c for c in s)


def load(path):
    doc = json.load(open(path, encoding="utf-8"))
    labels, label_nr = [], {}
    texts, text_nr = [], {}

    def label(s):
        if fold(s) not in label_nr:
            labels.append(s)
            label_nr[fold(s)] = len(labels)
        return label_nr[fold(s)]

    def text(s):
        if not s:
            return 0
        if s not in text_nr:
            texts.append(s)
            text_nr[s] = len(texts)
        return text_nr[s]

    for s in doc.get("uels", []):
        label(s)
    for s in doc.get("texts", []):
        text(s)
    symbols = []
    for sym in doc["symbols"]:
        t = sym["type"]
        t = TYPES[t] if isinstance(t, str) else t
        entry = {"name": sym["name"], "type": t, "text": sym.get("text", "")}
        if t == 4:
            of = next(s for s in symbols if fold(s["name"]) == fold(sym["of"]))
            entry["dim"], entry["records"] = of["dim"], of["records"]
            symbols.append(entry)
            continue
        entry["dim"] = sym["dim"]
        recs = []
        for r in sym.get("records", []):
            key = tuple(label(k) for k in r["keys"])
            if t == 0:
                vals = [float(text(r.get("text", ""))), 0, 0, 0, 0]
            elif t in (2, 3):
                vals = [value(r.get("level", 0)), value(r.get("marginal", 0)),
                        value(r.get("lower", 0)), value(r.get("upper", "+INF")),
                        value(r.get("scale", 1))]
            else:
                vals = [value(r.get("value", 0)), 0, 0, 0, 0]
            recs.append((key, vals))
        recs.sort(key=lambda kv: kv[0])
        entry["records"] = recs
        symbols.append(entry)
    return labels, texts, symbols


def dbltostr(x):
    if math.isnan(x):
        return "NaN"
    if math.isinf(x):
        return "Inf" if x > 0 else "-Inf"
    if x == 0:
        return "0"
    sign = "-" if x < 0 else ""
    a = abs(x)
    mant, exp = ("%.14E" % a).split("E")
    e = int(exp)
    digits = mant.replace(".", "")  # 15 digits
    if 1e-4 <= a < 1e15:
        if e >= 0:
            d = digits + "000000"
            s = d[:1 + e] + "." + d[1 + e:]
        else:
            s = "0." + "0" * (-e - 1) + digits
        s = s.rstrip("0").rstrip(".")
        return sign + s
    m = digits[0] + "." + digits[1:]
    m = m.rstrip("0").rstrip(".")
    return sign + m + ("E" + ("-" if e < 0 else "") + str(abs(e)) if e != 0 else "")


def field(s):
    """A quoted bounded field: cut at 255 bytes, quotes included."""
    return ('"' + s + '"').encode("utf-8")[:255].decode("utf-8", "ignore")


def write_value(v):
    for i, sv in enumerate(FILE_SPECIALS):
        if v == sv:
            return DEFAULT_TEXTS[i]
    return dbltostr(v)


def expected(json_path, fnzab, fncsv):
    labels, texts, symbols = load(json_path)
    out = ["--- ZAB File : Symbols=%d UELs=%d" % (len(symbols), len(labels)), "",
           "Content of ZAB %s dump written to %s" % (fnzab, fncsv_display(fnzab)), "",
           "Num Typ Dim Count  Name"]
    cnt = cnt1 = 0
    maxdim = 0
    for n, s in enumerate(symbols, 1):
        count = len(s["records"])
        maxdim = max(maxdim, s["dim"])
        word = TYPE_WORDS[s["type"]] if 0 <= s["type"] <= 3 else ""
        ln = len(s["name"])
        blanks = 12 - ln if ln <= 11 else (1 if ln <= 13 else ln - 12)
        out.append("%3d %s%3d%6d  %s%s%s" % (n, word, s["dim"], count, s["name"],
                                             " " * blanks, s["text"]))
        cnt += count
        cnt1 += 5 * count if s["type"] in (2, 3) else count
    out.append("%17d  ZAB record count" % cnt)
    out.append("%17d  CSV record count (including header)" % (cnt1 + 1))
    stdout = "\n".join(out) + "\n"

    f0 = field(fnzab.rsplit("/", 1)[-1])
    lines = [",".join([f0, field("Name")] + [field("Index %d" % i)
                                              for i in range(1, maxdim + 1)]) +
             ',"Value","Text"']
    for s in symbols:
        t = s["type"]
        if t > 3 or t < 0:
            continue
        for key, vals in s["records"]:
            idx = [field(labels[k - 1]) for k in key] + [""] * (maxdim - len(key))
            if t in (2, 3):
                for i in range(5):
                    lines.append(",".join([f0, field(s["name"] + "." + SUFFIXES[i])] + idx) +
                                 "," + write_value(vals[i]))
                continue
            head = ",".join([f0, field(s["name"])] + idx) + ","
            if t == 1:
                lines.append(head + write_value(vals[0]))
            else:
                nr = math.floor(vals[0] + 0.5)
                lines.append(head + str(nr) + ("," + field(texts[nr - 1]) if nr else ""))
    return stdout, "\n".join(lines) + "\n"


def fncsv_display(fnzab):
    slash, dot = fnzab.rfind("/"), fnzab.rfind(".")
    return (fnzab[:dot] if dot > slash else fnzab) + ".csv"


GENERATED = [
    ["--records", "3000", "--symbols", "4", "--dim", "3", "--type", "mixed",
     "--density", "0.3", "--specials", "0.2", "--texts", "7"],
    ["--records", "500", "--symbols", "3", "--dim", "0", "--type", "mixed"],
    ["--records", "2000", "--symbols", "2", "--dim", "5", "--type", "variable",
     "--density", "0.05", "--specials", "0.5", "--seed", "7"],
    ["--records", "1000", "--symbols", "2", "--dim", "1", "--type", "set", "--texts", "3"],
]


def check_generated(z2v, zabtool):
    failures = 0
    with tempfile.TemporaryDirectory() as work:
        for i, opts in enumerate(GENERATED):
            name = "gen%d" % i
            zab = os.path.join(work, name + ".zab")
            subprocess.run([zabtool, "gen", zab] + opts, check=True, stdout=subprocess.DEVNULL)
            src = os.path.join(work, name + ".json")
            subprocess.run([zabtool, "dump", zab, src], check=True)
            run = subprocess.run([z2v, name], cwd=work, stdout=subprocess.PIPE)
            want_out, want_csv = expected(src, name + ".zab", name + ".csv")
            got_csv = open(os.path.join(work, name + ".csv"), encoding="utf-8").read()
            if run.returncode != 0 or run.stdout.decode("utf-8") != want_out:
                print("FAIL gen %s: listing differs from the model" % " ".join(opts))
                failures += 1
            if got_csv != want_csv:
                print("FAIL gen %s: dump differs from the model" % " ".join(opts))
                failures += 1
    print("%d generated files checked, %d failures" % (len(GENERATED), failures))
    return 1 if failures else 0


def main():
    if sys.argv[1] == "--generated":
        return check_generated(sys.argv[2], sys.argv[3])
    root = sys.argv[1]
    failures = 0
    for case, (src, fnzab, fncsv) in sorted(CASES.items()):
        d = os.path.join(root, case)
        want_out, want_csv = expected(os.path.join(d, src), fnzab, fncsv)
        got_out = open(os.path.join(d, "expected", "stdout"), encoding="utf-8").read()
        if fncsv is None:  # the listing, then the two error lines
            want_out += FAILURES[case]
        elif open(os.path.join(d, "expected", "files", fncsv), encoding="utf-8").read() != want_csv:
            print("FAIL %s: %s differs from the model" % (case, fncsv))
            failures += 1
        if got_out != want_out:
            print("FAIL %s: stdout differs from the model" % case)
            failures += 1
    print("%d cases checked, %d failures" % (len(CASES), failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
