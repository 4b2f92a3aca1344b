#!/usr/bin/env bash
# Installs the Debian packages that building, testing, the demonstration and the benchmarks
# need (the peer libraries of the tests and benchmarks too), when missing.
set -euo pipefail

packages=(cmake ninja-build g++ pkg-config libicu-dev libpcre2-dev libgtest-dev libgmock-dev
          libxml2-dev libxslt1-dev tzdata
          libexpat1-dev libpugixml-dev shared-mime-info iso-codes
          libbenchmark-dev "$@")
missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi
echo "Installing: ${missing[*]}"
sudo=""
if [ "$(id -u)" -ne 0 ]; then
  sudo="sudo"
fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
