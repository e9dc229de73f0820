#!/usr/bin/env bash
# Conversion benchmark: a 10-million-record ZAB file (zabtool gen, one dense
# 3-dimensional parameter) through a four-tab definition in VEDA format.
# Prints records/s, output MB/s, peak memory (GNU time) and the ratio of the
# conversion's wall time to a `cp` of its own .vd output.
#
#   bench/veda_convert.sh [BUILD_DIR] [RECORDS]
set -euo pipefail
build=${1:-build}
records=${2:-10000000}
bin=$(cd "$build/bin" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

"$bin/zabtool" gen big.zab --records "$records" --dim 3 --type parameter >/dev/null
cat > big.vdd <<'VDD'
[Dimensions]
Attribute attr
First     a
Second    b
Third     c
[DataEntries]
Value p1 a b c
VDD

now() { date +%s.%N; }
runs=${RUNS:-3}
# Best of $runs for both the conversion and the copy: the machine is shared.
conv=999999
for ((r = 0; r < runs; r++)); do
  t0=$(now)
  /usr/bin/time -v -o time.txt "$bin/zab2veda" big.zab big.vdd > run.txt
  t1=$(now)
  t=$(echo "$t1 - $t0" | bc -l)
  if (( $(echo "$t < $conv" | bc -l) )); then conv=$t; cp time.txt best_time.txt; fi
done
cat run.txt
peak_kb=$(awk -F': ' '/Maximum resident set size/ {print $2}' best_time.txt)
cpu=$(awk -F': ' '/User time/ {u=$2} /System time/ {s=$2} END {print u + s}' best_time.txt)
bytes=$(stat -c %s big.vd)
sync
copy=999999
for ((r = 0; r < runs; r++)); do
  rm -f copy.vd
  t2=$(now)
  cp big.vd copy.vd
  t3=$(now)
  t=$(echo "$t3 - $t2" | bc -l)
  if (( $(echo "$t < $copy" | bc -l) )); then copy=$t; fi
done

printf 'records            %d\n' "$records"
printf 'conversion wall    %.3f s (best of %d; user+sys %.2f s)\n' "$conv" "$runs" "$cpu"
printf 'records/s          %.2f M\n' "$(echo "$records / $conv / 1000000" | bc -l)"
printf 'output             %.1f MB (.vd)\n' "$(echo "$bytes / 1000000" | bc -l)"
printf 'output MB/s        %.1f\n' "$(echo "$bytes / $conv / 1000000" | bc -l)"
printf 'peak memory        %.1f MB (maximum resident set)\n' "$(echo "$peak_kb / 1024" | bc -l)"
printf 'cp of .vd          %.3f s (best of %d)\n' "$copy" "$runs"
printf 'wall / cp          %.2f\n' "$(echo "$conv / $copy" | bc -l)"
