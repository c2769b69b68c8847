#!/usr/bin/env bash
# Installs the library into a scratch prefix and builds and runs a small host against it, once through the CMake package
# and once through pkg-config.
#   run.sh SOURCE_DIR BUILD_DIR COMPILER
set -euo pipefail
source_dir=$1 build_dir=$2 compiler=$3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

cmake --install "$build_dir" --prefix "$scratch/prefix" >/dev/null
cmake -S "$source_dir/tests/consumer" -B "$scratch/build" -G Ninja -DCMAKE_PREFIX_PATH="$scratch/prefix" \
  -DCMAKE_CXX_COMPILER="$compiler" >/dev/null
cmake --build "$scratch/build"
mkdir "$scratch/one" "$scratch/two"
library_dir=$(dirname "$(find "$scratch/prefix" -name 'libzenquor.*' | head -n 1)")
export LD_LIBRARY_PATH=$library_dir
(cd "$scratch/one" && "$scratch/build/consumer")

sed -i "s|^prefix=.*|prefix=$scratch/prefix|" "$library_dir/pkgconfig/zenquor.pc"
export PKG_CONFIG_PATH=$library_dir/pkgconfig
"$compiler" -std=c++20 "$source_dir/tests/consumer/main.cpp" -o "$scratch/consumer" $(pkg-config --cflags --libs zenquor)
(cd "$scratch/two" && "$scratch/consumer")
