#!/usr/bin/env bash
# Runs every benchmark and sets each reader's speed against a raw read of its file.
# Usage: bench/run.sh BIN_DIR   (large generated inputs go to BIN_DIR/../bench-data)
set -euo pipefail
bin="$(cd "${1:-build/bin}" && pwd)"
work="$bin/../bench-data"
mkdir -p "$work"

# raw_mb_s FILE: MB/s of the fastest of three `cat FILE > /dev/null`, after a warm-up.
raw_mb_s() {
  local file="$1" best="" start end
  cat "$file" > /dev/null
  for _ in 1 2 3; do
    start=$(date +%s.%N)
    cat "$file" > /dev/null
    end=$(date +%s.%N)
    best=$(awk -v s="$start" -v e="$end" -v b="$best" \
      'BEGIN { t = e - s; if (b == "" || t < b) b = t; print b }')
  done
  awk -v bytes="$(stat -c %s "$file")" -v t="$best" 'BEGIN { printf "%.1f", bytes / 1e6 / t }'
}

# report NAME OURS RAW: one summary line with the ratio ours / raw.
report() {
  awk -v n="$1" -v o="$2" -v r="$3" \
    'BEGIN { printf "%-28s ours %9.1f MB/s   cat %9.1f MB/s   ratio %.3f\n", n, o, r, o / r }'
}

summary=()

# best_seconds CMD...: the smallest "seconds" figure that CMD prints in three runs.
best_seconds() {
  local best="" s
  for _ in 1 2 3; do
    s="$("$@" | awk '/^seconds/ { print $2 }')"
    best="$(awk -v a="$s" -v b="$best" 'BEGIN { if (b == "" || a < b) b = a; print b }')"
  done
  echo "$best"
}
# node_tools NAME PACKAGE: installs the pinned npm tools of tests/tools/NAME once into
# bench-data/NAME-tools (PACKAGE shows they are there) and prints that folder.
node_tools() {
  local tools="$work/$1-tools"
  if [ ! -d "$tools/node_modules/$2" ]; then
    mkdir -p "$tools"
    cp "$here/../tests/tools/$1/package.json" "$here/../tests/tools/$1/package-lock.json" "$tools/"
    (cd "$tools" && npm ci --no-audit --no-fund > /dev/null)
  fi
  echo "$tools"
}

# wall_seconds CMD...: the smallest wall-clock time of three runs of the whole process.
wall_seconds() {
  local best="" start end
  for _ in 1 2 3; do
    start=$(date +%s.%N)
    "$@" > /dev/null
    end=$(date +%s.%N)
    best="$(awk -v s="$start" -v e="$end" -v b="$best" \
      'BEGIN { t = e - s; if (b == "" || t < b) b = t; print b }')"
  done
  echo "$best"
}
# max_rss_kb CMD...: the peak resident memory of one run, in KiB.
max_rss_kb() { /usr/bin/time -f '%M' "$@" 2>&1 > /dev/null | tail -1; }
rss_ratio() { awk -v k="$1" -v b="$(stat -c %s "$2")" 'BEGIN { printf "%.2f", k * 1024 / b }'; }

# Sections to run: all, or those named in ZM_BENCH (e.g. ZM_BENCH="xlsx xlsb").
want() { [ -z "${ZM_BENCH:-}" ] || [[ " $ZM_BENCH " == *" $1 "* ]]; }
here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"

# --- Brimrose: 10,000 spectra x 1,000 points ---
if want brimrose; then
echo "== Brimrose =="
file="$work/brimrose-10000x1000.dat"
[ -f "$file" ] || "$bin/bench_brimrose" --generate "$file"
out="$("$bin/bench_brimrose" "$file")"
echo "$out"
ours="$(awk '/^MB\/s/ { print $2 }' <<<"$out")"
raw="$(raw_mb_s "$file")"
echo "cat       $raw MB/s"
summary+=("$(report "Brimrose 10000 x 1000" "$ours" "$raw")")

fi

