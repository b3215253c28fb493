#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the demo need, and
# only those that are missing.
set -euo pipefail

packages=(g++ cmake ninja-build make pkg-config libgtest-dev libgmock-dev
          libpugixml-dev libcurl4-openssl-dev zlib1g-dev libssl-dev)
if [[ "${1:-}" == "--bench" ]]; then
  packages+=(rsync time bc)
fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
if ((${#missing[@]})); then
  echo "Installing: ${missing[*]}"
  sudo_cmd=()
  [[ $(id -u) -ne 0 ]] && sudo_cmd=(sudo)
  "${sudo_cmd[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq "${missing[@]}"
fi
