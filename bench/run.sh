#!/usr/bin/env bash
# Times `shadow mirror` against `rsync -a --delete` and `cp -r` on generated
# trees, and measures the peak memory of copying one large file. Prints a
# Markdown table of medians.
#
#   bash bench/run.sh [--runs N] [--small-files N] [--large-mb N] [--big-gb N] [--in-tmp]
#
# Scenarios: first copy into an empty destination; re-run with nothing
# changed; re-run with 1% of the files changed; clean after 10% of the
# source files were removed (shadow --clean against rsync --delete; cp has
# no clean and is left out there).
set -euo pipefail
cd "$(dirname "$0")/.."

runs=5 small=20000 large_mb=64 big_gb=2 in_tmp=
while (($#)); do
  case $1 in
    --runs) runs=$2; shift 2 ;;
    --small-files) small=$2; shift 2 ;;
    --large-mb) large_mb=$2; shift 2 ;;
    --big-gb) big_gb=$2; shift 2 ;;
    --in-tmp) in_tmp=1; shift ;;
    *) echo "unknown option: $1" >&2; exit 2 ;;
  esac
done

bash scripts/deps.sh --bench
# A build of its own, optimised, so the test build is left as it is.
cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build-bench -j "$(nproc)" --target shadow >/dev/null
shadow=$PWD/build-bench/shadow

# The runs work on a file system of their own where they can: a fresh ext4
# (with a journal, as most installations have) in an image file, mounted
# through a loop device, which needs root. On the machine's own disk,
# deletions made shortly before (by anything on the machine) slow file
# creation for minutes on some file systems, and the timings with them.
# --in-tmp, or no root, runs in TMPDIR instead.
tmp=$(mktemp -d "${TMPDIR:-/tmp}/shadow-bench.XXXXXX")
work=$tmp
cleanup() {
  if mountpoint -q "$tmp/fs"; then umount "$tmp/fs"; fi
  rm -rf "$tmp"
}
trap cleanup EXIT
if [[ -z $in_tmp && $(id -u) -eq 0 ]]; then
  # Room for every destination the runs keep, and inodes for them; the
  # inode tables are written now rather than in the background later.
  truncate -s 32G "$tmp/image"
  mkdir "$tmp/fs"
  if mkfs.ext4 -q -N 2000000 -E lazy_itable_init=0,lazy_journal_init=0 "$tmp/image" &&
     mount -o loop "$tmp/image" "$tmp/fs" 2>/dev/null; then
    work=$tmp/fs
    echo "Working on a fresh ext4 file system in $tmp/image" >&2
  else
    echo "No loop device to be had: working in $tmp" >&2
    rm -f "$tmp/image"
  fi
fi
src=$work/src

# The tree: many small files in deep chains of folders and in one flat
# folder, and a few large files.
make_tree() {
  mkdir -p "$src/flat"
  local i d
  for ((i = 0; i < small / 2; i++)); do printf 'flat file %d\n' "$i" > "$src/flat/f$i.txt"; done
  # Chains ten folders deep, 50 files a folder: deep enough to weigh path
  # lengths, as deep as real trees get.
  for ((i = 0; i < small / 2; i++)); do
    if ((i % 500 == 0)); then d=$src/deep/chain$((i / 500)); fi
    if ((i % 50 == 0)); then d=$d/level$((i / 50 % 10)); mkdir -p "$d"; fi
    printf 'deep file %d\n' "$i" > "$d/f$i.txt"
  done
  mkdir -p "$src/large"
  for i in 1 2 3; do head -c "$((large_mb * 1024 * 1024))" /dev/urandom > "$src/large/blob$i.bin"; done
}

now() { date +%s.%N; }
elapsed() { echo "$(now) - $1" | bc -l; }
median() { sort -g | awk '{a[NR]=$1} END {m=(NR%2)?a[(NR+1)/2]:(a[NR/2]+a[NR/2+1])/2; printf "%.3f", m}'; }

# time_cmd TOOL DST: one timed mirror with the given tool.
time_cmd() {
  local tool=$1 dst=$2 clean=${3:-} t
  sync
  t=$(now)
  case $tool in
    shadow) "$shadow" mirror "$src" "$dst" $clean >/dev/null ;;
    rsync) rsync -a --delete "$src/" "$dst/" ;;
    cp) cp -r "$src/." "$dst" ;;
  esac
  elapsed "$t"
}

