#!/usr/bin/env python3
"""One thread against many: conversions and dumps of generated ZAB files give
the same standard output, exit code and files, byte for byte, with any number
of threads and any batch size.

    threads_compare.py ZAB2VEDA ZABTOOL [ROUNDS]

Each round builds a random model from JSON (sets with element texts, a
parent mapping, parameters, variables and equations with zeros and special
values, labels of mixed letter case) and runs definitions that
use literals, zero suppression, ValueDim 2, the CSV format, special-value
texts, multi-place tabs, element texts and subsets; then `zabtool gen` files
of every symbol type are dumped and converted. Every run is made with
ZAB2VEDA_THREADS=1 and compared with runs on 2, 3 and 7 threads with batches
of 1, 7 and the default number of records.
"""
import json
import os
import random
import shutil
import subprocess
import sys
import tempfile

Z2V, ZABTOOL = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
ROUNDS = int(sys.argv[3]) if len(sys.argv) > 3 else 4
SPECIALS = ["UNDEF", "NA", "+INF", "-INF", "EPS"]
THREADED = [("2", "1"), ("3", "7"), ("7", None), ("2", None)]


def value(rng, zeros=0.25):
    r = rng.random()
    if r < zeros:
        return 0
    if r < zeros + 0.1:
        return rng.choice(SPECIALS)
    if r < zeros + 0.2:
        return rng.randint(-5, 5)
    return round(rng.uniform(-1e4, 1e4), rng.randint(0, 12))


def model(rng):
    regions = ["r%d" % i for i in range(rng.randint(3, 9))] + ["North", "r10"]
    techs = ["T%02d" % i for i in range(rng.randint(2, 12))]
    years = [str(2020 + 5 * i) for i in range(rng.randint(1, 6))]
    countries = ["EU", "ASIA", "AM"]
    syms = []

    def set_(name, dim_lists, text_share=0.6):
        recs = []
        for keys in grid(dim_lists):
            if rng.random() < 0.7:
                r = {"keys": keys}
                if rng.random() < text_share:
                    r["text"] = "text of %s %s" % (name, " ".join(keys))
                recs.append(r)
        syms.append({"name": name, "type": "set", "dim": len(dim_lists), "records": recs})

    def grid(lists):
        out = [[]]
        for lst in lists:
            out = [k + [x] for k in out for x in lst]
        return out

    def par(name, lists, density):
        recs = [{"keys": k, "value": value(rng)} for k in grid(lists) if rng.random() < density]
        syms.append({"name": name, "type": "parameter", "dim": len(lists), "records": recs})

    def var(name, typ, lists, density):
        recs = []
        for k in grid(lists):
            if rng.random() < density:
                recs.append({"keys": k, "level": value(rng), "marginal": value(rng, 0.5),
                             "lower": value(rng, 0.6), "upper": value(rng, 0.2)})
        syms.append({"name": name, "type": typ, "dim": len(lists), "records": recs})

    set_("reg", [regions])
    set_("tec", [techs])
    set_("yr", [years], 0.2)
    set_("cmap", [countries, regions], 0.5)
    set_("ren", [techs], 0)
    par("cap", [regions, techs, years], rng.uniform(0.3, 1))
    par("cost", [techs, years], rng.uniform(0.5, 1))
    var("act", "variable", [regions, techs, years], rng.uniform(0.3, 1))
    var("bal", "equation", [regions, years], 1)
    par("tot", [], 1)
    return {"uels": regions + techs + years + countries, "symbols": syms}


DEFINITIONS = {
    "plain.vdd": """[Dimensions]
Attribute attr
Region    r
Tech      t
Year      y
[DataEntries]
Capacity cap   r t y
Cost     cost  t y
Level    act.l r t y
Marginal act.m r t y
Upper    act.up r t y
Dual     bal.m r y
Total    tot
[DimensionText]
reg r
tec t
[SubSets]
ren ren t
[Options]
not-0 Capacity Level
[SpecialValues]
EPS "tiny"
INF 1e20
NA ""
UNDEF 0.0
""",
    "literal.vdd": """[Dimensions]
Attribute attr
Region    r
Tech      t
Year      y
[DataEntries]
North  cap   /north/ t y
Late   cap   r t /2030/
Both   act.lm /r1/ t y
Cost   cost  t y
[Options]
not-0 North Both
ValueDim 2
""",
    "wide.vdd": """[DataBaseName]
Wide
[Dimensions]
Attribute attr
Region    r
TechYear  t y
Country   cn
[ParentDimension]
Country Region
[DataEntries]
Capacity cap   r t y
Activity act.lm r t y
Balance  bal.l r y
[DimensionText]
reg r
[DimensionTextAll]
tec TechYear
[ParentDimensionTextAll]
cmap Country Region
[SubSets]
ren ren t
[Options]
TupleSeparator "|"
ShowAllSeparators
RelaxDimensionAll
ValueDim 2
not-0 Activity
[SpecialValues]
EPS "eps"
INF "inf"
MINF -1e20
""",
    "csv.vdd": """[DataBaseName]
CsvRun
[Dimensions]
Attribute attr
Year      y
Region    r
Tech      t
[DataEntries]
Capacity cap  r t y
Cost     cost t y
Level    act.l r t y
[DimensionText]
reg r
[SubSets]
ren ren t
[Options]
Format CSV
TupleSeparator "."
not-0 Cost
""",
}

