"""Writes the .xlsx benchmark workbook with XlsxWriter: 200,000 rows x 20 columns of
numbers, about a fifth of them texts from a small set (shared strings), and a date column.
Usage: make_xlsx.py OUT.xlsx [ROWS]"""
import datetime
import sys

import xlsxwriter

rows = int(sys.argv[2]) if len(sys.argv) > 2 else 200000
book = xlsxwriter.Workbook(sys.argv[1], {"constant_memory": True})
sheet = book.add_worksheet("data")
date_format = book.add_format({"num_format": "yyyy-mm-dd"})
names = ["alpha", "beta", "gamma", "delta", "epsilon", "zeta", "eta", "theta"]
start = datetime.date(2000, 1, 1)
for c in range(20):
    sheet.write_string(0, c, "col%d" % c)
for r in range(1, rows):
    sheet.write_datetime(r, 0, start + datetime.timedelta(days=r % 9000), date_format)
    for c in range(1, 20):
        if c % 5 == 0:
            sheet.write_string(r, c, names[(r + c) % len(names)])
        else:
            sheet.write_number(r, c, r * 0.25 + c)
book.close()
