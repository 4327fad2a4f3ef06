#!/usr/bin/env bash
# Usage: check_install.sh BUILD_DIR HOST_SOURCE CXX
set -euo pipefail
build="$1" host="$2" cxx="$3"
scratch="$(mktemp -d)"
trap 'rm -rf "$scratch"' EXIT

cmake --install "$build" --prefix "$scratch/prefix" > "$scratch/install.log"

export PKG_CONFIG_PATH="$scratch/prefix/lib/pkgconfig"
# shellcheck disable=SC2046
"$cxx" -std=c++20 "$host" $(pkg-config --cflags --libs zmimport) \
  -Wl,-rpath,"$scratch/prefix/lib" -o "$scratch/host-pc"
"$scratch/host-pc"

mkdir -p "$scratch/cm"
cat > "$scratch/cm/CMakeLists.txt" <<CM
cmake_minimum_required(VERSION 3.25)
project(host CXX)
set(CMAKE_CXX_STANDARD 20)
find_package(zmimport REQUIRED)
add_executable(host "$host")
target_link_libraries(host PRIVATE zmimport::zmimport)
CM
cmake -S "$scratch/cm" -B "$scratch/cm/build" -DCMAKE_PREFIX_PATH="$scratch/prefix" \
  -DCMAKE_CXX_COMPILER="$cxx" > "$scratch/cm.log"
cmake --build "$scratch/cm/build" > "$scratch/cm-build.log"
"$scratch/cm/build/host"

"$scratch/prefix/bin/zmimport" formats | grep -q "Unscrambler File"
echo "installed tree works with pkg-config, find_package and the command line"
