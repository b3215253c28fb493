#!/usr/bin/env bash
# Builds the revert path of the stream transformer with libFuzzer and the
# address and undefined-behaviour sanitizers, and runs it for a bounded
# time. Exits non-zero when the fuzzer finds a crash (the input is left in
# build-fuzz/ as crash-*).
#
#   bash scripts/fuzz.sh [seconds]      # default 120
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-120}

bash scripts/deps.sh --fuzz

out=build-fuzz
mkdir -p "$out/corpus"
sources=(host/transform/{Mime,Deflate,Crypto,SealedBox,Authentication,AutoHeader,LayerPlan,LargeBlock,StreamLayers}.cpp)
clang++ -std=c++20 -O1 -g -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=undefined \
  -fno-omit-frame-pointer -I. fuzz/RevertStreamFuzz.cpp "${sources[@]}" -lz -lcrypto -o "$out/RevertStreamFuzz"

cd "$out"
exec ./RevertStreamFuzz -max_total_time="$seconds" -dict=../fuzz/RevertStream.dict -max_len=4096 \
  -print_final_stats=1 corpus
