#!/bin/sh
# Writes gnumeric.xlsx with Gnumeric's ssconvert from a small CSV table (numbers, texts,
# an empty cell, a quoted text holding the delimiter). Usage: sh make_gnumeric.sh
set -e
here="$(cd "$(dirname "$0")" && pwd)"
tmp="$(mktemp -d)"
printf 'id,reading,note\n1,0.125,"a, b"\n2,,plain\n3,-4e-05,\n' > "$tmp/table.csv"
ssconvert --export-type=Gnumeric_Excel:xlsx2 "$tmp/table.csv" "$here/gnumeric.xlsx" 2> /dev/null
rm -r "$tmp"
