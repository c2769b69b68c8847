#!/usr/bin/env bash
# Builds the fuzz targets and runs each for some seconds on its seed corpus.
#   scripts/fuzz.sh [SECONDS [TARGET...]]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-30}
shift || true

cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_FLAGS=-O1 -DCMAKE_CXX_COMPILER=clang++-14 \
  -DBUILD_SHARED_LIBS=OFF -DZENQUOR_BUILD_FUZZERS=ON -DZENQUOR_BUILD_TESTS=OFF -DZENQUOR_BUILD_TOOLS=OFF \
  -DZENQUOR_BUILD_EXAMPLES=OFF
cmake --build build-fuzz --target fuzzers
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=($(cd fuzz && ls fuzz_*.cpp | sed 's/^fuzz_//; s/\.cpp$//'))
for target in "${targets[@]}"; do
  echo "fuzz: $target for $seconds s"
  found=$(mktemp -d)
  # New inputs go to a scratch folder; the corpus in the tree grows by hand only.
  if ! build-fuzz/fuzz/fuzz_$target -max_total_time="$seconds" -max_len=8192 -timeout=5 -rss_limit_mb=1024 -verbosity=0 \
      -artifact_prefix="$found/" "$found" "fuzz/corpus/$target"; then
    echo "fuzz: $target failed; the input is in $found" >&2
    exit 1
  fi
  rm -rf "$found"
done
