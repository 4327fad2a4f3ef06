"""Reads every cell of a workbook's sheets with xlrd and prints the wall time.
Usage: xlrd_read.py FILE.xls"""
import sys
import time

import xlrd

start = time.perf_counter()
book = xlrd.open_workbook(sys.argv[1])
cells = 0
for sheet in book.sheets():
    for r in range(sheet.nrows):
        cells += len(sheet.row_values(r))
print("cells", cells)
print("seconds", time.perf_counter() - start)
