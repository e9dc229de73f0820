#!/usr/bin/env bash
# zabtool's command line: usage text and exit code 2 for usage errors, help
# on standard output with exit code 0, exit code 1 and a message for
# failures (a failed write to standard output included), no partial output
# file, outputs through links and into pipes, and the round trip build ->
# dump -> build giving the same file.
#   zabtool_cli_test.sh ZABTOOL PROJECT_VERSION
set -u
tool=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
version=${2:?the project version}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1  # a stray output lands here, not in the source tree
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

# Help: standard output, exit code 0, nothing else, no file written.
for args in "--help" "-h" "build --help" "dump -h" "info --help" "gen --help" \
            "gen $work/h.zab --records 5 --help" "build -h -- x.json"; do
  # shellcheck disable=SC2086
  check "help[$args]" 0 "$tool" $args
  head -n1 "$work/out" | grep -q "^usage: zabtool" || { echo "FAIL help[$args]: no usage on standard output"; fail=1; }
  [[ -s "$work/err" ]] && { echo "FAIL help[$args]: standard error"; cat "$work/err"; fail=1; }
done
check help-gen-options 0 "$tool" gen --help
grep -q -- "--records N" "$work/out" || { echo "FAIL gen --help without its options"; fail=1; }
check help-all 0 "$tool" --help
"$tool" 2>"$work/usage"
cmp -s "$work/out" "$work/usage" || { echo "FAIL --help is not the usage text"; fail=1; }
grep -q "^       zabtool dump FILE.zab" "$work/out" || { echo "FAIL --help is not the whole usage"; fail=1; }
[[ -e "$work/h.zab" || -e "$work/--help" ]] && { echo "FAIL help wrote a file"; fail=1; }

# --version anywhere before "--": the name and the project version on standard
# output, exit code 0; --help wins over it.
for args in "--version" "info --version" "gen $work/v.zab --records 5 --version"; do
  # shellcheck disable=SC2086
  check "version[$args]" 0 "$tool" $args
  [[ "$(cat "$work/out")" == "zabtool $version" ]] || { echo "FAIL version[$args]:"; cat "$work/out"; fail=1; }
  [[ -s "$work/err" ]] && { echo "FAIL version[$args]: standard error"; cat "$work/err"; fail=1; }
done
[[ -e "$work/v.zab" ]] && { echo "FAIL --version wrote a file"; fail=1; }
check version-help 0 "$tool" --version --help
head -n1 "$work/out" | grep -q "^usage: zabtool" || { echo "FAIL --version --help: no usage"; fail=1; }
check version-after-dashes 2 "$tool" -- --version
grep -qxF "zabtool: unknown command --version" "$work/err" || { echo "FAIL -- --version:"; cat "$work/err"; fail=1; }
grep -q "^       zabtool --version " <("$tool" --help) || { echo "FAIL usage text lacks --version"; fail=1; }

# Unknown options: exit code 2, the option named, nothing on standard output.
while IFS='|' read -r opt args; do
  # shellcheck disable=SC2086
  check "unknown[$opt $args]" 2 "$tool" $args
  head -n1 "$work/err" | grep -qxF -- "zabtool: unknown option $opt" || { echo "FAIL unknown[$opt $args]:"; cat "$work/err"; fail=1; }
  [[ -s "$work/out" ]] && { echo "FAIL unknown[$opt $args]: standard output"; fail=1; }
done <<EOF2
--verbose|--verbose
-V|-V
--Version|--Version
-x|build -x $work/src.json $work/u.zab
--colour|gen $work/u.zab --colour red
--colour|gen $work/u.zab --colour
-q|dump -q $work/a.zab
--records|build --records 5 $work/src.json $work/u.zab
EOF2
[[ -e "$work/u.zab" ]] && { echo "FAIL a refused command wrote a file"; fail=1; }

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

