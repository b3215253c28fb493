#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the demo need, and
# only those that are missing.
#   --bench  adds what the benchmarks use
#   --fuzz   adds clang, whose libFuzzer scripts/fuzz.sh builds with
#   --servers adds the servers the transfer tests run against
#            (scripts/test-servers.sh): Python's http.server with Debian's
#            Python, pyftpdlib for FTP, OpenSSH's server for SFTP, nginx
#            with the dav-ext module for WebDAV
#   --arm64  adds the cross compiler for 64-bit Arm, qemu-user to run its
#            programs, and the arm64 builds of the libraries the build links
set -euo pipefail

packages=(g++ cmake ninja-build make pkg-config python3 libgtest-dev libgmock-dev
          libpugixml-dev libcurl4-openssl-dev zlib1g-dev libssl-dev libzip-dev)
# The libraries CMakeLists.txt finds, for the arm64 cross build.
arm64_libraries=(libgtest-dev libgmock-dev libpugixml-dev libcurl4-openssl-dev
                 zlib1g-dev libssl-dev libzip-dev)

sudo_cmd=()
[[ $(id -u) -ne 0 ]] && sudo_cmd=(sudo)
updated=false
apt_update() {
  if ! $updated; then
    "${sudo_cmd[@]}" apt-get update -qq
    updated=true
  fi
}

case "${1:-}" in
  --bench)
    packages+=(rsync time bc lighttpd curl rclone nginx libnginx-mod-http-dav-ext python3-pyftpdlib openssh-server openssh-client)
    ;;
  --fuzz)
    packages+=(clang)
    ;;
  --servers)
    packages+=(python3 python3-pyftpdlib openssh-server openssh-client curl nginx libnginx-mod-http-dav-ext)
    ;;
  --arm64)
    # qemu-user runs the arm64 programs when asked to (qemu-aarch64 -L /
    # PROGRAM); the tests pass that launcher on to the programs they start,
    # so no binfmt_misc registration is needed.
    packages+=(crossbuild-essential-arm64 qemu-user)
    for p in "${arm64_libraries[@]}"; do packages+=("$p:arm64"); done
    if ! dpkg --print-foreign-architectures | grep -qx arm64; then
      echo "Adding the arm64 architecture to dpkg"
      "${sudo_cmd[@]}" dpkg --add-architecture arm64
      apt_update
    fi
    ;;
esac

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
if ((${#missing[@]})); then
  echo "Installing: ${missing[*]}"
  apt_update
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq "${missing[@]}"
fi
