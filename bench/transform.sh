#!/usr/bin/env bash
# Times "DataStreamEx" (through bench/TransformBench) against the pipelines
# doing the same work with standard tools, on a generated file of mixed
# content, and measures its peak memory. Prints a Markdown table of medians.
#
#   bash bench/transform.sh [--mb N] [--runs N] [--iterations N]
#
# Defaults: 256 MB, 3 runs, the transformer's default PBKDF2 iteration count
# (--iterations sets the registry's "Iterations" for the runs). The files
# live in /dev/shm when it exists (else TMPDIR), so that the disk's
# write-back does not decide the times.
#
# The file: lines of words drawn from a small vocabulary with numbers
# (text-like, deflates to about a third), with one block of 64 KB of random
# bytes after every 1 MB of text (incompressible, about 6% of the file).
set -euo pipefail
cd "$(dirname "$0")/.."

mb=256 runs=3 iterations=
while (($#)); do
  case $1 in
    --iterations) iterations=$2; shift 2 ;;
    --mb) mb=$2; shift 2 ;;
    --runs) runs=$2; shift 2 ;;
    *) echo "unknown option: $1" >&2; exit 2 ;;
  esac
done

missing=()
for tool in gzip:gzip openssl:openssl base64:coreutils /usr/bin/time:time bc:bc; do
  command -v "${tool%%:*}" >/dev/null || missing+=("${tool#*:}")
done
if ((${#missing[@]})); then
  apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${missing[@]}" >/dev/null
fi

cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DSHADOW_BENCH=ON >/dev/null
cmake --build build-bench -j2 --target TransformBench >/dev/null
bench=$PWD/build-bench/bench/TransformBench

if [[ -d /dev/shm && -w /dev/shm ]]; then work=/dev/shm/shadow-transform-bench; else work=${TMPDIR:-/tmp}/shadow-transform-bench; fi
mkdir -p "$work"
input=$work/input-$mb.bin
if [[ ! -s $input ]]; then
  /usr/bin/python3 - "$input" "$mb" <<'PY'
import os, random, sys
path, mb = sys.argv[1], int(sys.argv[2])
random.seed(1)
words = [''.join(random.choice('abcdefghijklmnopqrstuvwxyz') for _ in range(random.randint(2, 9))) for _ in range(2000)]
with open(path + '.part', 'wb') as f:
    written = 0
    while written < mb << 20:
        lines = []
        size = 0
        while size < 1 << 20:
            line = ' '.join(random.choices(words, k=random.randint(4, 14))) + ' %d\n' % random.randint(0, 99999)
            lines.append(line)
            size += len(line)
        block = ''.join(lines).encode()[: 1 << 20] + os.urandom(64 << 10)
        f.write(block)
        written += len(block)
    f.truncate(mb << 20)
os.rename(path + '.part', path)
PY
fi

# A registry of its own: the key is given on the command line.
export SHADOW_REGISTRY=$work/registry.ini SHADOW_EVENT_LOG=$work/events.log
if [[ -n $iterations ]]; then printf '[DataStreamEx]\nIterations=%s\n' "$iterations" >"$SHADOW_REGISTRY"; else : >"$SHADOW_REGISTRY"; fi

seconds() { local start end; start=$(date +%s.%N); "$@"; end=$(date +%s.%N); echo "$end - $start" | bc -l; }
median() { printf '%s\n' "$@" | sort -g | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }

sealed=0x4842 # zlib + encryption + authentication
ours_fwd() { "$bench" forward $sealed "$input" "$work/ours.sealed" x; }
pipe_fwd() { gzip -c "$input" | openssl enc -aes-256-ctr -pbkdf2 -pass pass:x >"$work/pipe.sealed"; }
ours_back() { "$bench" revert $sealed "$work/ours.sealed" "$work/ours.back" x; }
pipe_back() { openssl enc -d -aes-256-ctr -pbkdf2 -pass pass:x <"$work/pipe.sealed" | gunzip >"$work/pipe.back"; }
ours_b64() { "$bench" forward 0x8400 "$input" "$work/ours.b64"; }
tool_b64() { base64 -w0 "$input" >"$work/tool.b64"; }

declare -A t
for ((run = 1; run <= runs; run++)); do
  for case in ours_fwd pipe_fwd ours_back pipe_back ours_b64 tool_b64; do
    t[$case]+="$(seconds $case) "
  done
done
cmp -s "$input" "$work/ours.back" || { echo "the revert did not restore the input" >&2; exit 1; }
cmp -s "$work/ours.b64" "$work/tool.b64" || { echo "base64 differs from coreutils" >&2; exit 1; }

rss() { /usr/bin/time -v "$@" 2>&1 >/dev/null | awk -F': ' '/Maximum resident/ {printf "%.0f", $2 / 1024}'; }
rss_fwd=$(rss "$bench" forward $sealed "$input" "$work/ours.sealed" x)
rss_back=$(rss "$bench" revert $sealed "$work/ours.sealed" "$work/ours.back" x)
rss_b64=$(rss "$bench" forward 0x8400 "$input" "$work/ours.b64")

row() { # name ours tool
  local o p
  o=$(median ${t[$2]}) p=$(median ${t[$3]})
  printf '| %s | %.2f s | %.2f s | %.2f x |\n' "$1" "$o" "$p" "$(echo "$p / $o" | bc -l)"
}
echo "$mb MB, median of $runs runs, PBKDF2 iterations ${iterations:-default}; throughput ratio = tool time / our time (>= 1 is as fast or faster)"
echo
echo '| case | DataStreamEx | tools | throughput ratio |'
echo '|---|---|---|---|'
row "zlib + encrypt + authenticate, forward (vs gzip -c \| openssl enc -aes-256-ctr -pbkdf2)" ours_fwd pipe_fwd
row "revert (vs openssl enc -d \| gunzip)" ours_back pipe_back
row "base64 (vs base64 -w0)" ours_b64 tool_b64
echo
echo "peak RSS: forward $rss_fwd MB, revert $rss_back MB, base64 $rss_b64 MB"
echo "sizes: ours $(stat -c %s "$work/ours.sealed"), pipeline $(stat -c %s "$work/pipe.sealed")"
