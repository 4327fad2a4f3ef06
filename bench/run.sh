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

# --- Brimrose: 10,000 spectra x 1,000 points ---
echo "== Brimrose =="
file="$work/brimrose-10000x1000.dat"
[ -f "$file" ] || "$bin/bench_brimrose" --generate "$file"
out="$("$bin/bench_brimrose" "$file")"
echo "$out"
ours="$(awk '/^MB\/s/ { print $2 }' <<<"$out")"
raw="$(raw_mb_s "$file")"
echo "cat       $raw MB/s"
summary+=("$(report "Brimrose 10000 x 1000" "$ours" "$raw")")

echo
echo "== Summary =="
printf '%s\n' "${summary[@]}"
