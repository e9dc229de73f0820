#!/usr/bin/env bash
# zabtool build from a symbol dump: `zab2veda m.zab`, `zabtool build m.csv`
# into another directory, `zab2veda` of the rebuilt m.zab gives the same CSV
# byte for byte (same file name, so the file-name field agrees too). For the
# example, for gen files of several sizes and dimensions with special values,
# and for files made to be hard: label numbers in neither sort order nor order
# of first appearance, unused element texts, cut fields, numbers at the
# boundaries of the dump's number forms, a header wider than every symbol
# with records. A CSV written by hand in the dump's form comes back unchanged.
#
#   csv_roundtrip_test.sh ZABTOOL ZAB2VEDA EXAMPLES_DIR
set -u
tool=$(realpath "$1") z2v=$(realpath "$2") examples=$(realpath "$3")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail=0

# rebuild NAME: dumps $work/NAME/a/m.zab, builds b/m.zab from the CSV, dumps it, compares.
rebuild() {
  local d=$work/$1
  (cd "$d/a" && "$z2v" m.zab >/dev/null) || { echo "FAIL $1: dump of the source"; fail=1; return; }
  compare "$1" "$d/a/m.csv"
}
# compare NAME CSV: builds $work/NAME/b/m.zab from CSV, dumps it, compares with CSV.
compare() {
  local d=$work/$1
  mkdir -p "$d/b"
  if ! "$tool" build "$2" "$d/b/m.zab" >"$d/out" 2>&1; then
    echo "FAIL $1: build from CSV"; cat "$d/out"; fail=1; return
  fi
  (cd "$d/b" && "$z2v" m.zab >/dev/null) || { echo "FAIL $1: dump of the rebuilt file"; fail=1; return; }
  if ! cmp -s "$2" "$d/b/m.csv"; then
    echo "FAIL $1: the dumps differ"; diff "$2" "$d/b/m.csv" | head -10; fail=1
  fi
}
from_json() {  # from_json NAME JSON-FILE
  mkdir -p "$work/$1/a"
  "$tool" build "$2" "$work/$1/a/m.zab" || { echo "FAIL $1: JSON build"; fail=1; return; }
  rebuild "$1"
}

from_json transport "$examples/transport/transport.json"

while read -r name args; do
  mkdir -p "$work/$name/a"
  # shellcheck disable=SC2086
  "$tool" gen "$work/$name/a/m.zab" $args >/dev/null || { echo "FAIL $name: gen"; fail=1; continue; }
  rebuild "$name"
done <<EOF
gen-2d --type mixed --specials 0.1 --symbols 8 --records 2000 --dim 2
gen-scalars --type mixed --specials 0.1 --symbols 4 --records 1 --dim 0
gen-1d-texts --type mixed --specials 0.1 --symbols 8 --records 3000 --dim 1 --labels 5000 --texts 10000
gen-5d-sparse --type mixed --specials 0.1 --symbols 4 --records 500 --dim 5 --density 0.3
gen-20d --type mixed --specials 0.1 --symbols 4 --records 40 --dim 20
gen-3d-large --type mixed --specials 0.1 --symbols 4 --records 100000 --dim 3 --seed 7
EOF

# Labels numbered x y a b Z c: first seen in the dump as x b y a c Z.
cat >"$work/order.json" <<'EOF'
{"uels": ["x", "y", "a", "b", "Z", "c"], "symbols": [
 {"name": "A", "type": "parameter", "dim": 2,
  "records": [{"keys": ["x", "b"], "value": 1}, {"keys": ["y", "a"], "value": 2}]},
 {"name": "B", "type": "set", "dim": 1, "records": [{"keys": ["a"]}, {"keys": ["b"]}, {"keys": ["c"]}]},
 {"name": "C", "type": "parameter", "dim": 1,
  "records": [{"keys": ["Z"], "value": 3}, {"keys": ["c"], "value": 4}]}]}
EOF
from_json label-order "$work/order.json"

