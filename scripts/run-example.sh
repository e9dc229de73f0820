#!/usr/bin/env bash
# Builds zab2veda and shows its usage text (the shipped example arrives with
# the converter).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)" --target zab2veda
build/bin/zab2veda
