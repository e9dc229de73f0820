#!/usr/bin/env bash
# Standard output that can't be written is not lost silently: whatever the
# run, a failed write or flush of the console ends it with exit code 1 (an
# exit code that is already non-zero stays) and one line on standard error.
# The files of the run are written as usual.
#
#   console_write_error_test.sh ZAB2VEDA ZABTOOL GOLDEN_CASES FAKELIBS_DIR
set -u
z2v=$1 zabtool=$2 cases=$3 fakes=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail=0

"$zabtool" build "$cases/conv_example/transport.json" "$work/transport.zab" >/dev/null
"$zabtool" build "$cases/conv_vdd_errors/model.json" "$work/model.zab" >/dev/null
"$zabtool" build "$cases/conv_place_outside_tuple/po.json" "$work/po.zab" >/dev/null
cp "$cases/conv_example/transport.vdd" "$cases/conv_vdd_errors/bad.vdd" \
  "$cases/conv_place_outside_tuple/po.vdd" "$work/"
mkdir "$work/refuse"
cp "$z2v" "$work/refuse/zab2veda"
cp "$fakes/refuse/libzabcclib64.so" "$work/refuse/"

full="zab2veda: error writing standard output: No space left on device"
closed="zab2veda: error writing standard output: Bad file descriptor"

# name | standard output (full: /dev/full, closed: no descriptor 1, file) |
# expected code | expected standard error | arguments
cases_table=(
  "short help|full|1|$full|-h"
  "long help|full|1|$full|--help"
  "audit|full|1|$full|AUDIT"
  "dump|full|1|$full|transport"
  "conversion|full|1|$full|transport transport.vdd"
  "conversion, console closed|closed|1|$closed|transport transport.vdd"
  "definition errors|full|1|$full|model bad.vdd"
  "internal error|full|1|$full|po po.vdd"
  "ZAB file missing|full|1|$full|nosuch"
  "conversion to a file|file|0||transport transport.vdd"
)

for row in "${cases_table[@]}"; do
  IFS='|' read -r name target want_code want_err args <<<"$row"
  rm -f "$work"/*.vd "$work"/*.vde "$work"/*.vds "$work"/*.csv
  # shellcheck disable=SC2086  # the arguments are split on purpose
  case $target in
    full) (cd "$work" && "$z2v" $args >/dev/full 2>"$work/err") ;;
    closed) (cd "$work" && "$z2v" $args >&- 2>"$work/err") ;;
    file) (cd "$work" && "$z2v" $args >"$work/out" 2>"$work/err") ;;
  esac
  code=$?
  err=$(cat "$work/err")
  if [[ $code != "$want_code" ]]; then echo "FAIL $name: exit code $code, expected $want_code"; fail=1; fi
  if [[ $err != "$want_err" ]]; then echo "FAIL $name: standard error [$err], expected [$want_err]"; fail=1; fi
done

# The files of a conversion are complete although the console was lost.
(cd "$work" && "$z2v" transport transport.vdd >/dev/full 2>/dev/null)
if ! cmp -s "$work/transport.vd" "$cases/conv_example/expected/files/transport.vd"; then
  echo "FAIL conversion: transport.vd differs from the golden one"; fail=1
fi

# A library that lacks an operation ends the run with exit code 123, which
# stays; the lost console is still said.
(cd "$work/refuse" && env -u LD_LIBRARY_PATH ./zab2veda good >/dev/full 2>"$work/err")
code=$?
err=$(cat "$work/err")
if [[ $code != 123 || $err != "$full" ]]; then
  echo "FAIL operation refused: exit code $code, standard error [$err]"; fail=1
fi
exit $fail