# "--" ends the options; "-" is standard input for build, standard output
# for dump, build and gen.
cp "$work/src.json" "$work/-odd.json"
check dashdash 0 "$tool" build -- "$work/-odd.json" "$work/odd.zab"
cmp -s "$work/a.zab" "$work/odd.zab" || { echo "FAIL build after --"; fail=1; }
check stdin 0 "$tool" build - "$work/in.zab" < "$work/src.json"
cmp -s "$work/a.zab" "$work/in.zab" || { echo "FAIL build from standard input"; fail=1; }
check dump-dash 0 "$tool" dump "$work/a.zab" -
cmp -s "$work/a.json" "$work/out" || { echo "FAIL dump to -"; fail=1; }
check build-dash 0 "$tool" build "$work/src.json" -
cmp -s "$work/a.zab" "$work/out" || { echo "FAIL build to -"; fail=1; }
ls "$work" | grep -qx -- - && { echo "FAIL a file named - was written"; fail=1; }
echo '{"symbols": [], "symbols": []}' | "$tool" build - "$work/dup.zab" 2>"$work/err"
grep -qx "zabtool: symbols: duplicate member (line 1, column 25)" "$work/err" || { echo "FAIL duplicate from standard input:"; cat "$work/err"; fail=1; }
check build-directory 1 "$tool" build "$work" "$work/d.zab"
grep -qxF "zabtool: $work is a directory" "$work/err" || { echo "FAIL build from a directory:"; cat "$work/err"; fail=1; }

# A failed write to standard output: exit code 1 and one line saying so; an
# exit code that is already non-zero stays.
if [[ -w /dev/full ]]; then
  while IFS='|' read -r want args; do
    # shellcheck disable=SC2086
    "$tool" $args >/dev/full 2>"$work/err"
    code=$?
    [[ $code == "$want" ]] || { echo "FAIL full[$args]: exit $code, expected $want"; fail=1; }
    if [[ $want == 1 && $args != dump*missing* ]]; then
      [[ $(cat "$work/err") == "zabtool: error writing standard output: No space left on device" ]] ||
        { echo "FAIL full[$args]: standard error:"; cat "$work/err"; fail=1; }
    fi
  done <<EOF2
1|info $work/a.zab
1|dump $work/a.zab
1|dump $work/a.zab -
1|--help
1|gen $work/full.zab --records 10
1|build $work/src.json -
1|dump $work/missing.zab
2|info
EOF2
fi

# Outputs through symbolic links and into pipes: the link stays a link and
# the file it points to gets the content; a pipe stays a pipe and carries it.
mkdir "$work/real"
ln -s real/r.json "$work/link.json"      # dangling: the file is made
ln -s "$work/link.json" "$work/link2.json"  # a link to a link
echo old > "$work/real/z.zab"
ln -s real/z.zab "$work/link.zab"
ln -s real/g.zab "$work/glink.zab"
check link-dump 0 "$tool" dump "$work/a.zab" "$work/link2.json"
check link-build 0 "$tool" build "$work/src.json" "$work/link.zab"
check link-gen 0 "$tool" gen "$work/glink.zab" --records 10
for l in link.json link2.json link.zab glink.zab; do
  [[ -L "$work/$l" ]] || { echo "FAIL $l is no longer a link"; fail=1; }
done
cmp -s "$work/a.json" "$work/real/r.json" || { echo "FAIL dump through a link"; fail=1; }
cmp -s "$work/a.zab" "$work/real/z.zab" || { echo "FAIL build through a link"; fail=1; }
[[ -s "$work/real/g.zab" ]] || { echo "FAIL gen through a link"; fail=1; }
ls "$work" "$work/real" | grep -q "tmp[0-9]" && { echo "FAIL temporary file left"; fail=1; }
# A descriptor's link is written in place (here appending to a redirection).
echo start > "$work/appended"
"$tool" dump "$work/a.zab" /dev/fd/1 >> "$work/appended"
cmp -s <(echo start; cat "$work/a.json") "$work/appended" || { echo "FAIL dump to /dev/fd/1"; fail=1; }
mkfifo "$work/pipe"
for what in "dump $work/a.zab|a.json" "build $work/src.json|a.zab"; do
  timeout 10 cat "$work/pipe" > "$work/fromfifo" &
  reader=$!
  # shellcheck disable=SC2086
  timeout 10 "$tool" ${what%|*} "$work/pipe" 2>"$work/err" || { echo "FAIL ${what%|*} into a pipe:"; cat "$work/err"; fail=1; }
  wait $reader
  cmp -s "$work/${what#*|}" "$work/fromfifo" || { echo "FAIL ${what%|*}: the pipe did not carry the file"; fail=1; }
  [[ -p "$work/pipe" ]] || { echo "FAIL ${what%|*} replaced the pipe"; fail=1; rm -f "$work/pipe"; mkfifo "$work/pipe"; }
