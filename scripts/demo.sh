#!/usr/bin/env bash
# Installs what is missing, builds the module, the host runtime and the
# command-line host, then mirrors a small example tree, changes it, and
# mirrors it again with clean; then protects the source folder as one
# encrypted archive and restores it.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh

cmake -S . -B build -G Ninja >/dev/null
cmake --build build -j "$(nproc)" --target shadow

demo=build/demo
rm -rf "$demo"
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
