#!/usr/bin/env bash
# Cross-builds the module, the host runtime, the command line and all tests
# for 64-bit Arm (aarch64) with Debian's cross compiler and the arm64 builds
# of the libraries, and runs the whole test suite under qemu-user. Installs
# what is missing first. Builds in build-arm64/.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds_since() { echo $((SECONDS - $1)); }

start=$SECONDS
bash scripts/deps.sh --arm64
install_time=$(seconds_since "$start")

jobs=$(nproc)
start=$SECONDS
cmake -S . -B build-arm64 -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake >/dev/null
cmake --build build-arm64 -j "$jobs"
build_time=$(seconds_since "$start")

# Each program's machine is checked, so that a build that quietly came out
# for this machine cannot pass as an arm64 run.
for f in build-arm64/shadow build-arm64/_binARM64/Shadow.so build-arm64/_binARM64/CollectionsEx.so; do
  if ! readelf -h "$f" | grep -q 'Machine:.*AArch64'; then
    echo "not built for aarch64: $f" >&2
    exit 1
  fi
done

echo "arm64 stage: install ${install_time}s, build ${build_time}s; the tests follow"
# CTest closes with the tests' time (Total Test time).
(cd build-arm64 && ctest --output-on-failure -j "$jobs")
