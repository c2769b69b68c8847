#!/usr/bin/env bash
# Installs what is missing, builds, runs the whole test suite. Safe to run again; arguments go to ctest.
set -euo pipefail
cd "$(dirname "$0")"

scripts/packages.sh build test
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DZENQUOR_BUILD_TESTS=ON -DZENQUOR_WARNINGS_AS_ERRORS=ON
cmake --build build
ctest --test-dir build --no-tests=error --output-on-failure --parallel 2 "$@"
