#!/usr/bin/env bash
# Installs what is missing, builds the module, the host runtime and the
# command-line host, then mirrors a small example tree, changes it, and
# mirrors it again with clean; then protects the source folder as one
# encrypted archive and restores it; last it downloads that archive from a
# web server on a loopback port, and shows how a failed download ends.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh

cmake -S . -B build -G Ninja >/dev/null
cmake --build build -j "$(nproc)" --target shadow

demo=build/demo
rm -rf "$demo"
mkdir -p "$demo"
# The demo's settings and event log stay with it.
export SHADOW_REGISTRY=$PWD/$demo/registry.ini SHADOW_EVENT_LOG=$PWD/$demo/events.log
mkdir -p "$demo/src/docs/drafts" "$demo/src/photos/2026" "$demo/src/empty"
printf 'Shopping list\n- bread\n- milk\n' > "$demo/src/notes.txt"
printf 'chapter one\n' > "$demo/src/docs/book.txt"
printf 'draft %s\n' {1..50} > "$demo/src/docs/drafts/draft.txt"
head -c 300000 /dev/urandom > "$demo/src/photos/2026/beach.raw"
head -c 40000 /dev/urandom > "$demo/src/photos/2026/café.jpg"
: > "$demo/src/docs/empty-file.txt"

echo
echo "== First mirror: $demo/src -> $demo/dst"
build/shadow mirror "$demo/src" "$demo/dst" --verbose

echo
echo "== Changing the source: one file edited, one added, one removed"
sleep 1 # a newer modification time than the first copy
printf 'chapter one, revised\n' > "$demo/src/docs/book.txt"
printf 'new\n' > "$demo/src/docs/new.txt"
rm "$demo/src/notes.txt"

echo
echo "== Second mirror with --clean"
build/shadow mirror "$demo/src" "$demo/dst" --clean --verbose

echo
if diff -r "$demo/src" "$demo/dst" >/dev/null; then
  echo "The destination now equals the source (diff -r finds no difference)."
else
  echo "The destination differs from the source:" >&2
  diff -r "$demo/src" "$demo/dst" >&2 || true
  exit 1
fi

echo
echo "== Protecting the source: packed as one archive, compressed, encrypted, in base64"
printf 'a demo pass phrase, not a secret\n' > "$demo/key"
build/shadow convert --zip "$demo/src" "$demo/src.protected" --compress --encrypt --key-file "$demo/key" \
  --auto-header --base64
echo "It starts with: $(head -c 72 "$demo/src.protected")..."

echo
echo "== Restoring it from its header and the key"
build/shadow convert --revert --unzip "$demo/restored" "$demo/src.protected" --auto-header --encrypt \
  --key-file "$demo/key"
if diff -r "$demo/src" "$demo/restored" >/dev/null; then
  echo "The restored folder equals the source (diff -r finds no difference)."
else
  echo "The restored folder differs from the source:" >&2
  diff -r "$demo/src" "$demo/restored" >&2 || true
  exit 1
fi

echo
echo "== Downloading the protected archive from a local web server"
port=$(/usr/bin/python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])')
/usr/bin/python3 -m http.server "$port" --bind 127.0.0.1 --directory "$demo" >"$demo/http.log" 2>&1 &
server=$!
trap 'kill $server 2>/dev/null' EXIT
for ((i = 0; i < 100; i++)); do (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null && break; sleep 0.1; done
build/shadow get "http://127.0.0.1:$port/src.protected" --cache "$demo/downloads"
if cmp -s "$demo/src.protected" "$demo/downloads/src.protected"; then
  echo "The download equals the archive (cmp finds no difference)."
else
  echo "The download differs from the archive" >&2
  exit 1
fi

echo
echo "== A download that fails says why, keeps nothing and exits with 1"
set +e
build/shadow get "http://127.0.0.1:$port/no-such-file.bin" --cache "$demo/downloads"
code=$?
set -e
echo "exit code $code; the cache holds: $(ls "$demo/downloads")"
[[ $code -eq 1 ]]