# --- CSV and tab-delimited text: 1,000,000 rows x 10 columns against pandas ---
if want csv; then
echo
echo "== CSV and tab-delimited text, 1,000,000 rows x 10 columns =="
csv="$work/table-1000000x10.csv"
tsv="$work/table-1000000x10.tsv"
[ -f "$csv" ] && [ -f "$tsv" ] || "$bin/bench_csv" --generate "$csv" "$tsv"
[ -f "$work/table-1252.csv" ] || iconv -f UTF-8 -t WINDOWS-1252 "$csv" > "$work/table-1252.csv"
[ -f "$work/table-utf16.csv" ] || iconv -f UTF-8 -t UTF-16 "$csv" > "$work/table-utf16.csv"


size_mb="$(awk -v b="$(stat -c %s "$csv")" 'BEGIN { printf "%.1f", b / 1e6 }')"
echo "files: $csv ($size_mb MB) and its tab-delimited twin"
csv_ours="$(best_seconds "$bin/bench_csv" --read-csv "$csv")"
tsv_ours="$(best_seconds "$bin/bench_csv" --read-text "$tsv")"
csv_1252="$(best_seconds "$bin/bench_csv" --read-csv "$work/table-1252.csv")"
csv_utf16="$(best_seconds "$bin/bench_csv" --read-csv "$work/table-utf16.csv")"
csv_rss="$(max_rss_kb "$bin/bench_csv" --read-csv "$csv")"
tsv_rss="$(max_rss_kb "$bin/bench_csv" --read-text "$tsv")"
e2e="$(wall_seconds "$bin/zmimport" read "$csv" -o /dev/null)"
e2e_rss="$(max_rss_kb "$bin/zmimport" read "$csv" -o /dev/null)"
echo "CsvFile   $csv_ours s (windows-1252 $csv_1252 s, UTF-16 $csv_utf16 s), peak $csv_rss KiB"
echo "TextFile  $tsv_ours s, peak $tsv_rss KiB"
echo "zmimport read -o /dev/null  $e2e s, peak $e2e_rss KiB"

summary+=("$(printf '%-28s peak %7.1f MB = %s x file size (target <= 2.5)' "CSV read memory" \
  "$(awk -v k="$csv_rss" 'BEGIN { print k / 1024 }')" "$(rss_ratio "$csv_rss" "$csv")")")
summary+=("$(printf '%-28s peak %7.1f MB = %s x file size (target <= 2.5)' "TSV read memory" \
  "$(awk -v k="$tsv_rss" 'BEGIN { print k / 1024 }')" "$(rss_ratio "$tsv_rss" "$tsv")")")
summary+=("$(awk -v a="$csv_1252" -v b="$csv_utf16" -v u="$csv_ours" 'BEGIN {
  printf "%-28s windows-1252 %.2f x, UTF-16 %.2f x the UTF-8 time (target <= 1.5)",
    "CSV read, other encodings", a / u, b / u }')")

if /usr/bin/python3 -c 'import pandas' 2> /dev/null; then
  csv_pd="$(best_seconds /usr/bin/python3 "$here/pandas_read_csv.py" "$csv" comma)"
  tsv_pd="$(best_seconds /usr/bin/python3 "$here/pandas_read_csv.py" "$tsv" tab)"
  csv_pd_rss="$(max_rss_kb /usr/bin/python3 "$here/pandas_read_csv.py" "$csv" comma)"
  echo "pandas.read_csv  CSV $csv_pd s, TSV $tsv_pd s, CSV process peak $csv_pd_rss KiB"
  versus() {  # NAME OURS PANDAS TARGET
    awk -v n="$1" -v o="$2" -v p="$3" -v t="$4" 'BEGIN {
      printf "%-28s ours %7.3f s   pandas %7.3f s   %.2f x faster (target >= %s)\n",
        n, o, p, p / o, t }'
  }
  summary+=("$(versus "CSV read (CsvFile)" "$csv_ours" "$csv_pd" 3)")
  summary+=("$(versus "TSV read (TextFile)" "$tsv_ours" "$tsv_pd" 3)")
  summary+=("$(versus "zmimport read CSV, end to end" "$e2e" "$csv_pd" 1)")
  summary+=("$(awk -v o="$e2e_rss" -v p="$csv_pd_rss" 'BEGIN {
    printf "%-28s peak ours %7.1f MB   pandas process %7.1f MB   %.2f x pandas\n",
      "zmimport read CSV, memory", o / 1024, p / 1024, o / p }')")
