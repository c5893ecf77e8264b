#!/usr/bin/env bash
# Installs what the project needs from Debian 12's packages. Fast when everything is there.
set -euo pipefail

packages=(
  build-essential cmake pkg-config git
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  libpcap-dev libmnl-dev libedit-dev libcli11-dev nlohmann-json3-dev libfmt-dev
  clang-14 libclang-rt-14-dev iproute2 binutils procps
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo_cmd=()
[ "$(id -u)" -ne 0 ] && sudo_cmd=(sudo)
"${sudo_cmd[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
