#!/usr/bin/env bash
# Runs one golden case and compares everything it produced with the expectation.
#
#   run_golden.sh ZAB2VEDA ZABTOOL CASEDIR            compare
#   GOLDEN_UPDATE=1 run_golden.sh ZAB2VEDA ZABTOOL CASEDIR   write expected/ anew
#
# A case folder holds:
#   args        the command-line arguments of zab2veda, one per line (an empty
#               line is an empty argument); absent: no argument at all
#   *.json      each is built with `zabtool build` into the work folder under
#               the same name with .zab
#   setup.sh    optional; run with bash in the work folder before zab2veda
#   anything else (VDD files, sub-folders) is copied into the work folder
#   expected/stdout     standard output; the audit line reads @AUDIT@, and a
#                       line "zab2veda <version>" reads "zab2veda @VERSION@" with
#                       the project version from Z2V_PROJECT_VERSION (CTest sets it)
#   expected/exitcode   the exit code
#   expected/files/...  every file the run created or changed, byte for byte;
#                       a file that is not listed must not appear
set -u
shopt -s nullglob
z2v=$1 zabtool=$2 case=$3
work=$(mktemp -d)
trap 'chmod -R u+w "$work" 2>/dev/null; rm -rf "$work"' EXIT

for f in "$case"/*; do
  name=$(basename "$f")
  case "$name" in
    args|expected|setup.sh) ;;
    *.json) "$zabtool" build "$f" "$work/${name%.json}.zab" >/dev/null || { echo "zabtool build failed for $name"; exit 1; } ;;
    *) cp -r "$f" "$work/" ;;
  esac
done

args=()
if [[ -f "$case/args" ]]; then
  while IFS= read -r line || [[ -n "$line" ]]; do args+=("$line"); done < "$case/args"
fi

cd "$work" || exit 1
[[ -f "$case/setup.sh" ]] && bash "$case/setup.sh"
find . -type f -exec md5sum {} + 2>/dev/null | sort > "$work/.before"

"$z2v" "${args[@]}" > "$work/.stdout" 2>"$work/.stderr"
code=$?
audit=$("$z2v" AUDIT)
sed -i "s|$(printf '%s' "$audit" | sed 's/[][\.*^$|]/\\&/g')|@AUDIT@|" "$work/.stdout"
if [[ -n "${Z2V_PROJECT_VERSION:-}" ]]; then
  sed -i "s|^zab2veda $(printf '%s' "$Z2V_PROJECT_VERSION" | sed 's/[][\.*^$|]/\\&/g')\$|zab2veda @VERSION@|" "$work/.stdout"
elif grep -q "@VERSION@" "$case/expected/stdout" 2>/dev/null; then
  echo "FAIL: set Z2V_PROJECT_VERSION to the project version (CTest does)"; exit 1
fi

find . -type f -exec md5sum {} + 2>/dev/null | sort > "$work/.after"
produced=$(comm -13 "$work/.before" "$work/.after" | awk '{print $2}' | sed 's|^\./||' | grep -v '^\.' )

if [[ -n "${GOLDEN_UPDATE:-}" ]]; then
  rm -rf "$case/expected"; mkdir -p "$case/expected/files"
  cp "$work/.stdout" "$case/expected/stdout"
  echo "$code" > "$case/expected/exitcode"
  for p in $produced; do mkdir -p "$case/expected/files/$(dirname "$p")"; cp "$p" "$case/expected/files/$p"; done
  rmdir "$case/expected/files" 2>/dev/null
  echo "updated $case"; exit 0
fi

fail=0
if ! diff -u "$case/expected/stdout" "$work/.stdout"; then echo "FAIL: stdout differs"; fail=1; fi
want=$(cat "$case/expected/exitcode")
if [[ "$code" != "$want" ]]; then echo "FAIL: exit code $code, expected $want"; fail=1; fi
if [[ -s "$work/.stderr" ]]; then echo "FAIL: unexpected standard error:"; cat "$work/.stderr"; fail=1; fi
expfiles=""
if [[ -d "$case/expected/files" ]]; then
  expfiles=$(cd "$case/expected/files" && find . -type f | sed 's|^\./||' | sort)
fi
for p in $expfiles; do
  if [[ ! -f "$p" ]]; then echo "FAIL: missing output $p"; fail=1
  elif ! cmp -s "$case/expected/files/$p" "$p"; then echo "FAIL: $p differs"; diff -u "$case/expected/files/$p" "$p" | head -40; fail=1; fi
done
for p in $produced; do
  if ! grep -qxF "$p" <<< "$expfiles"; then echo "FAIL: unexpected output $p"; fail=1; fi
done
exit $fail
