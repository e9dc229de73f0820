#!/usr/bin/env bash
# A read of a symbol that ends before the record count its start call
# announced fails the run: zab2veda (copied next to the "model" stand-in
# library of tests/zab) in the dump mode and in a conversion that reads every
# kind of symbol loop (data entries, [DimensionText], [DimensionTextAll],
# [ParentDimensionTextAll], [SubSets]). FAKE_SHORT names the symbol whose
# reads stop one record short, FAKE_NOSTART the one whose read starts fail
# (read 0 of the symbol's record count); FAKE_ANNOUNCE=zero|none makes the
# start calls announce 0 or nothing, which must not count as short. The
# last part checks that every read start is paired with its done.
#
#   short_read_test.sh ZAB2VEDA FAKELIBS_DIR
set -u
z2v=$1 fakes=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail=0

cp "$z2v" "$work/zab2veda"
cp "$fakes/model/libzabcclib64.so" "$work/"
cat >"$work/short.vdd" <<'EOF'
[DataBaseName]
Short
[Dimensions]
Attribute attr
Region    r
Commodity c
Country   cn
[ParentDimension]
Country Region
[DataEntries]
Price  p    r
Use    v.l  c
[DimensionText]
reg r
[DimensionTextAll]
com c
[ParentDimensionTextAll]
regmap Country Region
[SubSets]
fossil fossil c
EOF

# run ENV... -- ARGS...: a fresh run in $work; sets out and code.
run() {
  local envs=()
  while [[ $1 != -- ]]; do envs+=("$1"); shift; done
  shift
  rm -f "$work"/good.*
  out=$(cd "$work" && env -u LD_LIBRARY_PATH -u FAKE_SHORT -u FAKE_ANNOUNCE -u FAKE_NOSTART \
    "${envs[@]}" ./zab2veda "$@" 2>&1)
  code=$?
}

check() {  # name, expected code, expected output
  if [[ $code != "$2" ]]; then echo "FAIL $1: exit code $code, expected $2"; fail=1; fi
  if [[ $out != "$3" ]]; then
    echo "FAIL $1: output differs"; diff <(printf '%s\n' "$3") <(printf '%s\n' "$out"); fail=1
  fi
}

has_line() {  # name, file, line: the file holds the line
  if ! grep -qxF -- "$3" "$work/$2" 2>/dev/null; then
    echo "FAIL $1: $2 lacks the line $3"; fail=1
  fi
}

lacks_line() {  # name, file, line
  if grep -qxF -- "$3" "$work/$2" 2>/dev/null; then
    echo "FAIL $1: $2 holds the line $3"; fail=1
  fi
}

short_msg() {  # symbol: the two lines of a read that stopped at 2 of 3 records
  printf '*** Could not read ZAB file: good.zab\n*** Msg: symbol %s: read 2 of 3 records' "$1"
}

listing='--- ZAB File : Symbols=6 UELs=7

Content of ZAB good.zab dump written to good.csv

Num Typ Dim Count  Name
  1 Par   1     3  p           price
  2 Set   1     3  reg         regions
  3 Set   1     3  com         commodities
  4 Set   2     3  regmap      regions of countries
  5 Set   1     3  fossil      fossil fuels
  6 Var   1     3  v           use
               18  ZAB record count
               31  CSV record count (including header)'
cube='--- ZAB File : Symbols=6 UELs=7
--- VEDA Cube: Dimensions=4 Entries=2 Text=2 SubSets=1
--- VEDA Cube: DataRecords=6'

# ---- dump mode ----
run -- good
check "dump, complete reads" 0 "$listing"
has_line "dump, complete reads" good.csv '"good.zab","v.lm","elc",,0'

# The set reg stops after south: its lines so far are in the file, nothing
# after them.
run FAKE_SHORT=reg -- good
check "dump, short read of a set" 1 "$listing
$(short_msg reg)"
has_line "dump, short read of a set" good.csv '"good.zab","reg","south",,0'
lacks_line "dump, short read of a set" good.csv '"good.zab","reg","east",,0'
lacks_line "dump, short read of a set" good.csv '"good.zab","com","coal",,2,"Hard coal"'

run FAKE_SHORT=v -- good
check "dump, short read of a variable" 1 "$listing
$(short_msg v)"
has_line "dump, short read of a variable" good.csv '"good.zab","v.lm","gas",,0'
lacks_line "dump, short read of a variable" good.csv '"good.zab","v.l","elc",,30'

for a in zero none; do
  run FAKE_SHORT=reg FAKE_ANNOUNCE=$a -- good
  check "dump, count announced as $a" 0 "$listing"
  lacks_line "dump, count announced as $a" good.csv '"good.zab","reg","east",,0'
done

# ---- conversion ----
run -- good short.vdd
check "conversion, complete reads" 0 "$cube
--- VEDA Cube: TextRecords=10
--- VEDA Cube: SubSRecords=3"

# The data entry Price (p) stops after south: the header and the lines of
# the records read are in the .vd, and nothing is written after.
run FAKE_SHORT=p -- good short.vdd
check "conversion, short data read" 1 "$cube
$(short_msg p)"
has_line "conversion, short data read" good.vd '"Price","south","-","-",2'
lacks_line "conversion, short data read" good.vd '"Price","east","-","-",3'
if [[ -e $work/good.vde ]]; then echo "FAIL conversion, short data read: good.vde exists"; fail=1; fi

