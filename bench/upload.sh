#!/usr/bin/env bash
# Times `shadow upload` sending 2,000 small files and one large file to each
# local test server (WebDAV on nginx, FTP on pyftpdlib, SFTP on sshd), against
# `curl -T` for the large file and `rclone copy` for the many small ones, and
# measures the peak memory of `shadow upload` (target: under 32 MB).
# Prints a Markdown table.
#
#   bash bench/upload.sh [--size-mb N] [--files N]
#
# --size-mb 16 --files 200 makes a quick run.
set -euo pipefail
cd "$(dirname "$0")/.."

size_mb=1024 files=2000
while (($#)); do
  case $1 in
    --size-mb) size_mb=$2; shift 2 ;;
    --files) files=$2; shift 2 ;;
    *) echo "unknown option: $1" >&2; exit 2 ;;
  esac
done

bash scripts/deps.sh --bench
cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build-bench -j2 --target shadow Shadow CollectionsEx >/dev/null
shadow=$PWD/build-bench/shadow
if ! "$shadow" upload --help >/dev/null 2>&1; then
  echo "this build of shadow has no upload command" >&2
  exit 1
fi

tmp=$(mktemp -d "${TMPDIR:-/tmp}/shadow-upload.XXXXXX")
# shellcheck source=scripts/test-servers.sh
source scripts/test-servers.sh
trap 'stop_test_servers; rm -rf "$tmp"' EXIT
start_test_servers "$tmp/servers"
root=$SHADOW_TEST_SERVER_ROOT
export SHADOW_REGISTRY=$tmp/registry.ini SHADOW_EVENT_LOG=$tmp/events.log
printf '[SSH]\nPrivateKey=%s\nKnownHosts=%s\n' "$SHADOW_TEST_SSH_KEY" "$SHADOW_TEST_SSH_KNOWN_HOSTS" >"$SHADOW_REGISTRY"

mkdir -p "$tmp/many" "$tmp/big"
for ((i = 0; i < files; i++)); do head -c $((1024 + i % 4096)) /dev/urandom >"$tmp/many/f$i.bin"; done
head -c "$((size_mb * 1024 * 1024))" /dev/urandom >"$tmp/big/big.bin"

# rclone's remotes, from the same URLs (its own configuration file).
ftp_rest=${SHADOW_TEST_FTP_URL#ftp://}
ftp_user=${ftp_rest%%:*} ftp_pass=${ftp_rest#*:}; ftp_pass=${ftp_pass%%@*}
ftp_port=${ftp_rest##*:}
sftp_port=${SHADOW_TEST_SFTP_URL##*:}
export RCLONE_CONFIG=$tmp/rclone.conf
cat >"$RCLONE_CONFIG" <<CONFIG
[dav]
type = webdav
url = $SHADOW_TEST_DAV_URL
[ftp]
type = ftp
host = 127.0.0.1
port = $ftp_port
user = $ftp_user
pass = $(rclone obscure "$ftp_pass")
[sftp]
type = sftp
host = 127.0.0.1
port = $sftp_port
user = $(id -un)
key_file = $SHADOW_TEST_SSH_KEY
known_hosts_file = $SHADOW_TEST_SSH_KNOWN_HOSTS
CONFIG

# shadow takes no password in a URL: the FTP login goes to a ~/.netrc of
# this run; curl reads the URL with its password.
mkdir -p "$tmp/home"
printf 'machine 127.0.0.1 login %s password %s\n' "$ftp_user" "$ftp_pass" >"$tmp/home/.netrc"
chmod 600 "$tmp/home/.netrc"

url_of() { # protocol folder
  case $1 in
    WebDAV) echo "$SHADOW_TEST_DAV_URL/$2" ;;
    FTP) echo "ftp://$ftp_user@127.0.0.1:$ftp_port/$2" ;;
    SFTP) echo "$SHADOW_TEST_SFTP_URL$root/$2" ;;
  esac
}
remote_of() { case $1 in WebDAV) echo "dav:$2" ;; FTP) echo "ftp:$2" ;; SFTP) echo "sftp:$root/$2" ;; esac; }

seconds() { /usr/bin/time -f '%e %M' -o "$tmp/time" "$@" >"$tmp/out" 2>&1 || { cat "$tmp/out" >&2; exit 1; }; cat "$tmp/time"; }

echo "| server | files | shadow upload (s) | max RSS (MB) | rclone copy / curl -T (s) |"
echo "|---|---|---|---|---|"
for protocol in WebDAV FTP SFTP; do
  rm -rf "${root:?}"/*
  read -r s rss < <(seconds env HOME="$tmp/home" "$shadow" upload --keep "$tmp/many" "$(url_of $protocol many)")
  diff -r "$tmp/many" "$root/many" >/dev/null || { echo "$protocol: the small files differ" >&2; exit 1; }
  # rclone's FTP backend wants its destination folder to exist already.
  mkdir -p "$root/many-rclone"
  read -r r _ < <(seconds rclone copy "$tmp/many" "$(remote_of $protocol many-rclone)")
  echo "| $protocol | $files small | $s | $((rss / 1024)) | rclone $r |"

  read -r s rss < <(seconds env HOME="$tmp/home" "$shadow" upload --keep "$tmp/big" "$(url_of $protocol big)")
  cmp -s "$tmp/big/big.bin" "$root/big/big.bin" || { echo "$protocol: the large file differs" >&2; exit 1; }
  if [[ $protocol == SFTP ]]; then
    # The server's key was made for this run on a loopback port; curl is
    # only the yardstick here.
    read -r c _ < <(seconds curl -s -k --key "$SHADOW_TEST_SSH_KEY" --ftp-create-dirs -T "$tmp/big/big.bin" "$(url_of $protocol big-curl/)")
  else
    curl_url=$(url_of $protocol big-curl/)
    [[ $protocol == FTP ]] && curl_url="$SHADOW_TEST_FTP_URL/big-curl/"
    read -r c _ < <(seconds curl -s --ftp-create-dirs -T "$tmp/big/big.bin" "$curl_url")
  fi
  echo "| $protocol | 1 of $size_mb MB | $s | $((rss / 1024)) | curl $c |"
done
