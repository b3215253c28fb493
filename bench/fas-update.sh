#!/usr/bin/env bash
# Times an update through the host's "FASService" (bench/FASBench, a local
# server folder through "URLFile") against `rsync -a` on the same change: a
# client of N files (default 20000, 1 to 8 KB, 100 to a folder) after 1% of
# them changed on the server. Also times the server's scheme file written
# again after the change (the publish step rsync has no counterpart for).
# Prints a Markdown table of medians.
#
#   bash bench/fas-update.sh [--files N] [--runs N] [--sftp]
#
# --sftp reaches the server through the SFTP test server
# (scripts/test-servers.sh), and rsync through ssh to the same server.
#
# The trees live in TMPDIR. Each run changes a fresh 1% of the files.
set -euo pipefail
cd "$(dirname "$0")/.."

files=20000 runs=5 sftp=false
while (($#)); do
  case $1 in
    --sftp) sftp=true; shift ;;
    --files) files=$2; shift 2 ;;
    --runs) runs=$2; shift 2 ;;
    *) echo "unknown option: $1" >&2; exit 2 ;;
  esac
done
command -v rsync >/dev/null || { apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq rsync >/dev/null; }

cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DSHADOW_BENCH=ON >/dev/null
cmake --build build-bench -j2 --target FASBench CollectionsEx >/dev/null
bench=$PWD/build-bench/bench/FASBench

work=$(mktemp -d "${TMPDIR:-/tmp}/fas-bench-XXXXXX")
trap 'rm -rf "$work"' EXIT
server=$work/server fas=$work/client-fas rs=$work/client-rsync
# Where the two tools reach the server from.
fas_server=$server rsync_server=$server/ rsync_shell=()
if $sftp; then
  bash scripts/deps.sh --servers
  # shellcheck source=scripts/test-servers.sh
  source scripts/test-servers.sh
  trap 'stop_test_servers; rm -rf "$work"' EXIT
  start_test_servers "$work/servers"
  server=$SHADOW_TEST_SERVER_ROOT/server
  export SHADOW_REGISTRY=$work/registry.ini SHADOW_EVENT_LOG=$work/events.log
  printf '[SSH]\nPrivateKey=%s\nKnownHosts=%s\n' "$SHADOW_TEST_SSH_KEY" "$SHADOW_TEST_SSH_KNOWN_HOSTS" >"$SHADOW_REGISTRY"
  fas_server=$SHADOW_TEST_SFTP_URL$server
  port=${SHADOW_TEST_SFTP_URL##*:}
  rsync_server=$(id -un)@127.0.0.1:$server/
  rsync_shell=(-e "ssh -p $port -i $SHADOW_TEST_SSH_KEY -o UserKnownHostsFile=$SHADOW_TEST_SSH_KNOWN_HOSTS -o BatchMode=yes")
fi

python3 - "$server" "$files" <<'PY'
import os, random, sys
root, count = sys.argv[1], int(sys.argv[2])
random.seed(1)
for i in range(count):
    folder = os.path.join(root, "d%03d" % (i // 100))
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, "f%05d.bin" % i), "wb") as f:
        f.write(random.randbytes(random.randint(1024, 8192)))
PY
"$bench" publish "$server" >/dev/null
mkdir -p "$fas" "$rs"
"$bench" update "$fas_server" "$fas" >/dev/null
rsync -a "${rsync_shell[@]}" "$rsync_server" "$rs/" --exclude scheme.fas

ms() { local s e; s=$(date +%s%N); "$@" >/dev/null; e=$(date +%s%N); echo $(((e - s) / 1000000)); }
median() { sort -n | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }

change=$((files / 100))
: >"$work/publish" >"$work/update" >"$work/rsync" >"$work/noop-update" >"$work/noop-rsync"
for ((run = 1; run <= runs; run++)); do
  python3 - "$server" "$files" "$change" "$run" <<'PY'
import os, random, sys
root, count, change, run = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), int(sys.argv[4])
random.seed(1000 + run)
for i in random.sample(range(count), change):
    path = os.path.join(root, "d%03d" % (i // 100), "f%05d.bin" % i)
    with open(path, "wb") as f:
        f.write(random.randbytes(random.randint(1024, 8192)))
PY
  "$bench" publish "$server" >>"$work/publish"
  # Take turns, so a slow spell of the disk weighs on both alike.
  if ((run % 2)); then
    "$bench" update "$fas_server" "$fas" >>"$work/update"
    ms rsync -a "${rsync_shell[@]}" "$rsync_server" "$rs/" --exclude scheme.fas >>"$work/rsync"
  else
    ms rsync -a "${rsync_shell[@]}" "$rsync_server" "$rs/" --exclude scheme.fas >>"$work/rsync"
    "$bench" update "$fas_server" "$fas" >>"$work/update"
  fi
  "$bench" update "$fas_server" "$fas" >>"$work/noop-update"
  ms rsync -a "${rsync_shell[@]}" "$rsync_server" "$rs/" --exclude scheme.fas >>"$work/noop-rsync"
done
diff -r -x scheme.fas -x .fas-state "$server" "$fas" >/dev/null || { echo "the updated client differs from the server" >&2; exit 1; }

$sftp && echo "over SFTP (rsync over ssh)"
echo "| $files files, $change changed, median of $runs runs | ms |"
echo "|---|---|"
echo "| publish (server's scheme file written again) | $(median <"$work/publish") |"
echo "| FASService update | $(median <"$work/update") |"
echo "| rsync -a | $(median <"$work/rsync") |"
echo "| FASService update, nothing changed | $(median <"$work/noop-update") |"
echo "| rsync -a, nothing changed | $(median <"$work/noop-rsync") |"