else
  echo "pandas is missing (Debian package python3-pandas): no comparison"
fi

fi

# --- Text stream: the same table in UTF-8, windows-1252 and UTF-16LE ---
if want text; then
echo
echo "== Text encodings (1,000,000 x 10, tab-delimited) =="
[ -f "$work/text-utf16le.txt" ] || "$bin/bench_textstream" --generate "$work"
out="$("$bin/bench_textstream" "$work")"
echo "$out"
while read -r key ratio; do
  summary+=("$(printf '%-28s TextFile read x%s of UTF-8 in CPU time (limit 1.5)' "Text $key" "$ratio")")
done < <(awk '$1 != "utf8" { r = $14; gsub(/[()x]/, "", r); print $1, r }' <<<"$out")

fi

# --- Excel 97-2003: 65,000 x 20 written by xlwt, against xlrd ---
if want xls; then
echo
echo "== Excel 97-2003 workbook, 65,000 rows x 20 columns =="
xls="$work/table-65000x20.xls"
if [ -f "$xls" ] || /usr/bin/python3 "$here/make_xls.py" "$xls"; then
  xls_ours="$(wall_seconds "$bin/zmimport" read "$xls" -o /dev/null)"
  xls_rss="$(max_rss_kb "$bin/zmimport" read "$xls" -o /dev/null)"
  xls_xlrd="$(best_seconds /usr/bin/python3 "$here/xlrd_read.py" "$xls")"
  echo "zmimport read -o /dev/null  $xls_ours s, peak $xls_rss KiB; xlrd $xls_xlrd s"
  summary+=("$(awk -v o="$xls_ours" -v x="$xls_xlrd" 'BEGIN {
    printf "%-28s ours %7.3f s   xlrd %7.3f s   %.2f x faster (target >= 3)\n",
      "zmimport read .xls, end to end", o, x, x / o }')")
  if command -v npm > /dev/null && { [ -d "$here/sheetjs/node_modules" ] ||
      (cd "$here/sheetjs" && npm ci --no-audit --no-fund > /dev/null 2>&1); }; then
    xls_sheetjs="$(best_seconds node "$here/sheetjs/read.js" "$xls")"
    echo "SheetJS $xls_sheetjs s"
    summary+=("$(awk -v o="$xls_ours" -v x="$xls_sheetjs" 'BEGIN {
      printf "%-28s ours %7.3f s   SheetJS %7.3f s   %.1f x faster (target >= 10)\n",
        "zmimport read .xls vs SheetJS", o, x, x / o }')")
  else
    echo "npm is missing or cannot install SheetJS: no SheetJS comparison"
  fi
  summary+=("$(printf '%-28s peak %7.1f MB = %s x file size (target <= 2)' ".xls read memory" \
    "$(awk -v k="$xls_rss" 'BEGIN { print k / 1024 }')" "$(rss_ratio "$xls_rss" "$xls")")")
else
  echo "xlwt is missing (Debian package python3-xlwt): no .xls benchmark"
fi

fi

# sheetjs_ready: SheetJS installed from npm beside the benchmarks.
sheetjs_ready() {
  command -v npm > /dev/null && { [ -d "$here/sheetjs/node_modules" ] ||
    (cd "$here/sheetjs" && npm ci --no-audit --no-fund > /dev/null 2>&1); }
}

