#!/usr/bin/env bash
# CSV import time and peak memory of `zabtool build FILE.csv`.
#
#   bench/csv_import.sh BUILD_DIR [RECORDS]     (default: 10000000)
#
# `zabtool gen` writes three files of RECORDS records each: one dense
# 3-dimensional parameter, a "mixed" file (parameter, variable, set,
# equation: four symbols of RECORDS/4 records, 10% special values) and ten
# parameters of RECORDS/10 records; `zab2veda FILE` dumps each to CSV, and
# `zabtool build` imports the CSV under /usr/bin/time (wall seconds, peak
# resident set). The rebuilt file is dumped again and must give the same CSV.
# Work files go to a temporary folder (or $BENCH_DIR), removed afterwards.
set -euo pipefail
build=${1:?usage: csv_import.sh BUILD_DIR [RECORDS]}
records=${2:-10000000}
build=$(cd "$build" && pwd)
z2v=$build/bin/zab2veda
zabtool=$build/bin/zabtool
[[ -x $z2v && -x $zabtool ]] || { echo "build zab2veda and zabtool first" >&2; exit 1; }
work=${BENCH_DIR:-$(mktemp -d)}
mkdir -p "$work/a" "$work/b"
trap 'rm -rf "$work/a" "$work/b" "$work/time"; [[ -n ${BENCH_DIR:-} ]] || rmdir "$work"' EXIT

printf '| file | records | CSV lines | CSV MiB | import seconds | user+sys s | peak RSS MiB |\n'
printf '|---|---:|---:|---:|---:|---:|---:|\n'
while read -r name args; do
  # shellcheck disable=SC2086
  "$zabtool" gen "$work/a/m.zab" $args >/dev/null
  (cd "$work/a" && "$z2v" m.zab >/dev/null)
  /usr/bin/time -f "%e %U %S %M" -o "$work/time" "$zabtool" build "$work/a/m.csv" "$work/b/m.zab"
  (cd "$work/b" && "$z2v" m.zab >/dev/null)
  cmp -s "$work/a/m.csv" "$work/b/m.csv" || { echo "$name: the rebuilt file dumps differently" >&2; exit 1; }
  read -r wall user sys rss <"$work/time"
  lines=$(wc -l <"$work/a/m.csv")
  bytes=$(stat -c %s "$work/a/m.csv")
  printf '| %s | %s | %s | %.1f | %s | %.2f | %.1f |\n' "$name" "$records" "$lines" \
    "$(bc -l <<<"$bytes / 1048576")" "$wall" "$(bc -l <<<"$user + $sys")" "$(bc -l <<<"$rss / 1024")"
  rm -f "$work"/a/* "$work"/b/*
done <<EOF
parameter --records $records
mixed --type mixed --symbols 4 --records $((records / 4)) --specials 0.1
ten-parameters --symbols 10 --records $((records / 10))
EOF
