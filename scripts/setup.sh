#!/usr/bin/env bash
# Installs the Debian packages Kea needs to build, test and benchmark.
# Idempotent: packages already present are left alone, and the package
# lists are refreshed once, only when something is missing.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config git ccache
  qt6-base-dev qt6-base-dev-tools qt6-declarative-dev qt6-tools-dev libqt6sql6-sqlite
  libgl-dev
  libcurl4-openssl-dev libxml2-dev zlib1g-dev libssl-dev libjsmn-dev libsqlite3-dev
  libgtest-dev libgmock-dev
  clang-format
  clang libclang-rt-14-dev
  xvfb xauth
  tinyproxy nginx openssl curl jq python3 python3-requests httpie attr hyperfine strace ltrace linux-perf
  desktop-file-utils appstream shared-mime-info libqt6svg6 help2man
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -gt 0 ]; then
  SUDO=""
  if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
