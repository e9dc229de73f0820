#!/usr/bin/env bash
# zabtool's command line: usage text and exit code 2 for usage errors, exit
# code 1 and a message for failures, no partial output file, and the round
# trip build -> dump -> build giving the same file.
set -u
tool=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail=0
check() {  # check NAME WANT_CODE CMD...
  local name=$1 want=$2; shift 2
  "$@" >"$work/out" 2>"$work/err"
  local code=$?
  if [[ $code != "$want" ]]; then echo "FAIL $name: exit $code, expected $want"; cat "$work/err"; fail=1; fi
}
check no-args 2 "$tool"
grep -q "^usage: zabtool build" "$work/err" || { echo "FAIL no-args: no usage text"; fail=1; }
check bad-command 2 "$tool" frobnicate
grep -q "unknown command frobnicate" "$work/err" || { echo "FAIL bad-command message"; fail=1; }
check build-one-arg 2 "$tool" build x.json
check dump-no-arg 2 "$tool" dump
check info-two-args 2 "$tool" info a b
check gen-bad-option 2 "$tool" gen "$work/g.zab" --colour red
check gen-bad-value 2 "$tool" gen "$work/g.zab" --dim 21
check gen-missing-value 2 "$tool" gen "$work/g.zab" --records

cat > "$work/src.json" <<'JSON'
{"uels": ["b"], "symbols": [
  {"name": "s", "type": "set", "dim": 1, "records": [{"keys": ["a"], "text": "A"}, {"keys": ["b"]}]},
  {"name": "p", "type": "parameter", "dim": 2, "records": [{"keys": ["a", "b"], "value": "NA"}]},
  {"name": "al", "type": "alias", "of": "s"}]}
JSON
check build 0 "$tool" build "$work/src.json" "$work/a.zab"
check dump-stdout 0 "$tool" dump "$work/a.zab"
cp "$work/out" "$work/a.json"
check dump-file 0 "$tool" dump "$work/a.zab" "$work/b.json"
cmp -s "$work/a.json" "$work/b.json" || { echo "FAIL dump to file differs from standard output"; fail=1; }
check rebuild 0 "$tool" build "$work/b.json" "$work/b.zab"
cmp -s "$work/a.zab" "$work/b.zab" || { echo "FAIL rebuilt file differs"; fail=1; }
check info 0 "$tool" info "$work/a.zab"
grep -q "3 symbols, 2 labels, 1 element texts" "$work/out" || { echo "FAIL info counts"; cat "$work/out"; fail=1; }
grep -q "alias of s" "$work/out" || { echo "FAIL info alias"; fail=1; }

# A fault: message with the JSON path, exit 1, nothing written.
echo '{"symbols": [{"name": "p", "type": "parameter", "dim": 2, "records": [{"keys": ["a"]}]}]}' > "$work/bad.json"
check build-fault 1 "$tool" build "$work/bad.json" "$work/bad.zab"
grep -q "symbols\[0\].records\[0\].keys: expected 2 labels, got 1" "$work/err" || { echo "FAIL fault message"; cat "$work/err"; fail=1; }
[[ -e "$work/bad.zab" ]] && { echo "FAIL partial output written"; fail=1; }
ls "$work" | grep -q tmp && { echo "FAIL temporary file left"; fail=1; }

check dump-missing 1 "$tool" dump "$work/missing.zab"
grep -q "cannot open" "$work/err" || { echo "FAIL dump-missing message"; fail=1; }
head -c 100 "$work/a.zab" > "$work/cut.zab"
check dump-truncated 1 "$tool" dump "$work/cut.zab" "$work/cut.json"
[[ -e "$work/cut.json" ]] && { echo "FAIL dump of a bad file left output"; fail=1; }

# gen: deterministic for a seed, different for another.
check gen1 0 "$tool" gen "$work/g1.zab" --records 5000 --type mixed --symbols 4 --specials 0.1 --seed 7
check gen2 0 "$tool" gen "$work/g2.zab" --records 5000 --type mixed --symbols 4 --specials 0.1 --seed 7
check gen3 0 "$tool" gen "$work/g3.zab" --records 5000 --type mixed --symbols 4 --specials 0.1 --seed 8
cmp -s "$work/g1.zab" "$work/g2.zab" || { echo "FAIL gen not deterministic"; fail=1; }
cmp -s "$work/g1.zab" "$work/g3.zab" && { echo "FAIL gen ignores the seed"; fail=1; }
check gen-info 0 "$tool" info "$work/g1.zab"
grep -q " 4 symbols" "$work/out" || { echo "FAIL gen symbols"; cat "$work/out"; fail=1; }
check gen-sparse 0 "$tool" gen "$work/g4.zab" --records 3000 --dim 2 --density 0.3 --labels 500
check gen-dump 0 "$tool" dump "$work/g4.zab" "$work/g4.json"
check gen-rebuild 0 "$tool" build "$work/g4.json" "$work/g5.zab"
check gen-dump2 0 "$tool" dump "$work/g5.zab" "$work/g5.json"
cmp -s "$work/g4.json" "$work/g5.json" || { echo "FAIL gen round trip"; fail=1; }
exit $fail