long() { printf "$1%.0s" $(seq "$2"); }
cat >"$work/edges.json" <<EOF
{"texts": ["unused", "$(long t 253)", "$(long u 254)", "$(long w 255)", "also unused"], "symbols": [
 {"name": "s", "type": "set", "dim": 1, "records": [
  {"keys": ["$(long a 253)"], "text": "$(long w 255)"}, {"keys": ["$(long b 254)"], "text": "$(long t 253)"},
  {"keys": ["$(long c 255)"], "text": "$(long u 254)"}, {"keys": ["d"]}]},
 {"name": "p", "type": "parameter", "dim": 1, "records": [
  {"keys": ["v01"], "value": 999999999999999.9}, {"keys": ["v02"], "value": -999999999999999.9},
  {"keys": ["v03"], "value": 9.999999999999999e-05}, {"keys": ["v04"], "value": 1e-4},
  {"keys": ["v05"], "value": 1.0000000000000002e+300}, {"keys": ["v06"], "value": 2.9999999999999996e+300},
  {"keys": ["v07"], "value": 1.7976931348623157e308}, {"keys": ["v08"], "value": -1.7976931348623157e308},
  {"keys": ["v09"], "value": 5e-324}, {"keys": ["v10"], "value": "NaN"}, {"keys": ["v11"], "value": "-Infinity"},
  {"keys": ["v12"], "value": "UNDEF"}, {"keys": ["v13"], "value": "NA"}, {"keys": ["v14"], "value": "EPS"},
  {"keys": ["v15"], "value": -0.0}, {"keys": ["v16"], "value": 0.30000000000000004}]},
 {"name": "e", "type": "equation", "dim": 0, "records": [{"keys": [], "level": "-INF", "scale": 1e-9}]},
 {"name": "wide", "type": "variable", "dim": 4},
 {"name": "ss", "type": "alias", "of": "s"}]}
EOF
from_json edges "$work/edges.json"

# By hand, in the dump's form: unused text numbers 1 and 3, a numbered empty
# text, a text and a label holding quotes, the special-value texts.
mkdir -p "$work/hand"
cat >"$work/hand/m.csv" <<'EOF'
"m.zab","Name","Index 1","Index 2","Value","Text"
"m.zab","s","b",,2,"second"
"m.zab","s","a",,5,""
"m.zab","s","c",,4,"x","y"
"m.zab","t","b",,0
"m.zab","t","c",,2,"second"
"m.zab","u","a",,0
"m.zab","p","b","a",8888888888
"m.zab","p","b","c",1E-4
"m.zab","p","a","b",1000000000000000
"m.zab","p","c","q"uote",0.0001
"m.zab","v.l",,,1E300
"m.zab","v.m",,,+1e30
"m.zab","v.lo",,,-1e30
"m.zab","v.up",,,NaN
"m.zab","v.lm",,,-Inf
"m.zab","w","a","a",9999999999
EOF
compare hand "$work/hand/m.csv"
# What the dump does not say is assumed: a text or values all 0 make a set,
# suffixes a variable.
types=$("$tool" info "$work/hand/b/m.zab" | awk 'NR > 3 {printf "%s %s,", $2, $3}')
[[ $types == "s set,t set,u set,p parameter,v variable,w parameter," ]] ||
  { echo "FAIL hand: symbol types $types"; fail=1; }

# The command line: a name ending in .CSV is a dump too; a fault writes
# nothing and leaves an existing output as it was.
cp "$work/hand/m.csv" "$work/hand/UPPER.CSV"
"$tool" build "$work/hand/UPPER.CSV" "$work/upper.zab" || { echo "FAIL build from .CSV"; fail=1; }
echo previous >"$work/kept.zab"
printf '"m.zab","Name","Value","Text"\n"m.zab","p",x\n' >"$work/bad.csv"
"$tool" build "$work/bad.csv" "$work/kept.zab" 2>"$work/err"
code=$?
[[ $code == 1 ]] || { echo "FAIL bad CSV: exit code $code"; fail=1; }
grep -qxF "zabtool: $work/bad.csv, line 2, symbol p: \"x\" is not a number or a special-value text (8888888888, 9999999999, +1e30, -1e30, NaN, Inf, -Inf)" "$work/err" ||
  { echo "FAIL bad CSV message:"; cat "$work/err"; fail=1; }
[[ $(cat "$work/kept.zab") == previous ]] || { echo "FAIL bad CSV changed the output"; fail=1; }
leftovers=$(find "$work" -maxdepth 1 -name 'kept.zab?*')
[[ -z $leftovers ]] || { echo "FAIL bad CSV left $leftovers"; fail=1; }
exit $fail