# --- Excel 2007 workbooks: 200,000 x 20 as .xlsx (XlsxWriter) and .xlsb (SheetJS) ---
if want xlsx || want xlsb; then
  echo
  echo "== Excel 2007 workbooks, 200,000 rows x 20 columns =="
  xlsx="$work/table-200000x20.xlsx"
  xlsb="$work/table-200000x20.xlsb"
  [ -f "$xlsx" ] || /usr/bin/python3 "$here/make_xlsx.py" "$xlsx"
  if want xlsx; then
    ours="$(wall_seconds "$bin/zmimport" read "$xlsx" -o /dev/null)"
    ours_rss="$(max_rss_kb "$bin/zmimport" read "$xlsx" -o /dev/null)"
    unzip_s="$(wall_seconds unzip -p "$xlsx" xl/worksheets/sheet1.xml)"
    echo "zmimport read .xlsx -o /dev/null  $ours s, peak $ours_rss KiB; unzip -p sheet $unzip_s s"
    summary+=("$(awk -v o="$ours" -v u="$unzip_s" 'BEGIN {
      printf "%-28s ours %7.3f s   unzip -p %7.3f s   %.2f x unzip (stretch <= 2)",
        "zmimport read .xlsx", o, u, o / u }')")
    summary+=("$(printf '%-28s peak %7.1f MB (target <= 300)' ".xlsx read memory" \
      "$(awk -v k="$ours_rss" 'BEGIN { print k / 1024 }')")")
    if sheetjs_ready; then
      sj="$(best_seconds node "$here/sheetjs/read.js" "$xlsx")"
      echo "SheetJS .xlsx $sj s"
      summary+=("$(awk -v o="$ours" -v x="$sj" 'BEGIN {
        printf "%-28s ours %7.3f s   SheetJS %7.3f s   %.1f x faster (target >= 5)",
          "zmimport read .xlsx", o, x, x / o }')")
    fi
  fi
  # SheetJS writes large binary workbooks slowly (many minutes): the file is kept.
  if want xlsb && sheetjs_ready && { [ -f "$xlsb" ] || node "$here/sheetjs/make_xlsb.js" "$xlsb"; }; then
    ours="$(wall_seconds "$bin/zmimport" read "$xlsb" -o /dev/null)"
    ours_rss="$(max_rss_kb "$bin/zmimport" read "$xlsb" -o /dev/null)"
    sj="$(best_seconds node "$here/sheetjs/read.js" "$xlsb")"
    echo "zmimport read .xlsb -o /dev/null  $ours s, peak $ours_rss KiB; SheetJS $sj s"
    summary+=("$(awk -v o="$ours" -v x="$sj" 'BEGIN {
      printf "%-28s ours %7.3f s   SheetJS %7.3f s   %.1f x faster (target >= 5)",
        "zmimport read .xlsb", o, x, x / o }')")
  fi
fi

# --- MAT files: 5000 x 2000 doubles as Level 4, Level 5 and compressed Level 5 ---
if want mat; then
echo
echo "== MAT files, 5000 x 2000 doubles =="
if [ -f "$work/matrix-v5z.mat" ] || /usr/bin/python3 "$here/make_mat.py" "$work"; then
  mat_floor="$(best_seconds "$bin/bench_mat" --inflate "$work/matrix-v5z.mat")"
  echo "zlib inflate floor (compressed) $mat_floor s"
  for kind in v4 v5 v5z; do
    file="$work/matrix-$kind.mat"
    ours="$(best_seconds "$bin/bench_mat" "$file")"
    scipy="$(best_seconds /usr/bin/python3 "$here/scipy_loadmat.py" "$file")"
    line="MatFile $ours s   scipy $scipy s"
    summary+=("$(awk -v n="MAT $kind read" -v o="$ours" -v s="$scipy" 'BEGIN {
      printf "%-28s ours %7.3f s   scipy %7.3f s   %.2f x faster (target >= 3)", n, o, s, s / o }')")
    if [ -x "$bin/bench_matio_read" ]; then
      matio="$(best_seconds "$bin/bench_matio_read" "$file")"
      line="$line   libmatio $matio s"
      summary+=("$(awk -v n="MAT $kind vs libmatio" -v o="$ours" -v m="$matio" 'BEGIN {
        printf "%-28s ours %7.3f s   libmatio %7.3f s   %.2f x its time (target <= 1.5)", n, o, m, o / m }')")
    fi
    echo "$kind: $line"
  done
  ours="$(best_seconds "$bin/bench_mat" "$work/matrix-v5z.mat")"
  summary+=("$(awk -v o="$ours" -v f="$mat_floor" 'BEGIN {
    printf "%-28s ours %7.3f s   inflate %7.3f s   %.2f x the floor (target <= 1.2)",
      "MAT v5z vs zlib floor", o, f, o / f }')")
