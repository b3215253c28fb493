#!/usr/bin/env bash
# Times `shadow get` against `curl -o` downloading one large file from the
# same local HTTP server (lighttpd on a loopback port), and measures the
# peak memory of `shadow get` and the progress lines it prints a second.
# Prints a Markdown table of medians. `shadow get` flushes the file to the
# disk before it puts it in place and curl does not, so the times include
# that flush on one side only.
#
#   bash bench/download.sh [--runs N] [--size-mb N] [--on-disk]
#
# Both tools write into a memory file system (/dev/shm) unless --on-disk
# is given: there the figures measure the transfer rather than the disk,
# whose speed on a shared machine varies from one run to the next by more
# than the difference being measured.
set -euo pipefail
cd "$(dirname "$0")/.."

runs=5 size_mb=1024 on_disk=
while (($#)); do
  case $1 in
    --on-disk) on_disk=1; shift ;;
    --runs) runs=$2; shift 2 ;;
    --size-mb) size_mb=$2; shift 2 ;;
    *) echo "unknown option: $1" >&2; exit 2 ;;
  esac
done

bash scripts/deps.sh --bench
cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build-bench -j "$(nproc)" --target shadow Shadow CollectionsEx >/dev/null
shadow=$PWD/build-bench/shadow

base=${TMPDIR:-/tmp}
[[ -z $on_disk && -w /dev/shm ]] && base=/dev/shm
tmp=$(mktemp -d "$base/shadow-download.XXXXXX")
server_pid=
cleanup() {
  [[ -n $server_pid ]] && kill "$server_pid" 2>/dev/null
  rm -rf "$tmp"
}
trap cleanup EXIT
mkdir -p "$tmp/www" "$tmp/curl" "$tmp/shadow"
head -c "$((size_mb * 1024 * 1024))" /dev/urandom >"$tmp/www/big.bin"
port=$(/usr/bin/python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])')
cat >"$tmp/lighttpd.conf" <<CONFIG
server.document-root = "$tmp/www"
server.bind = "127.0.0.1"
server.port = $port
server.errorlog = "$tmp/lighttpd.log"
CONFIG
/usr/sbin/lighttpd -D -f "$tmp/lighttpd.conf" &
server_pid=$!
for ((i = 0; i < 100; i++)); do (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null && break; sleep 0.1; done
url="http://127.0.0.1:$port/big.bin"
# The settings and the event log of the runs stay in the temporary folder.
export SHADOW_REGISTRY=$tmp/registry.ini SHADOW_EVENT_LOG=$tmp/events.log

median() { sort -n | awk '{v[NR]=$1} END {print (NR % 2) ? v[(NR+1)/2] : (v[NR/2] + v[NR/2+1]) / 2}'; }

curl_times=() shadow_times=() shadow_rss=() lines_per_second=()
for ((run = 1; run <= runs; run++)); do
  rm -f "$tmp/curl/big.bin" "$tmp/shadow/big.bin"
  # Each tool starts with the disk idle: the other's gigabyte is written out
  # first, so that neither pays for the other's writes.
  sync
  curl_times+=("$( { /usr/bin/time -f '%e' curl -s -o "$tmp/curl/big.bin" "$url"; } 2>&1 )")
  sync
  /usr/bin/time -f '%e %M' -o "$tmp/time" "$shadow" get --verbose --cache "$tmp/shadow" "$url" >"$tmp/out" 2>&1
  read -r seconds rss <"$tmp/time"
  cmp -s "$tmp/www/big.bin" "$tmp/shadow/big.bin" || { echo "the download differs" >&2; exit 1; }
  shadow_times+=("$seconds")
  shadow_rss+=("$rss")
  lines=$(grep -c 'Downloading' "$tmp/out" || true)
  echo "run $run: curl ${curl_times[-1]} s, shadow get $seconds s, $((rss / 1024)) MB" >&2
  lines_per_second+=("$(echo "scale=1; $lines / $seconds" | bc)")
done

curl_s=$(printf '%s\n' "${curl_times[@]}" | median)
shadow_s=$(printf '%s\n' "${shadow_times[@]}" | median)
rss_kb=$(printf '%s\n' "${shadow_rss[@]}" | median)
lps=$(printf '%s\n' "${lines_per_second[@]}" | median)
echo
echo "| ${size_mb} MB over loopback ($runs runs, medians) | curl -o | shadow get |"
echo "|---|---|---|"
echo "| time (s) | $curl_s | $shadow_s |"
echo "| throughput (MB/s) | $(echo "scale=0; $size_mb / $curl_s" | bc) | $(echo "scale=0; $size_mb / $shadow_s" | bc) |"
echo "| shadow get / curl throughput | | $(echo "scale=2; $curl_s / $shadow_s" | bc) |"
echo "| peak memory of shadow get (MB) | | $(echo "scale=1; $rss_kb / 1024" | bc) |"
echo "| progress lines a second | | $lps |"
