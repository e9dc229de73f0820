#!/usr/bin/env bash
# Dump-mode throughput and peak memory of zab2veda.
#
#   bench/dump_bench.sh BUILD_DIR [RECORDS...]     (default: 1000000 10000000)
#
# For each record count, `zabtool gen` writes a 3-dimensional parameter file
# and a mixed file (set, parameter, variable, equation: four symbols of
# RECORDS/4 records each); `zab2veda FILE` then lists and dumps it. Printed
# per file, for 1, 2 and all threads (ZAB2VEDA_THREADS; or the list in
# $THREADS): records, CSV lines, ZAB file size, wall seconds (best of $RUNS,
# default 1, the thread counts taken in turn), records per second, peak
# resident memory (VmHWM) and the largest anonymous memory seen (RssAnon);
# the dump of every thread count must be the same. The library maps the ZAB file into memory but hands each part's
# pages back as soon as it has checked or read past them, so neither the
# peak resident set (about 8 MiB from 1M to 10M records) nor the dump's own
# memory (anonymous) may grow with the record count. Work files go to a
# temporary folder (or $BENCH_DIR) and are removed afterwards.
set -euo pipefail
build=${1:?usage: dump_bench.sh BUILD_DIR [RECORDS...]}
shift
counts=("$@")
[[ ${#counts[@]} -eq 0 ]] && counts=(1000000 10000000)
build=$(cd "$build" && pwd)
z2v=$build/bin/zab2veda
zabtool=$build/bin/zabtool
[[ -x $z2v && -x $zabtool ]] || { echo "build zab2veda and zabtool first" >&2; exit 1; }
work=${BENCH_DIR:-$(mktemp -d)}
mkdir -p "$work"
trap 'rm -f "$work"/bench_*; [[ -n ${BENCH_DIR:-} ]] || rmdir "$work"' EXIT

# measure FILE THREADS: runs zab2veda in the work folder and samples /proc/PID/status every 10 ms:
# sets secs, hwm_kib (VmHWM, peak resident set) and anon_kib (largest RssAnon
# seen: the heap and stacks, without the pages of the memory-mapped ZAB file).
measure() {
  local t0 t1 pid line hwm=0 anon=0 a
  t0=$(date +%s.%N)
  (cd "$work" && ZAB2VEDA_THREADS=$2 exec "$z2v" "$1" > "$work/bench_stdout.txt") &
  pid=$!
  while [[ -r /proc/$pid/status ]]; do
    while read -r line; do
      case $line in
        VmHWM:*) a=${line//[!0-9]/}; (( a > hwm )) && hwm=$a ;;
        RssAnon:*) a=${line//[!0-9]/}; (( a > anon )) && anon=$a ;;
      esac
    done < /proc/$pid/status 2>/dev/null || true
    sleep 0.01
  done
  wait "$pid" || { echo "zab2veda failed on $1" >&2; exit 1; }
  t1=$(date +%s.%N)
  secs=$(awk -v a="$t0" -v b="$t1" 'BEGIN {print b - a}')
  hwm_kib=$hwm anon_kib=$anon
}

# Thread counts (ZAB2VEDA_THREADS): 1, 2 and all cores, or $THREADS; each file
# is dumped $RUNS times (default 1) with every count in turn, best time kept.
threads=${THREADS:-$(printf '%s\n' 1 2 "$(nproc)" | awk '!seen[$0]++' | tr '\n' ' ')}
runs=${RUNS:-1}
echo "load average $(cut -d' ' -f1-3 /proc/loadavg)"
printf '%-10s %7s %10s %11s %10s %8s %13s %9s %9s\n' file threads records csv_lines zab_MiB \
  seconds records/s peak_MiB anon_MiB
for n in "${counts[@]}"; do
  for kind in parameter mixed; do
    f=$work/bench_${kind}_$n.zab
    if [[ $kind == parameter ]]; then
      "$zabtool" gen "$f" --records "$n" --dim 3 --type parameter --specials 0.01 >/dev/null
    else
      "$zabtool" gen "$f" --records $((n / 4)) --symbols 4 --dim 3 --type mixed --specials 0.01 >/dev/null
    fi
    declare -A best=() hwm=() anon=()
    for ((r = 0; r < runs; r++)); do
      for t in $threads; do
        measure "$(basename "$f")" "$t"
        if [[ -z ${best[$t]:-} ]] || awk -v a="$secs" -v b="${best[$t]}" 'BEGIN {exit !(a < b)}'; then
          best[$t]=$secs hwm[$t]=$hwm_kib anon[$t]=$anon_kib
        fi
        # every run writes a new file: truncating one still being written
        # back to disk would cost the next run
        if [[ ! -f $work/bench_one.csv ]]; then
          mv "${f%.zab}.csv" "$work/bench_one.csv"
        elif ! cmp -s "${f%.zab}.csv" "$work/bench_one.csv"; then
          echo "the dump on $t threads differs from the first one" >&2
          exit 1
        fi
        rm -f "${f%.zab}.csv"
      done
    done
    records=$(awk '/ZAB record count/ {print $1}' "$work/bench_stdout.txt")
    lines=$(wc -l < "$work/bench_one.csv")
    for t in $threads; do
      printf '%-10s %7s %10d %11d %10.1f %8.2f %13.0f %9.1f %9.1f\n' "$kind" "$t" "$records" "$lines" \
        "$(awk -v b="$(stat -c %s "$f")" 'BEGIN {print b / 1048576}')" "${best[$t]}" \
        "$(awk -v r="$records" -v s="${best[$t]}" 'BEGIN {print (s > 0 ? r / s : 0)}')" \
        "$(awk -v k="${hwm[$t]}" 'BEGIN {print k / 1024}')" "$(awk -v k="${anon[$t]}" 'BEGIN {print k / 1024}')"
    done
    rm -f "$f" "${f%.zab}.csv" "$work/bench_one.csv" "$work/bench_stdout.txt"
  done
done