# The second data entry: the first entry's lines stay in the .vd.
run FAKE_SHORT=v -- good short.vdd
check "conversion, short read of the second entry" 1 "$cube
$(short_msg v)"
has_line "conversion, short read of the second entry" good.vd '"Price","east","-","-",3'
has_line "conversion, short read of the second entry" good.vd '"Use","-","gas","-",20'

# The element-text and subset loops: [DimensionText] reg, [DimensionTextAll]
# com, [ParentDimensionTextAll] regmap, [SubSets] fossil.
for s in reg com regmap fossil; do
  run FAKE_SHORT=$s -- good short.vdd
  check "conversion, short read of $s" 1 "$cube
$(short_msg $s)"
  has_line "conversion, short read of $s" good.vd '"Use","-","elc","-",30'
done

# A start call that announces 0 or nothing is never short: the run ends as
# usual with the records it got (east then occurs in no data line, so the
# .vde loses its plain east line and keeps the one with its parent).
for a in zero none; do
  run FAKE_SHORT=p FAKE_ANNOUNCE=$a -- good short.vdd
  check "conversion, count announced as $a" 0 "$cube
--- VEDA Cube: TextRecords=9
--- VEDA Cube: SubSRecords=3"
  lacks_line "conversion, count announced as $a" good.vd '"Price","east","-","-",3'
  lacks_line "conversion, count announced as $a" good.vde '"Region","-","east","east"'
  has_line "conversion, count announced as $a" good.vde '"Region","EU","east","east"'
done

# A read start that fails: the symbol's records are missing altogether.
run FAKE_NOSTART=com -- good
check "dump, failed read start" 1 "$listing
*** Could not read ZAB file: good.zab
*** Msg: symbol com: read 0 of 3 records"
has_line "dump, failed read start" good.csv '"good.zab","reg","east",,0'
lacks_line "dump, failed read start" good.csv '"good.zab","com","gas",,0'

for s in p v reg com regmap fossil; do
  run FAKE_NOSTART=$s -- good short.vdd
  check "conversion, failed read start of $s" 1 "$cube
*** Could not read ZAB file: good.zab
*** Msg: symbol $s: read 0 of 3 records"
done

# ---- every read that starts also ends ----
# FAKE_STRICT refuses a start while a read is open (the run would then fail
# with "read 0 of 3 records"); the log shows each start followed by its done.
{ cat "$work/short.vdd"; printf '[Options]\nScenario reg\n'; } >"$work/reads.vdd"
cat >"$work/wide.vdd" <<'EOF2'
[Dimensions]
Attribute attr
Wide w1 w2 w3 w4 w5 w6 w7 w8 w9 w10 w11 w12 w13 w14 w15 w16 w17 w18 w19 w20 w21
[DataEntries]
Value p w1
EOF2

reads_paired() {  # name: starts and dones alternate, the last start is done
  if ! awk '/^start /{if (open) bad = 1; open = 1; n++; next}
            /^done$/{open = 0; next}
            {bad = 1}
            END{exit bad || open || n == 0}' "$work/reads.log"; then
    echo "FAIL $1: reads not paired:"; cat "$work/reads.log"; fail=1
  fi
}

# name | expected code | extra environment | arguments
paired_table=(
  "dump|0||good"
  "conversion|0||good short.vdd"
  "scenario record found at once|0||good reads.vdd north"
  "scenario record missing|0||good reads.vdd nowhere"
  "short data read|1|FAKE_SHORT=p|good short.vdd"
  "short subset read|1|FAKE_SHORT=fossil|good short.vdd"
  "failed read start|1|FAKE_NOSTART=reg|good short.vdd"
  "internal error inside a read|1||good wide.vdd"
)
for row in "${paired_table[@]}"; do
  IFS='|' read -r name want extra args <<<"$row"
  rm -f "$work/reads.log"
  envs=(FAKE_STRICT=1 "FAKE_READ_LOG=$work/reads.log")
  [[ -n $extra ]] && envs+=("$extra")
  # shellcheck disable=SC2086  # the arguments are split on purpose
  run "${envs[@]}" -- $args
  if [[ $code != "$want" ]]; then echo "FAIL $name: exit code $code, expected $want"; echo "$out"; fail=1; fi
  reads_paired "$name"
done
has_line "scenario record found at once" north.vde '"Scenario","-","north","Northern region"'

# A library without zabDataReadDone: reads end at the next start, and the
# run is the same as with the library that has it.
mkdir "$work/nodone"
cp "$z2v" "$work/nodone/zab2veda"
cp "$fakes/modelnodone/libzabcclib64.so" "$work/short.vdd" "$work/nodone/"
out=$(cd "$work/nodone" && env -u LD_LIBRARY_PATH ./zab2veda good short.vdd 2>&1)
code=$?
check "library without zabDataReadDone" 0 "$cube
--- VEDA Cube: TextRecords=10
--- VEDA Cube: SubSRecords=3"
exit $fail
