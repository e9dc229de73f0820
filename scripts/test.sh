#!/usr/bin/env bash
# Installs the test toolchain, builds everything and runs every test (unit
# tests, golden whole runs, the pytest suite of the Python package in
# python/tests, the installed tree and the Debian package, all through CTest).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh --test
# tests and benchmarks on also in a build folder first configured without them
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZ2V_TESTS=ON -DZ2V_BENCH=ON ${Z2V_CMAKE_ARGS:-} >/dev/null
cmake --build build -j"$(nproc)"
ctest --test-dir build --output-on-failure -j"$(nproc)"