done

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
"$tool" gen - --records 3000 --dim 2 --density 0.3 --labels 500 > "$work/g6.zab" 2>"$work/err"
cmp -s "$work/g4.zab" "$work/g6.zab" || { echo "FAIL gen to standard output"; fail=1; }
grep -q "^-: 3000 records written" "$work/err" || { echo "FAIL gen report to standard error"; cat "$work/err"; fail=1; }
# Progress: a line on standard error rewritten with "\r" and wiped at the end
# when standard error is a terminal (here under script(1)); nothing when it
# is a file. ZABTOOL_PROGRESS_AFTER=0 shows it from the start.
check gen-progress-file 0 env ZABTOOL_PROGRESS_AFTER=0 "$tool" gen "$work/pg.zab" --records 200000
[[ -s "$work/err" ]] && { echo "FAIL gen wrote to a standard error that is a file:"; cat "$work/err"; fail=1; }
check dump-progress 0 "$tool" dump "$work/pg.zab" "$work/pg.json"
check build-progress-file 0 env ZABTOOL_PROGRESS_AFTER=0 "$tool" build "$work/pg.json" "$work/pg2.zab"
[[ -s "$work/err" ]] && { echo "FAIL build wrote to a standard error that is a file:"; cat "$work/err"; fail=1; }
if command -v script >/dev/null; then
  for what in "gen $work/pg3.zab --records 200000|writing $work/pg3.zab: [0-9]+ records" \
              "build $work/pg.json $work/pg4.zab|reading $work/pg.json: [0-9.]+ MiB of [0-9.]+ MiB \([0-9]+ %\), [0-9]+ records"; do
    ZABTOOL_PROGRESS_AFTER=0 script -qec "$tool ${what%|*} 2>&1 >/dev/null" /dev/null > "$work/tty" < /dev/null
    grep -qaE $'\rzabtool: '"${what#*|}" "$work/tty" || { echo "FAIL no progress line for ${what%% *}:"; od -c "$work/tty" | head; fail=1; }
    # the last line shown is wiped: the output ends with spaces and "\r"
    tr -d '\n' < "$work/tty" | grep -qaE $'\r +\r$' || { echo "FAIL progress of ${what%% *} not wiped"; od -c "$work/tty" | tail -3; fail=1; }
  done
fi
[[ ! -e "$work/pg4.zab" ]] || cmp -s "$work/pg2.zab" "$work/pg4.zab" || { echo "FAIL build with progress gives another file"; fail=1; }

# Memory: the records go to the writer as they are read; the document is not
# held, only the writer's records of one symbol. Ten parameters of 100,000
# records (about 64 MB of JSON) stay well below half the JSON's size (it took
# 14 times that when the whole document was read first; a sanitizer build
# peaks at about 18 MB here).
if [[ -x /usr/bin/time ]]; then
  "$tool" gen "$work/m.zab" --records 100000 --symbols 10 --specials 0.01 >/dev/null
  "$tool" dump "$work/m.zab" "$work/m.json"
  /usr/bin/time -f "%M" -o "$work/rss" "$tool" build "$work/m.json" "$work/m2.zab" || { echo "FAIL build of m.json"; fail=1; }
  json_kib=$(( $(stat -c %s "$work/m.json") / 1024 ))
  rss_kib=$(tail -n1 "$work/rss")
  (( rss_kib * 2 < json_kib )) || { echo "FAIL build peak memory $rss_kib KiB for $json_kib KiB of JSON"; fail=1; }
  rm -f "$work"/m.*
fi
exit $fail
