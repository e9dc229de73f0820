#!/usr/bin/env bash
# Conversion benchmark: a 10-million-record ZAB file (zabtool gen, one dense
# 3-dimensional parameter) through a four-tab definition in VEDA format.
# Prints, for 1, 2 and all threads (ZAB2VEDA_THREADS; or the list in
# $THREADS), the best wall time of $RUNS conversions, its user + sys time,
# records/s, the ratio of the wall time to a `cp` of the .vd output and the
# peak memory (GNU time); the .vd of every thread count must equal the one of
# one thread.
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
# Thread counts (ZAB2VEDA_THREADS): 1, 2 and all cores, or $THREADS.
threads=${THREADS:-$(printf '%s\n' 1 2 "$(nproc)" | awk '!seen[$0]++' | tr '\n' ' ')}
# Best of $runs for every thread count, the counts taken in turn within each
# round so that the machine's load falls on all alike, and for the copy.
declare -A conv cpu peak
for t in $threads; do conv[$t]=999999; done
for ((r = 0; r < runs; r++)); do
  for t in $threads; do
    rm -f big.vd
    t0=$(now)
    ZAB2VEDA_THREADS=$t /usr/bin/time -v -o time.txt "$bin/zab2veda" big.zab big.vdd > run.txt
    t1=$(now)
    x=$(echo "$t1 - $t0" | bc -l)
    if (( $(echo "$x < ${conv[$t]}" | bc -l) )); then
      conv[$t]=$x
      cpu[$t]=$(awk -F': ' '/User time/ {u=$2} /System time/ {s=$2} END {print u + s}' time.txt)
      peak[$t]=$(awk -F': ' '/Maximum resident set size/ {print $2}' time.txt)
    fi
    if [[ $t == 1 ]]; then
      mv big.vd one.vd
    elif [[ -f one.vd ]] && ! cmp -s big.vd one.vd; then
      echo "the .vd on $t threads differs from the one on 1 thread" >&2
      exit 1
    fi
  done
done
[[ -f big.vd ]] || mv one.vd big.vd
cat run.txt
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
printf 'output             %.1f MB (.vd)\n' "$(echo "$bytes / 1000000" | bc -l)"
printf 'cp of .vd          %.3f s (best of %d)\n' "$copy" "$runs"
printf 'load average       %s\n' "$(cut -d' ' -f1-3 /proc/loadavg)"
printf '%-8s %10s %10s %11s %9s %10s\n' threads wall_s user+sys_s records/s wall/cp peak_MB
for t in $threads; do
  printf '%-8s %10.3f %10.2f %10.2fM %9.2f %10.1f\n' "$t" "${conv[$t]}" "${cpu[$t]}" \
    "$(echo "$records / ${conv[$t]} / 1000000" | bc -l)" "$(echo "${conv[$t]} / $copy" | bc -l)" \
    "$(echo "${peak[$t]} / 1024" | bc -l)"
done
