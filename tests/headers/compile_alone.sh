#!/usr/bin/env bash
# Compiles every public header on its own, as the first and only thing that a host includes.
#   compile_alone.sh SOURCE_DIR COMPILER
set -euo pipefail
cd "$1"
compiler=$2
headers=$(find zenquor -mindepth 2 -maxdepth 2 -name '*.h' | sort)
[ -n "$headers" ]
printf '%s\n' "$headers" | xargs -P 2 -I{} "$compiler" -std=c++20 -fsyntax-only -Wall -Wextra -Wpedantic -Werror -I. -include {} -x c++ /dev/null
echo "$(printf '%s\n' "$headers" | wc -l) headers compile alone"
