#!/usr/bin/env bash
# Every message that vdd(5) lists under DIAGNOSTICS is one the program can
# print: each fixed piece of it (the text between the placeholders in
# italics and the double quotes) occurs in the sources.
#   messages_test.sh VDD.5 SRC_DIR
set -u
page=$1 src=$2
fail=0 count=0
while IFS= read -r msg; do
  count=$((count + 1))
  while IFS= read -r piece; do
    [[ ${#piece} -lt 3 ]] && continue
    grep -rqF -- "$piece" "$src" || { echo "FAIL: \"$piece\" (of: $msg) is in no source file"; fail=1; }
  done < <(printf '%s\n' "$msg" | sed -E 's/\\fI[^\\]*(\\fB|$)/\n/g; s/\\\(dq/\n/g')
done < <(awk '/^\.SH DIAGNOSTICS/ { on = 1 } /^\.SH EXAMPLE/ { on = 0 } on && /^\.nf/ { nf = 1; next }
              on && /^\.fi/ { nf = 0 } on && nf' "$page" |
         sed -E 's/^\.BR? //; s/" \(line\)"$//; s/^"//; s/"$//; s/\\-/-/g; s/\\ / /g')
((count >= 60)) || { echo "FAIL: only $count messages found in $page"; fail=1; }
exit $fail
