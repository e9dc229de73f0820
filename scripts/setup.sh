#!/usr/bin/env bash
# Installs what a fresh Debian 12 machine lacks to build and test zab2veda.
# Run as root it uses apt-get; otherwise it names the packages to install.
# Costs nothing when everything is there already.
set -euo pipefail
need=(cmake make g++ clang libclang-rt-14-dev libgtest-dev libbenchmark-dev nlohmann-json3-dev
      bc time  # bc and GNU time: the benchmark scripts in bench/
      python3 python3-numpy python3-pandas python3-pytest)  # the Python package zab and its tests
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