else
  echo "scipy is missing (Debian package python3-scipy): no MAT benchmark"
fi
fi

# --- Numbers out of the command line: the 5000 x 2000 doubles of the MAT benchmark as CSV ---
if want csvout; then
echo
echo "== zmimport read of 5000 x 2000 doubles to CSV =="
if [ -f "$work/matrix-v5.mat" ] || /usr/bin/python3 "$here/make_mat.py" "$work"; then
  file="$work/matrix-v5.mat"
  "$bin/zmimport" read "$file" -o "$work/matrix-v5.csv"
  csv_bytes="$(stat -c %s "$work/matrix-v5.csv")"
  rm -f "$work/matrix-v5.csv"
  wall="$(wall_seconds "$bin/zmimport" read "$file" -o /dev/null)"
  # The processor time of the fastest of three runs: on a shared machine it tells the
  # program's own speed apart from waiting for a processor.
  cpu="$(for _ in 1 2 3; do
    /usr/bin/time -f '%U %S' "$bin/zmimport" read "$file" -o /dev/null 2>&1 > /dev/null | tail -1
  done | awk '{ t = $1 + $2; if (b == "" || t < b) b = t } END { print b }')"
  echo "CSV $csv_bytes bytes; wall $wall s, processor $cpu s"
  summary+=("$(awk -v b="$csv_bytes" -v w="$wall" -v c="$cpu" 'BEGIN {
    printf "%-28s ours %7.1f MB/s (%.1f MB/s of processor time)   goal 500.0 MB/s   %.2f x the goal",
      "MAT 5000x2000 to CSV", b / 1e6 / w, b / 1e6 / c, b / 1e6 / w / 500 }')")
fi
fi

# --- netCDF: an AIA chromatogram of 2,000,000 points ---
if want netcdf; then
echo
echo "== netCDF AIA chromatogram, 2,000,000 points =="
cdf="$work/chromatogram-2000000.cdf"
[ -f "$cdf" ] || /usr/bin/python3 "$here/make_netcdf.py" "$cdf"
c_lib="$(best_seconds "$bin/bench_netcdf_read" "$cdf")"
py_lib="$(best_seconds /usr/bin/python3 "$here/netcdf4_read.py" "$cdf")"
ours="$(best_seconds "$bin/bench_read" "NetCDF Files" "$cdf")"
e2e="$(wall_seconds "$bin/zmimport" read "$cdf" -o /dev/null)"
echo "nc_get_var_float $c_lib s   netCDF4-python $py_lib s   NetCDFFile into a null sink $ours s"
echo "zmimport read -o /dev/null  $e2e s"
summary+=("$(awk -v o="$ours" -v c="$c_lib" 'BEGIN {
  printf "%-28s ours %7.3f s   nc_get_var_float %7.3f s   %.2f x its time (target <= 2)",
    "netCDF AIA into the sink", o, c, o / c }')")
summary+=("$(awk -v o="$e2e" -v p="$py_lib" 'BEGIN {
  printf "%-28s ours %7.3f s   netCDF4-python %7.3f s (values only)",
    "zmimport read .cdf, end to end", o, p }')")
fi

# --- Python: files into pandas DataFrames, against pandas' own readers ---
module_dir="$bin/../python"

