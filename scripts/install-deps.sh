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
  libicu-dev libfmt-dev libgsf-1-dev python3-gi gir1.2-gsf-1
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  python3 python3-pandas python3-numpy python3-xlrd python3-xlwt python3-openpyxl python3-xlsxwriter
  python3-scipy libmatio-dev matio-tools python3-netcdf4
  python3-dev pybind11-dev python3-pybind11 python3-pytest python3-dask python3-distributed
  python3-build python3-setuptools python3-wheel python3-venv python3-pip
  time locales gnumeric nodejs npm
)

# Packages whose program may come from elsewhere (a NodeSource nodejs carries its own npm
# and conflicts with Debian's): skipped when the program is there.
declare -A program_of=([nodejs]=node [npm]=npm)

missing=()
for p in "${packages[@]}"; do
  if [ -n "${program_of[$p]:-}" ] && command -v "${program_of[$p]}" > /dev/null; then
    continue
  fi
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
