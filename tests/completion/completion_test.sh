#!/usr/bin/env bash
# The bash completions of zab2veda and zabtool, sourced into a bash without
# the bash-completion package: each case sets COMP_WORDS and COMP_CWORD in a
# folder of sample files, calls the completion function and compares
# COMPREPLY (sorted) exactly.
#   completion_test.sh COMPLETION_DIR
set -u
dir=$(cd "$1" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
mkdir data "my dir"
touch a.zab B.ZAB c.vdd D.VDD e.json f.CSV g.txt out.json "x y.zab" data/h.zab
source "$dir/zab2veda" || exit 1
source "$dir/zabtool" || exit 1
complete -p zab2veda zabtool >/dev/null || { echo "FAIL: not registered with complete"; exit 1; }
fail=0

# check FUNCTION 'WORD|WORD|...': the last word (possibly empty) is the one
# being completed; EXPECTED is the sorted COMPREPLY joined by '|'.
check() {
  local fn=$1 words=$2 want=$3 got
  IFS='|' read -r -a COMP_WORDS <<< "$words"
  [[ $words == *'|' ]] && COMP_WORDS+=("")
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  COMPREPLY=()
  "$fn" "${COMP_WORDS[0]}" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
  got=$( ((${#COMPREPLY[@]})) && printf '%s\n' "${COMPREPLY[@]}" | LC_ALL=C sort | paste -sd'|')
  if [[ "$got" != "$want" ]]; then
    echo "FAIL $fn [$words]: got [$got], expected [$want]"
    fail=1
  fi
}

cases=0
while IFS=';' read -r fn words want; do
  [[ -z $fn || $fn == '#'* ]] && continue
  check "$fn" "$words" "$want"
  cases=$((cases + 1))
done <<'EOF2'
# zab2veda: position 1 offers the switches, .zab files (any case) and folders
_zab2veda;zab2veda|;--help|--version|AUDIT|B.ZAB|a.zab|data|my dir|x y.zab
_zab2veda;zab2veda|--;--help|--version
_zab2veda;zab2veda|--v;--version
_zab2veda;zab2veda|A;AUDIT
_zab2veda;zab2veda|a;a.zab
_zab2veda;zab2veda|data/;data/h.zab
_zab2veda;zab2veda|x;x y.zab
# position 2: .vdd files and folders; 3 and 4: any file; 5: nothing
_zab2veda;zab2veda|a.zab|;D.VDD|c.vdd|data|my dir
_zab2veda;zab2veda|a.zab|c;c.vdd
_zab2veda;zab2veda|a.zab|c.vdd|o;out.json
_zab2veda;zab2veda|a.zab|c.vdd|run|g;g.txt
_zab2veda;zab2veda|a.zab|c.vdd|run|sum|;
# nothing after a switch that ends the run
_zab2veda;zab2veda|--help|;
_zab2veda;zab2veda|--VERSION|;
_zab2veda;zab2veda|audit|;
# zabtool: commands, general options
_zabtool;zabtool|;build|dump|gen|info
_zabtool;zabtool|d;dump
_zabtool;zabtool|-;--help|--version|-h
# build: SOURCE .json or .csv, then OUT .zab, then nothing
_zabtool;zabtool|build|;data|e.json|f.CSV|my dir|out.json
_zabtool;zabtool|build|e;e.json
_zabtool;zabtool|build|e.json|;B.ZAB|a.zab|data|my dir|x y.zab
_zabtool;zabtool|build|e.json|a.zab|;
_zabtool;zabtool|build|-;--|--help|--version|-h
_zabtool;zabtool|build|--|-;
_zabtool;zabtool|build|--|e.json|a;a.zab
# options between the operands do not count as operands
_zabtool;zabtool|build|-h|e.json|a;a.zab
# dump FILE.zab then OUT.json; info FILE.zab
_zabtool;zabtool|dump|;B.ZAB|a.zab|data|my dir|x y.zab
_zabtool;zabtool|dump|a.zab|;data|e.json|my dir|out.json
_zabtool;zabtool|info|B;B.ZAB
_zabtool;zabtool|info|a.zab|;
# gen: its options, the values of --type, OUT.zab before or after options
_zabtool;zabtool|gen|--d;--density|--dim
_zabtool;zabtool|gen|--t;--texts|--type
_zabtool;zabtool|gen|--type|;equation|mixed|parameter|set|variable
_zabtool;zabtool|gen|--type|p;parameter
_zabtool;zabtool|gen|--records|;
_zabtool;zabtool|gen|--records|5|a;a.zab
_zabtool;zabtool|gen|a.zab|--dim|3|;
_zabtool;zabtool|dump|--records|a;a.zab
EOF2
((cases > 30)) || { echo "FAIL: only $cases cases ran"; fail=1; }
exit $fail
