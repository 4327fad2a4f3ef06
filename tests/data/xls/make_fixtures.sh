#!/usr/bin/env bash
# Writes the .xls fixtures with Gnumeric from mixed.csv: BIFF8 and BIFF5 workbooks with
# texts, numbers, a date and a date-time, numeric formulas and text formulas (whose
# results come in STRING records).
set -euo pipefail
cd "$(dirname "$0")"
ssconvert --export-type=Gnumeric_Excel:excel_biff8 mixed.csv mixed-biff8.xls
ssconvert --export-type=Gnumeric_Excel:excel_biff7 mixed.csv mixed-biff5.xls
