#!/usr/bin/env bash
# Tuple benchmark: a two-dimensional set of RECORDS distinct tuples (zabtool
# gen, element texts on the records) converted through one two-place tab,
# once for the data file alone and once with element texts and a subset of
# every tuple (the .vde and .vds then hold a line per tuple too).
#
#   bench/tuple_convert.sh [BUILD_DIR] [RECORDS...]     (default: 2000000)
#
# Per mode: the best wall time of RUNS (default 3) conversions, user + sys
# and peak resident size of that run (GNU time), tuples per second (records /
# wall), and bytes per tuple: the peak minus the peak of the same conversion
# over a file of the same labels and texts with only 1000 records (what the
# program, the library and the label table take anyway), divided by the
# records.
set -euo pipefail
build=${1:-build}
shift || true
sizes=("$@")
((${#sizes[@]})) || sizes=(2000000)
bin=$(cd "$build/bin" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
runs=${RUNS:-3}

printf '[Dimensions]\nAttribute attr\nPair a b\n[DataEntries]\nV s1 a b\n' >data.vdd
{
  cat data.vdd
  printf '[DimensionText]\ns1 a b\n[SubSets]\nsub s1 a b\n'
} >all.vdd

now() { date +%s.%N; }
# convert ZAB VDD: sets wall, cpu, peak_kb (best wall of $runs)
convert() {
  wall=999999
  for ((r = 0; r < runs; r++)); do
    local t0 t1 t
    t0=$(now)
    /usr/bin/time -f '%U %S %M' -o time.txt "$bin/zab2veda" "$1" "$2" run >run.txt
    t1=$(now)
    t=$(echo "$t1 - $t0" | bc -l)
    if (($(echo "$t < $wall" | bc -l))); then
      wall=$t
      read -r u s peak_kb <time.txt
      cpu=$(echo "$u + $s" | bc -l)
    fi
  done
}

printf '%-10s %-5s %9s %9s %10s %10s %9s\n' records mode wall_s cpu_s peak_MB tuples/s B/tuple
for n in "${sizes[@]}"; do
  "$bin/zabtool" gen big.zab --records "$n" --dim 2 --type set --texts 1000 >/dev/null
  labels=$("$bin/zab2veda" big.zab | awk -F'UELs=' '/UELs=/ {print $2 + 0}')
  "$bin/zabtool" gen base.zab --records 1000 --dim 2 --type set --texts 1000 \
    --labels "$labels" >/dev/null
  for mode in data all; do
    convert base.zab "$mode.vdd"
    base_kb=$peak_kb
    convert big.zab "$mode.vdd"
    grep -q "DataRecords=$n\$" run.txt || { echo "unexpected run:"; cat run.txt; exit 1; }
    printf '%-10s %-5s %9.3f %9.2f %10.1f %9.2fM %9.1f\n' "$n" "$mode" "$wall" "$cpu" \
      "$(echo "$peak_kb / 1024" | bc -l)" "$(echo "$n / $wall / 1000000" | bc -l)" \
      "$(echo "($peak_kb - $base_kb) * 1024 / $n" | bc -l)"
  done
  rm -f big.zab base.zab run*
done
