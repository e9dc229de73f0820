#!/usr/bin/env bash
# The data writer's memory for one-place tabs grows with the labels it must
# tell apart, a bit per label: a file of 2 M labels converted through 49
# one-place tabs, each touched by one entry, peaks at most 24 MB above the
# same conversion that touches only one of the tabs (one byte per label and
# tab was 94 MB above it).
#
#   one_place_memory_test.sh ZAB2VEDA ZABTOOL
set -u
z2v=$1 zabtool=$2
[[ -x /usr/bin/time ]] || { echo "GNU time not installed"; exit 77; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1

"$zabtool" gen m.zab --records 10 --dim 1 --labels 2000000 >/dev/null || exit 1
# all.vdd: entry t on tab t; one.vdd: every entry on tab 1
for v in all one; do
  {
    printf '[Dimensions]\nAttribute attr\n'
    for t in $(seq 49); do printf 'T%d s%d\n' "$t" "$t"; done
    printf '[DataEntries]\n'
    for t in $(seq 49); do
      if [[ $v == all ]]; then printf 'V%d p1 s%d\n' "$t" "$t"; else printf 'V%d p1 s1\n' "$t"; fi
    done
  } >"$v.vdd"
done

peak() {  # vdd: the peak resident size of the run in KB
  /usr/bin/time -f %M -o "$1.kb" "$z2v" m.zab "$1.vdd" "run_$1" >"$1.out" || {
    echo "FAIL: the run with $1.vdd failed"; cat "$1.out"; exit 1
  }
  cat "$1.kb"
}
all=$(peak all)
one=$(peak one)
grep -c '' run_all.vd | grep -qx 502 || { echo "FAIL: run_all.vd is not 12 + 490 lines"; exit 1; }
echo "peak: 49 tabs $all KB, one tab $one KB"
if ((all - one > 24 * 1024)); then
  echo "FAIL: 49 one-place tabs take $(((all - one) / 1024)) MB more than one"
  exit 1
fi
