#!/usr/bin/env bash
# Builds everything and runs every test (unit tests, golden whole runs and the
# pytest suite of the Python package in python/tests, all through CTest).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo ${Z2V_CMAKE_ARGS:-} >/dev/null
cmake --build build -j"$(nproc)"
ctest --test-dir build --output-on-failure -j"$(nproc)"
