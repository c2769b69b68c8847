#!/usr/bin/env bash
# Installs the Debian packages that the given purposes need and the machine lacks.
#   scripts/packages.sh [build] [test] [fuzz]
set -euo pipefail

build=(g++ cmake ninja-build ccache pkg-config git ca-certificates
  libavformat-dev libavcodec-dev libavutil-dev libswscale-dev libswresample-dev
  libspdlog-dev libfmt-dev libcli11-dev nlohmann-json3-dev uuid-dev)
test=(libgtest-dev libgmock-dev libzvbi-dev python3 ffmpeg mediainfo
  gstreamer1.0-tools gstreamer1.0-plugins-base-apps gstreamer1.0-plugins-base gstreamer1.0-plugins-good
  gstreamer1.0-plugins-bad gstreamer1.0-libav)
fuzz=(clang-14 libclang-rt-14-dev)

wanted=()
for purpose in "$@"; do
  declare -n packages=$purpose
  wanted+=("${packages[@]}")
done
missing=()
for package in "${wanted[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
done
if [ ${#missing[@]} -eq 0 ]; then
  echo "packages: everything is installed"
  exit 0
fi
echo "packages: installing ${missing[*]}"
run=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "packages: run as root or install sudo first" >&2; exit 1; }
  run=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${run[@]}" apt-get update -q
"${run[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"
