#!/usr/bin/env bash
# zabtool build on a large JSON file: wall time, user + system time and peak
# resident memory.
#
#   bench/json_build_bench.sh ZABTOOL [RECORDS_PER_SYMBOL] [OTHER_ZABTOOL]
#
# `ZABTOOL gen` writes a mixed file (set, parameter, variable, equation; a
# 3-dimensional grid, 1 % special values) with RECORDS_PER_SYMBOL records per
# symbol (default 2600000: about 1 GB of JSON), `ZABTOOL dump` turns it into
# JSON, and `/usr/bin/time` measures `ZABTOOL build` of that JSON (and the
# same with OTHER_ZABTOOL, e.g. a build of an earlier commit, when given);
# the two ZAB files built must be equal. Work files go to a temporary folder
# (or $BENCH_DIR) and are removed afterwards.
set -euo pipefail
tool=$(realpath "${1:?usage: json_build_bench.sh ZABTOOL [RECORDS_PER_SYMBOL] [OTHER_ZABTOOL]}")
records=${2:-2600000}
other=${3:+$(realpath "$3")}
[[ -x /usr/bin/time ]] || { echo "GNU time (/usr/bin/time) is needed" >&2; exit 1; }
work=${BENCH_DIR:-$(mktemp -d)}
mkdir -p "$work"
trap 'rm -f "$work"/jb_*; [[ -n ${BENCH_DIR:-} ]] || rmdir "$work"' EXIT

"$tool" gen "$work/jb_src.zab" --records "$records" --symbols 4 --type mixed --specials 0.01 >/dev/null
"$tool" dump "$work/jb_src.zab" "$work/jb_src.json"
rm -f "$work/jb_src.zab"
size=$(stat -c %s "$work/jb_src.json")
echo "JSON: $size bytes ($(awk -v b="$size" 'BEGIN {printf "%.1f", b / 1048576}') MiB), $((records * 4)) records"

run() {  # run NAME ZABTOOL OUT
  /usr/bin/time -f "%e %U %S %M" -o "$work/jb_time" "$2" build "$work/jb_src.json" "$3"
  read -r wall user sys rss < "$work/jb_time"
  printf '%-8s wall %6.2f s   user+sys %6.2f s   peak RSS %8.1f MiB (%.2f x JSON)\n' "$1" "$wall" \
    "$(awk -v u="$user" -v s="$sys" 'BEGIN {print u + s}')" \
    "$(awk -v k="$rss" 'BEGIN {print k / 1024}')" \
    "$(awk -v k="$rss" -v b="$size" 'BEGIN {print k * 1024 / b}')"
}
run zabtool "$tool" "$work/jb_a.zab"
if [[ -n $other ]]; then
  run other "$other" "$work/jb_b.zab"
  cmp -s "$work/jb_a.zab" "$work/jb_b.zab" || { echo "the two builds differ" >&2; exit 1; }
fi