failures = 0


def run(workdir, args, threads, batch):
    env = dict(os.environ)
    env["ZAB2VEDA_THREADS"] = threads
    env.pop("ZAB2VEDA_BATCH_RECORDS", None)
    if batch is not None:
        env["ZAB2VEDA_BATCH_RECORDS"] = batch
    p = subprocess.run([Z2V] + args, cwd=workdir, env=env, stdout=subprocess.PIPE,
                       stderr=subprocess.PIPE)
    files = {}
    for root, _, names in os.walk(workdir):
        for n in names:
            path = os.path.join(root, n)
            with open(path, "rb") as fh:
                files[os.path.relpath(path, workdir)] = fh.read()
    return p.returncode, p.stdout, p.stderr, files


def compare(src_dir, args, label):
    global failures
    results = []
    for threads, batch in [("1", None)] + THREADED:
        work = tempfile.mkdtemp(dir=TOP)
        for n in os.listdir(src_dir):
            shutil.copy(os.path.join(src_dir, n), work)
        results.append(((threads, batch), run(work, args, threads, batch)))
        shutil.rmtree(work)
    (_, base) = results[0]
    if os.environ.get("SHOW"):
        print(label, base[0], base[1].decode(), sorted((k, v.count(b"\n")) for k, v in base[3].items()))
    if base[2]:
        print("FAIL %s: standard error %r" % (label, base[2]))
        failures += 1
    for (tb, r) in results[1:]:
        what = []
        if r[0] != base[0]:
            what.append("exit code %d, one thread %d" % (r[0], base[0]))
        if r[1] != base[1]:
            what.append("standard output")
        if r[2] != base[2]:
            what.append("standard error")
        for name in sorted(set(base[3]) | set(r[3])):
            if base[3].get(name) != r[3].get(name):
                what.append("file " + name)
        if what:
            print("FAIL %s with threads=%s batch=%s: %s differ" % (label, tb[0], tb[1], ", ".join(what)))
            failures += 1
    return base


TOP = tempfile.mkdtemp()
try:
    lines = 0
    for rnd in range(ROUNDS):
        rng = random.Random(1000 + rnd)
        src = os.path.join(TOP, "src%d" % rnd)
        os.mkdir(src)
        with open(os.path.join(src, "m.json"), "w") as fh:
            json.dump(model(rng), fh)
        subprocess.run([ZABTOOL, "build", "m.json", "m.zab"], cwd=src, check=True,
                       stdout=subprocess.DEVNULL)
        os.remove(os.path.join(src, "m.json"))
        for name, text in DEFINITIONS.items():
            with open(os.path.join(src, name), "w") as fh:
                fh.write(text)
        for name in DEFINITIONS:
            base = compare(src, ["m.zab", name], "round %d %s" % (rnd, name))
            lines += sum(v.count(b"\n") for k, v in base[3].items() if k.endswith((".vd", ".csv")))
        compare(src, ["m.zab"], "round %d dump" % rnd)
    # generated files of every type, dense and sparse, with special values
    gen = os.path.join(TOP, "gen")
    os.mkdir(gen)
    with open(os.path.join(gen, "g.vdd"), "w") as fh:
        fh.write("[Dimensions]\nAttribute attr\nPair a b\nThird c\n[DataEntries]\n"
                 "Par p1 a b c\nVar v2.lm a b c\nEqu e4.m a b c\n"
                 "[Options]\nValueDim 2\nnot-0 Par\n")
    for seed, density in ((1, 1), (2, 0.3)):
        subprocess.run([ZABTOOL, "gen", "g.zab", "--records", "3000", "--symbols", "4", "--dim", "3",
                        "--type", "mixed", "--specials", "0.2", "--density", str(density),
                        "--seed", str(seed)], cwd=gen, check=True, stdout=subprocess.DEVNULL)
        base = compare(gen, ["g.zab"], "gen seed %d dump" % seed)
        lines += base[3].get("g.csv", b"").count(b"\n")
        base = compare(gen, ["g.zab", "g.vdd"], "gen seed %d conversion" % seed)
        lines += base[3].get("g.vd", b"").count(b"\n")
    print("compared %d lines of output" % lines)
finally:
    shutil.rmtree(TOP)
sys.exit(1 if failures else 0)
