#!/usr/bin/env bash
# Every manual page renders without a single groff warning, and every version
# it names ("zab2veda 1.0.0" in its footer and text) is the project version.
#   render_test.sh PROJECT_VERSION PAGE...
set -u
version=$1; shift
command -v groff >/dev/null || { echo "FAIL: groff is not installed (Debian package groff-base)"; exit 1; }
fail=0
for page in "$@"; do
  out=$(groff -man -Tutf8 -ww -z "$page" 2>&1)
  if [[ $? -ne 0 || -n "$out" ]]; then echo "FAIL $page:"; echo "$out"; fail=1; fi
  head -n1 "$page" | grep -q "^\.TH .* \"zab2veda $version\" " || { echo "FAIL $page: .TH does not name zab2veda $version"; fail=1; }
  while read -r named; do
    [[ "${named#* }" == "$version" ]] || { echo "FAIL $page names \"$named\", the project is $version"; fail=1; }
  done < <(grep -oE '(zab2veda|zabtool|ORM2VEDA) [0-9]+\.[0-9]+\.[0-9]+' "$page")
done
exit $fail