# numpy_row NAME FILE PEER TARGET: read().to_numpy() of FILE against PEER (a loader of
# mat_to_numpy.py), one summary line.
numpy_row() {
  local ours_out theirs_out ours theirs
  ours_out="$(PYTHONPATH="$module_dir" /usr/bin/python3 "$here/mat_to_numpy.py" "$2" zmimport)"
  theirs_out="$(/usr/bin/python3 "$here/mat_to_numpy.py" "$2" "$3")"
  ours="$(awk '/^seconds/ { printf "%.3f", $2 }' <<< "$ours_out")"
  theirs="$(awk '/^seconds/ { printf "%.3f", $2 }' <<< "$theirs_out")"
  echo "$(basename "$2"): zmimport.read().to_numpy() $ours s, peak $(awk '/^peak_mb/ { printf "%.0f", $2 }' <<< "$ours_out") MB;" \
    "$3 $theirs s, peak $(awk '/^peak_mb/ { printf "%.0f", $2 }' <<< "$theirs_out") MB"
  summary+=("$(awk -v n="$1" -v o="$ours" -v p="$theirs" -v w="$3" -v t="$4" 'BEGIN {
    printf "%-28s ours %7.3f s   %s %7.3f s   %.2f x faster (target >= %s)", n, o, w, p, p / o, t }')")
}

# --- Python: a MAT matrix into NumPy, against scipy.io.loadmat ---
mat="$work/matrix-v5.mat"
if want python && [ -f "$module_dir/zmimport.pyi" ] && [ -f "$mat" ]; then
  echo
  echo "== Python module: MAT into NumPy =="
  numpy_row "Python .mat to numpy" "$mat" scipy 1.5
fi
# --- Python: an AIA chromatogram of 2,000,000 points into NumPy, against netCDF4 reading
# the detector values and building the time axis ---
cdf="$work/chromatogram-2000000.cdf"
if want python && [ -f "$module_dir/zmimport.pyi" ] && /usr/bin/python3 -c 'import netCDF4' 2> /dev/null; then
  echo
  echo "== Python module: AIA chromatogram into NumPy =="
  [ -f "$cdf" ] || /usr/bin/python3 "$here/make_netcdf.py" "$cdf"
  numpy_row "Python .cdf to numpy" "$cdf" netCDF4 0.33
