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
  echo "== $(basename "$f"): $("$zm" detect "$f" | tail -n 1) =="
  "$zm" read "$f" | head -n 12
done

echo
echo "== grain-reference.csv as JSON (texts that are numbers become numbers) =="
"$zm" read "$here/examples/data/grain-reference.csv" --to json

out="$(mktemp -d)"
trap 'rm -rf "$out"' EXIT
echo
echo "== grain-reference.csv converted to DIF and read back =="
"$zm" convert "$here/examples/data/grain-reference.csv" "$out/grain.dif"
"$zm" read "$out/grain.dif"

if [ -d "$bin/plugins" ]; then
  echo
  echo "== A plug-in format: examples/plugin/data/sample.xy with --plugins $bin/plugins =="
  "$zm" detect --plugins "$bin/plugins" "$here/examples/plugin/data/sample.xy" | tail -n 1
  "$zm" read --plugins "$bin/plugins" "$here/examples/plugin/data/sample.xy" | cut -c1-100
fi
