#!/usr/bin/env bash
# Installs, with apt and only when missing, every Debian package that the build,
# the tests, the benchmarks and the fixture tools need.
set -euo pipefail

packages=(
  build-essential cmake make pkg-config git
  clang libclang-rt-14-dev clang-format
  libboost-locale-dev libboost-filesystem-dev libboost-system-dev
  libboost-date-time-dev libboost-iostreams-dev libboost-thread-dev
  libboost-program-options-dev libboost-dev
  libxerces-c-dev libzipios++-dev libnetcdf-dev netcdf-bin zlib1g-dev
  libicu-dev libgsf-1-dev python3-gi gir1.2-gsf-1
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  python3 python3-pandas python3-numpy python3-xlrd python3-xlwt python3-openpyxl
  time locales gnumeric nodejs npm
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ "${#missing[@]}" -eq 0 ]; then
  exit 0
fi

echo "Installing: ${missing[*]}"
SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
