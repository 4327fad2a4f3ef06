#!/usr/bin/env bash
# Usage: check_install.sh BUILD_DIR HOST_SOURCE CXX C_HOST_SOURCE CC CSV_FILE PLUGIN_FOLDER
set -euo pipefail
build="$1" host="$2" cxx="$3" chost="$4" cc="$5" csv="$6" plugin="$7"
scratch="$(mktemp -d)"
trap 'rm -rf "$scratch"' EXIT

cmake --install "$build" --prefix "$scratch/prefix" > "$scratch/install.log"

export PKG_CONFIG_PATH="$scratch/prefix/lib/pkgconfig"
# shellcheck disable=SC2046
"$cxx" -std=c++20 "$host" $(pkg-config --cflags --libs zmimport) \
  -Wl,-rpath,"$scratch/prefix/lib" -o "$scratch/host-pc"

"$scratch/host-pc"

# The exported headers are C: every one compiles alone as C11, and a C host lists the
# formats and reads a file.
include="$scratch/prefix/include/zmimport"
for header in framework/ZmImport.h framework/ZmImportTypes.h framework/ZmHostData.h; do
  echo "#include \"$header\"" | "$cc" -std=c11 -Wall -Wextra -Werror -pedantic -I"$include" \
    -x c -fsyntax-only -
done
# shellcheck disable=SC2046
"$cc" -std=c11 -Wall -Wextra -Werror "$chost" $(pkg-config --cflags --libs zmimport) \
  -Wl,-rpath,"$scratch/prefix/lib" -o "$scratch/host-c"
"$scratch/host-c" "$csv"

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
# The XML module and libgsf are found from the installed library: an FDC XML file and an
# .xls workbook read, and options (a settings document) are taken.
examples="$(dirname "$csv")"
"$scratch/prefix/bin/zmimport" read "$examples/plasma-etch-fdc.xml" | head -1 | grep -q "^Wafer"
"$scratch/prefix/bin/zmimport" read "$examples/grain-reference.xls" --set UseIndexes=true \
  --set Sheets=1 2> /dev/null | head -1 | grep -q .

# The example plug-in, copied out of the tree as a third party would, builds against the
# installed library with find_package and with pkg-config, and the program reads with it.
cp -r "$plugin" "$scratch/xy"
cmake -S "$scratch/xy" -B "$scratch/xy/build" -DCMAKE_PREFIX_PATH="$scratch/prefix" \
  -DCMAKE_CXX_COMPILER="$cxx" > "$scratch/xy.log"
cmake --build "$scratch/xy/build" > "$scratch/xy-build.log"
mkdir -p "$scratch/pc-plugins"
# shellcheck disable=SC2046
"$cxx" -std=c++20 -shared -fPIC -fvisibility=hidden "$scratch/xy/XYPlugin.cpp" \
  $(pkg-config --cflags zmimport) -o "$scratch/pc-plugins/libzmimport-xy.so"
for folder in "$scratch/xy/build" "$scratch/pc-plugins"; do
  "$scratch/prefix/bin/zmimport" formats --plugins "$folder" | grep -q "XY Spectrum"
  "$scratch/prefix/bin/zmimport" read --plugins "$folder" "$scratch/xy/data/sample.xy" \
    --to csv | head -1 | grep -q "^x,"
done
# Without its XML module the library still reads what needs no XML (spectra), and a read
# that takes options ends with the loader's reason instead of an abort.
rm "$scratch/prefix/lib/libzmimport_xml.so.0"
"$scratch/prefix/bin/zmimport" read "$examples/nir-spectra.dat" | head -1 | grep -q "^SampleNo"
if "$scratch/prefix/bin/zmimport" read "$examples/nir-spectra.dat" --set Sheets=x > /dev/null \
  2> "$scratch/err"; then
  echo "a read with options succeeded without the XML module" >&2
  exit 1
fi
grep -q "libzmimport_xml.so.0) could not be loaded" "$scratch/err"
echo "installed tree works with pkg-config, find_package and the command line"
