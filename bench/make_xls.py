"""Writes the .xls benchmark workbook with xlwt: 65,000 rows x 20 columns of numbers,
about a fifth of them texts from a small set (shared strings), and a date column.
Usage: make_xls.py OUT.xls"""
import datetime
import sys

import xlwt

book = xlwt.Workbook()
sheet = book.add_sheet("data")
date_style = xlwt.easyxf(num_format_str="yyyy-mm-dd")
names = ["alpha", "beta", "gamma", "delta", "epsilon", "zeta", "eta", "theta"]
start = datetime.date(2000, 1, 1)
for c in range(20):
    sheet.write(0, c, "col%d" % c)
for r in range(1, 65000):
    sheet.write(r, 0, start + datetime.timedelta(days=r % 9000), date_style)
    for c in range(1, 20):
        if c % 5 == 0:
            sheet.write(r, c, names[(r + c) % len(names)])
        else:
            sheet.write(r, c, r * 0.25 + c)
book.save(sys.argv[1])
