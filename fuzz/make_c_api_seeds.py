#!/usr/bin/env python3
"""Writes the seed call sequences of fuzz_c_api into the folder given.

    python3 fuzz/make_c_api_seeds.py fuzz/corpus/fuzz_c_api [fuzz/regress/fuzz_c_api]

With a second folder, also the two misuse sequences (null pointers, a file
rewritten in place under its reader) that the library did not survive when
they were written; they are kept as reproducers, not as seeds.

The byte layout is the one fuzz_c_api.cc reads: an operation byte
((op << 1) | object), then its arguments.
"""
import pathlib
import sys

out = pathlib.Path(sys.argv[1])
out.mkdir(parents=True, exist_ok=True)
NAMES = ["i", "j", "I", "p", "x", "s", "S", "a", "b", "A", "seoul", "SEOUL", "t", "", "x1", "tx"]
SPECIAL = {"undef": 5, "na": 6, "inf": 7, "minf": 8, "eps": 9, "nan": 13, "pinf": 14}


def op(o, obj=0): return bytes([(o << 1) | obj])
def s(n): return bytes([NAMES.index(n)])
def i(v): return bytes([v + 2])                   # integers -2..237
def num(v): return bytes([16 + v])                # small whole numbers as values
def sp(name): return bytes([SPECIAL[name]])
def keys(*ks): return b"".join(s(k) for k in ks) + s("i") * (20 - len(ks))
def vals(*vs): return b"".join(vs) + num(0) * (5 - len(vs))


def write_file(f=0):
    p = op(2) + bytes([f]) + s("t")
    p += op(15) + op(16) + s("i") + op(16) + s("j") + op(16) + s("seoul") + op(16) + s("SEOUL")
    p += op(17) + op(18) + s("t")
    p += op(19) + s("s") + s("t") + bytes([2]) + i(0) + i(0)  # set s(i)
    p += op(21) + bytes([1]) + keys("i") + vals(num(1)) + keys("j") + vals(num(0)) + op(23)
    p += op(19) + s("p") + s("") + bytes([3]) + i(1) + i(7)  # parameter p(i,j)
    p += op(21) + bytes([3]) + keys("i", "j") + vals(num(5)) + keys("j", "i") + vals(sp("eps"))
    p += keys("seoul", "i") + vals(sp("nan")) + keys("i", "i") + vals(sp("undef")) + op(23)
    p += op(20) + s("x") + s("tx") + bytes([2]) + i(2) + i(0)  # variable x(i), raw keys
    p += op(22) + bytes([1]) + i(1) + i(0) * 19
    p += vals(num(3), sp("pinf"), num(0), sp("inf"), num(1)) + i(3) + i(0) * 19 + vals(num(2))
    p += op(23)
    p += op(19) + s("b") + s("") + bytes([1]) + i(3) + i(0)  # scalar equation
    p += op(21) + bytes([0]) + keys() + vals(num(9), num(1)) + op(23)
    p += op(24) + s("s") + s("a") + s("t")  # alias a of s
    return p + op(3)


def read_file(f=0, obj=1):
    p = op(1, obj) + bytes([f]) + op(4, obj) + op(13, obj) + bytes([17, 18, 19, 20, 21, 10, 0])
    for sym in (1, 2, 3, 4, 5):
        p += op(5, obj) + i(sym) + op(7, obj) + i(sym) + bytes([7]) + op(8, obj) + i(sym) + bytes([7])
    p += op(10, obj) + i(1) + op(11, obj) + i(3) + op(12, obj) + s("SEOUL") + op(6, obj) + s("A")
    return p + op(26, obj)


(out / "write_read").write_bytes(write_file() + read_file())
# f0 rewritten (renamed over) while object 1 reads it
(out / "rewrite_under_reader").write_bytes(
    write_file() + op(1, 1) + bytes([0]) + op(7, 1) + i(2) + bytes([1]) + write_file()
    + op(30, 1) * 3 + op(3, 1))
# misuse: writes without a file, bad dimension, empty name, duplicate keys,
# a raw key that is no label, alias of a parameter, empty label, long text
bad = op(21) + bytes([0]) + keys("i") + vals(num(0)) + op(23) + op(2) + bytes([4]) + s("t") + op(26)
bad += op(2) + bytes([1]) + s("t") + op(19) + s("p") + s("") + bytes([23]) + i(1) + i(0)
bad += op(19) + s("") + s("") + bytes([2]) + i(1) + i(0)
bad += op(19) + s("p") + s("") + bytes([2]) + i(1) + i(0)
bad += op(21) + bytes([1]) + keys("i") + vals(num(1)) + keys("I") + vals(num(2)) + op(23)
bad += op(20) + s("x") + s("") + bytes([2]) + i(1) + i(0) + op(22) + bytes([0]) + i(99)
bad += i(0) * 19 + vals(num(0)) + op(23)
bad += op(24) + s("p") + s("a") + s("") + op(16) + s("") + op(18) + bytes([250]) + op(3)
bad += op(25) + bytes([255]) + op(27) + s("p") + bytes([3]) + bytes([2] * 8)
bad += op(28) + i(11) + op(28) + i(10) + op(29) + s("t")
(out / "errors").write_bytes(bad)
# a byte of a closed file damaged, then the file opened; objects recreated
(out / "damage").write_bytes(
    write_file() + op(31) + bytes([0]) + bytes([0x41]) + i(100) + op(1, 1) + bytes([0])
    + op(26, 1) + op(0) + bytes([1, 0]) + op(0, 1) + bytes([0]))
if len(sys.argv) < 3:
    sys.exit(0)
regress = pathlib.Path(sys.argv[2])
regress.mkdir(parents=True, exist_ok=True)
# bytes of the record area rewritten in place while object 1 reads the file
(regress / "crash-rewrite-in-place-under-reader").write_bytes(
    write_file() + op(1, 1) + bytes([0]) + op(8, 1) + i(2) + bytes([1])
    + op(33, 1) + bytes([0xff] * 8) + bytes([7]) + i(3) + bytes([15]))
# null pointers, on a writing object and on a null object
nulls = op(2) + bytes([1]) + s("t") + op(19) + s("p") + s("") + bytes([2]) + i(1) + i(0)
for k in range(24):
    nulls += op(32) + bytes([1, k])
(regress / "crash-null-write-value-array").write_bytes(nulls + op(32) + bytes([0, 10]))
