#!/usr/bin/env python3
"""Builds the seed inputs of fuzz_convert and fuzz_dump from the golden cases.

    python3 fuzz/make_seeds.py build/bin/zabtool OUTDIR

writes OUTDIR/fuzz_convert/<case> (flags, VDD length, VDD, ZAB file: the
layout fuzz_convert.cc reads) for every conversion case with one ZAB source
and one VDD, and OUTDIR/fuzz_dump/<case> (a ZAB file) for every ZAB source.
The committed corpora are these seeds minimised with libFuzzer's -merge=1
(see fuzz/README.md).
"""
import os
import pathlib
import subprocess
import sys
import tempfile

zabtool, out = sys.argv[1], pathlib.Path(sys.argv[2])
root = pathlib.Path(__file__).resolve().parent.parent
cases = sorted((root / "tests/golden/cases").iterdir())
(out / "fuzz_convert").mkdir(parents=True, exist_ok=True)
(out / "fuzz_dump").mkdir(parents=True, exist_ok=True)


def build(json_file):
    with tempfile.TemporaryDirectory() as tmp:
        zab = pathlib.Path(tmp) / "x.zab"
        subprocess.run([zabtool, "build", str(json_file), str(zab)], check=True,
                       stdout=subprocess.DEVNULL)
        return zab.read_bytes()


examples = [root / "examples/transport"]
for case in cases + examples:
    jsons = sorted(case.glob("*.json"))
    vdds = sorted(case.glob("*.vdd"))
    for j in jsons:
        (out / "fuzz_dump" / f"{case.name}_{j.stem}").write_bytes(build(j))
    if len(jsons) != 1 or len(vdds) != 1:
        continue
    args = (case / "args").read_text().split() if (case / "args").exists() else []
    flags = 0
    if len(args) > 2 and args[2].lower().endswith(".csv"):
        flags |= 1
    if len(args) > 3:
        flags |= 2
    vdd = vdds[0].read_bytes()[:65535]
    seed = bytes([flags, len(vdd) & 255, len(vdd) >> 8]) + vdd + build(jsons[0])
    (out / "fuzz_convert" / case.name).write_bytes(seed)
