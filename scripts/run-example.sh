#!/usr/bin/env bash
# Builds zab2veda, zabtool and the ZAB library, builds the transport example's
# ZAB file from its JSON form and converts it with its VDD file in a fresh
# folder out/example/, then shows where the three VEDA files are.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
bash scripts/setup.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)" --target zab2veda zabtool zabcclib64

out=$root/out/example
rm -rf "$out"
mkdir -p "$out"
cp examples/transport/transport.vdd "$out/"
build/bin/zabtool build examples/transport/transport.json "$out/transport.zab"

cd "$out"
echo
echo "\$ zab2veda transport.zab transport.vdd"
"$root/build/bin/zab2veda" transport.zab transport.vdd
echo
echo "VEDA files written in $out:"
for f in transport.vd transport.vde transport.vds; do
  printf '  %-15s %6d bytes\n' "$f" "$(wc -c < "$f")"
done