fi
if want python && [ -f "$module_dir/zmimport.pyi" ]; then
  echo
  echo "== Python module into pandas =="
  csv="$work/table-1000000x10.csv"
  xlsx="$work/table-200000x20.xlsx"
  [ -f "$csv" ] || "$bin/bench_csv" --generate "$csv" "$work/table-1000000x10.tsv"
  [ -f "$xlsx" ] || /usr/bin/python3 "$here/make_xlsx.py" "$xlsx"
  for file in "$csv" "$xlsx"; do
    ours_out="$(PYTHONPATH="$module_dir" /usr/bin/python3 "$here/python_read.py" "$file" zmimport)"
    theirs_out="$(/usr/bin/python3 "$here/python_read.py" "$file" pandas)"
    ours="$(awk '/^seconds/ { printf "%.3f", $2 }' <<< "$ours_out")"
    theirs="$(awk '/^seconds/ { printf "%.3f", $2 }' <<< "$theirs_out")"
    target=2
    [ "${file##*.}" = xlsx ] && target=10
    echo "$(basename "$file"): zmimport.read().to_pandas() $ours s (first read $(awk '/^first/ { printf "%.3f", $2 }' <<< "$ours_out") s)," \
      "pandas $theirs s (first read $(awk '/^first/ { printf "%.3f", $2 }' <<< "$theirs_out") s)"
    summary+=("$(awk -v n="Python .${file##*.} to pandas" -v o="$ours" -v p="$theirs" -v t="$target" 'BEGIN {
      printf "%-28s ours %7.3f s   pandas %7.3f s   %.2f x faster (target >= %s)", n, o, p, p / o, t }')")
  done
fi

# --- JCAMP-DX: a LINK file of 500 spectra x 4,000 points (DIF/DUP and AFFN) and 500
# single-spectrum files, written by convert-to-jcamp, against jcampconverter (node) ---
if want jcamp; then
echo
echo "== JCAMP-DX, 500 spectra x 4,000 points =="
tools="$(node_tools jcamp jcampconverter)"
jdir="$work/jcamp"
if [ ! -f "$jdir/link-affn.jdx" ]; then
  mkdir -p "$jdir/single"
  NODE_PATH="$tools/node_modules" node "$here/make_jcamp.js" "$jdir"
fi
singles=("$jdir"/single/*.jdx)
for kind in difdup affn singles; do
  if [ "$kind" = singles ]; then files=("${singles[@]}"); else files=("$jdir/link-$kind.jdx"); fi
  ours="$(wall_seconds "$bin/zmimport" read "${files[@]}" --format "JCAMP-DX File" -o /dev/null)"
  sink="$(best_seconds "$bin/bench_read" "JCAMP-DX File" "${files[@]}")"
  theirs="$(NODE_PATH="$tools/node_modules" wall_seconds node "$here/jcampconverter_read.js" "${files[@]}")"
  parse="$(NODE_PATH="$tools/node_modules" best_seconds node "$here/jcampconverter_read.js" "${files[@]}")"
  echo "$kind: into the sink $sink s (jcampconverter's parse $parse s); zmimport read $ours s, node jcampconverter $theirs s"
  summary+=("$(awk -v n="JCAMP-DX $kind, library" -v o="$sink" -v p="$parse" 'BEGIN {
    printf "%-28s ours %7.3f s   jcampconverter %7.3f s   %.2f x faster (target >= 5)", n, o, p, p / o }')")
  summary+=("$(awk -v n="JCAMP-DX $kind, process" -v o="$ours" -v p="$theirs" 'BEGIN {
    printf "%-28s ours %7.3f s   jcampconverter %7.3f s   %.2f x faster (CSV out vs parse only)", n, o, p, p / o }')")
done
fi

# --- SPC: one multi-file SPC of 10,000 sub-files x 1,000 float points, against spc-parser ---
if want spc; then
echo
echo "== Galactic SPC, 10,000 sub-files x 1,000 points =="
tools="$(node_tools spc spc-parser)"
spc="$work/spc-10000x1000.spc"
[ -f "$spc" ] || /usr/bin/python3 "$here/make_spc.py" "$spc"
sink="$(best_seconds "$bin/bench_read" "GalacticSPC File" "$spc")"
ours="$(wall_seconds "$bin/zmimport" read "$spc" -o /dev/null)"
parse="$(NODE_PATH="$tools/node_modules" best_seconds node "$here/spcparser_read.js" "$spc")"
theirs="$(NODE_PATH="$tools/node_modules" wall_seconds node "$here/spcparser_read.js" "$spc")"
echo "into the sink $sink s (spc-parser's parse $parse s); zmimport read $ours s, node spc-parser $theirs s"
summary+=("$(awk -v o="$sink" -v p="$parse" 'BEGIN {
  printf "%-28s ours %7.3f s   spc-parser %7.3f s   %.2f x faster (target >= 5)",
    "SPC multi-file, library", o, p, p / o }')")
summary+=("$(awk -v o="$ours" -v p="$theirs" 'BEGIN {
  printf "%-28s ours %7.3f s   spc-parser %7.3f s   %.2f x faster (CSV out vs parse only)",
    "SPC multi-file, process", o, p, p / o }')")
fi

# --- OPUS: 500 spectra files of 6,930 points into one sheet, against cat of the files ---
# (no other OPUS reader installs here: the peers are an R package and a PyPI package)
if want opus; then
echo
echo "== Bruker OPUS, 500 files x 6,930 points =="
dir="$work/opus-500"
source="$here/../../shared/corpus/opus/issue94_RT_01_1_23-02-21_13-23-54.0"
if [ ! -f "$dir/s500.0" ]; then
  mkdir -p "$dir"
  for i in $(seq -w 1 500); do cp "$source" "$dir/s$i.0"; done
fi
sink="$(best_seconds "$bin/bench_read" "Bruker OPUS File" "$dir"/*.0)"
raw="$(wall_seconds sh -c "cat '$dir'/*.0")"
echo "into the sink $sink s; cat of the files $raw s"
summary+=("$(awk -v o="$sink" -v r="$raw" 'BEGIN {
  printf "%-28s ours %7.3f s   cat %7.3f s   %.2f x cat (target <= 3)",
    "OPUS 500 files, library", o, r, o / r }')")
fi

echo
echo "== Summary =="
printf '%s\n' "${summary[@]}"
