#!/usr/bin/python3
"""Writes a workbook in the 1904 date system with xlsxwriter, then has Gnumeric's ssconvert
recalculate it and save it as BIFF8, BIFF5 and a dual-stream file (a BIFF5 "Book" and a
BIFF8 "Workbook" stream): a non-Latin text, texts of 8,300 characters (a cell's and a
formula's result, both longer than one record), booleans and error values stored and
computed, dates and a date-time. Usage: /usr/bin/python3 make_gnumeric_values.py"""
import datetime
import os
import subprocess
import tempfile

import xlsxwriter

HERE = os.path.dirname(os.path.abspath(__file__))

with tempfile.TemporaryDirectory() as work:
    source = os.path.join(work, "values.xlsx")
    book = xlsxwriter.Workbook(source, {"date_1904": True})
    sheet = book.add_worksheet("Values")
    date = book.add_format({"num_format": "yyyy-mm-dd"})
    stamp = book.add_format({"num_format": "yyyy-mm-dd hh:mm:ss"})
    sheet.write_string(0, 0, "\u03a9\u03bc\u03ad\u03b3\u03b1")
    sheet.write_string(0, 1, "\u03a9" + "x" * 8299)
    sheet.write_formula(1, 0, '=REPT("ab",4150)&"!"')
    sheet.write_boolean(1, 1, True)
    sheet.write_boolean(1, 2, False)
    sheet.write_formula(2, 0, "=1/0")
    sheet.write_formula(2, 1, "=NA()")
    sheet.write_formula(2, 2, "=1>0")
    sheet.write_datetime(3, 0, datetime.datetime(2024, 3, 1), date)
    sheet.write_datetime(3, 1, datetime.datetime(2024, 3, 2, 12, 30), stamp)
    sheet.write_string(4, 0, "after")
    sheet.write_number(4, 1, 7)
    book.close()
    for kind, name in (("excel_biff8", "values-biff8.xls"), ("excel_biff7", "values-biff5.xls"),
                       ("excel_dsf", "values-dual-stream.xls")):
        subprocess.run(["ssconvert", "--recalc", "--export-type=Gnumeric_Excel:" + kind, source,
                        os.path.join(HERE, name)], check=True)
