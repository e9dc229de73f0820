#!/usr/bin/env bash
# The worked example of vdd(5) really converts: the definition, the console
# report and the three files are taken from the page (the blocks between
# '.\" BEGIN example NAME' and '.\" END example NAME'), the ZAB file is built
# from power.json beside this script, and zab2veda must print and write
# exactly what the page shows, and nothing else.
#   vdd_example_test.sh ZAB2VEDA ZABTOOL VDD.5
set -u
z2v=$1 zabtool=$2 page=$3
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail=0

# The block NAME of the page, as plain text (\- is a hyphen, \e a backslash).
block() {
  awk -v name="$1" '$0 == ".\\\" END example " name { on = 0 }
                    on { print }
                    $0 == ".\\\" BEGIN example " name { on = 1; found = 1 }
                    END { exit !found }' "$page" | sed -e 's/\\-/-/g' -e 's/\\e/\\/g'
}
mkdir "$work/expected"
for name in power.vdd stdout power.vd power.vde power.vds; do
  block "$name" > "$work/expected/$name" || { echo "FAIL: the page has no block $name"; exit 1; }
  [[ -s "$work/expected/$name" ]] || { echo "FAIL: block $name is empty"; exit 1; }
done

mkdir "$work/run" && cd "$work/run" || exit 1
"$zabtool" build "$here/power.json" power.zab || { echo "FAIL: zabtool build"; exit 1; }
cp "$work/expected/power.vdd" .
"$z2v" power.zab power.vdd > "$work/stdout" 2> "$work/stderr"
code=$?
[[ $code == 0 ]] || { echo "FAIL: exit code $code"; fail=1; }
[[ -s "$work/stderr" ]] && { echo "FAIL: standard error:"; cat "$work/stderr"; fail=1; }
diff -u "$work/expected/stdout" "$work/stdout" || { echo "FAIL: console report differs"; fail=1; }
for f in power.vd power.vde power.vds; do
  diff -u "$work/expected/$f" "$f" || { echo "FAIL: $f differs from the page"; fail=1; }
done
[[ "$(ls | sort | tr '\n' ' ')" == "power.vd power.vdd power.vde power.vds power.zab " ]] ||
  { echo "FAIL: other files written:"; ls; fail=1; }
exit $fail