# retire DIR: moves a finished destination aside; everything is deleted at
# the end. Deleting during the runs would slow the file creations that
# follow for minutes on some file systems (ext4 without a journal skips
# recently freed inodes one by one), and charge one tool for another's
# deletions.
retire() {
  [[ -e $1 ]] || return 0
  mkdir -p "$work/retired"
  mv "$1" "$(mktemp -d "$work/retired/XXXXXX")/"
}

declare -A result
# one_run NAME TOOL R: one timed run of a scenario with one tool.
one_run() {
  local name=$1 tool=$2 r=$3 dst=$work/dst-$2
  case $name in
    first) retire "$dst"; mkdir -p "$dst"; time_cmd "$tool" "$dst" ;;
    unchanged)
      [[ -d $dst ]] || { mkdir -p "$dst"; time_cmd "$tool" "$dst" >/dev/null; }
      time_cmd "$tool" "$dst" ;;
    changed1)
      [[ -d $dst ]] || { mkdir -p "$dst"; time_cmd "$tool" "$dst" >/dev/null; }
      sleep 0.01
      find "$src/flat" -name '*.txt' | awk -v n="$((small / 100))" 'NR <= n' | while read -r f; do echo "changed $r $tool" >> "$f"; done
      time_cmd "$tool" "$dst" ;;
    clean10)
      retire "$dst"; mkdir -p "$dst"; time_cmd "$tool" "$dst" >/dev/null
      local removed=$work/removed; rm -rf "$removed"; mkdir -p "$removed"
      find "$src/flat" -name '*.txt' | awk -v n="$((small / 10))" 'NR <= n' | while read -r f; do mv "$f" "$removed/"; done
      time_cmd "$tool" "$dst" --clean
      mv "$removed"/* "$src/flat/" ;;
  esac
}

# scenario NAME TOOL...: the tools take turns within each run, so that a
# slow spell of the disk weighs on all of them alike.
scenario() {
  local name=$1 r tool; shift
  declare -A times=()
  for ((r = 0; r < runs; r++)); do
    for tool in "$@"; do times[$tool]+="$(one_run "$name" "$tool" "$r") "; done
  done
  for tool in "$@"; do result[$name,$tool]=$(printf '%s\n' ${times[$tool]} | median); done
}

echo "Generating $small small files and 3 files of $large_mb MB in $work" >&2
make_tree
for name in first unchanged changed1 clean10; do
  echo "  $name" >&2
  if [[ $name == clean10 ]]; then scenario "$name" shadow rsync; else scenario "$name" shadow rsync cp; fi
done

# Peak memory while copying one large file.
big=$work/big; mkdir -p "$big"
echo "Creating a ${big_gb} GB file" >&2
head -c "$((big_gb * 1024 * 1024 * 1024))" /dev/urandom > "$big/huge.bin"
peak_kb=$(/usr/bin/time -f '%M' "$shadow" mirror "$big" "$work/big-dst" 2>&1 >/dev/null | tail -n 1)
cmp -s "$big/huge.bin" "$work/big-dst/huge.bin" || { echo "large copy differs" >&2; exit 1; }

ratio() { printf '%.2f' "$(echo "$1 / $2" | bc -l)"; }
echo
echo "Medians of $runs runs, seconds ($small small files, 3 x $large_mb MB), $(nproc) cores."
echo
echo "| scenario | shadow | rsync -a --delete | cp -r | shadow / cp | shadow / rsync |"
echo "|---|---|---|---|---|---|"
for name in first unchanged changed1 clean10; do
  s=${result[$name,shadow]} r=${result[$name,rsync]} c=${result[$name,cp]:-}
  if [[ -n $c ]]; then
    echo "| $name | $s | $r | $c | $(ratio "$s" "$c") | $(ratio "$s" "$r") |"
  else
    echo "| $name | $s | $r | - | - | $(ratio "$s" "$r") |"
  fi
done
echo
echo "Peak resident memory of shadow mirror copying one ${big_gb} GB file: $((peak_kb / 1024)) MB ($peak_kb KB)."
