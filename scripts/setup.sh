#!/usr/bin/env bash
# Installs what a fresh Debian 12 machine lacks to build and run zab2veda;
# with --test, also what the tests, benchmarks, sanitizer build and package
# checks need. Run as root it uses apt-get; otherwise it names the packages
# to install. Costs nothing when everything is there already.
#
#   bash scripts/setup.sh           build and run (scripts/run-example.sh)
#   bash scripts/setup.sh --test    and the test toolchain (scripts/test.sh, .ci/run)
set -euo pipefail
need=(cmake make g++ nlohmann-json3-dev)
case "${1:-}" in
  "") ;;
  --test)
    need+=(clang libclang-rt-14-dev  # the sanitizer and fuzzing build of .ci/run
           libgtest-dev libbenchmark-dev
           bc time  # bc and GNU time: the benchmark scripts in bench/
           python3 python3-numpy python3-pandas python3-pytest  # the Python package zab and its tests
           pkg-config dpkg-dev lintian  # tests/install: the C example, the Debian package
           groff-base)  # tests/man: the manual pages rendered without warnings
    ;;
  *)
    echo "usage: bash scripts/setup.sh [--test]" >&2
    exit 2
    ;;
esac
missing=()
for p in "${need[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0
if [[ $(id -u) -eq 0 ]]; then
  echo "Installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq "${missing[@]}"
else
  echo "Please install these Debian packages first (as root):"
  echo "  apt-get install ${missing[*]}"
  exit 1
fi
