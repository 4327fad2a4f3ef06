#!/usr/bin/env bash
# Runs the command line on the bundled example files and prints their sheets.
set -euo pipefail
bin="${1:-build/bin}"
here="$(cd "$(dirname "$0")/.." && pwd)"
zm="$bin/zmimport"

echo "== Formats =="
"$zm" formats
for f in "$here"/examples/data/*; do
  [ -f "$f" ] || continue
  echo
  echo "== $(basename "$f") =="
  "$zm" detect "$f" | tail -n 1
  "$zm" read "$f" | head -n 12
done
