"""Writes xlsxwriter.xlsx with XlsxWriter (python3-xlsxwriter): numbers, texts, a date
and a date-time, booleans, a formula with its cached result, an error value and a
number format that only looks like a date format.
Usage: /usr/bin/python3 make_xlsxwriter.py"""
import datetime
import os

import xlsxwriter

here = os.path.dirname(os.path.abspath(__file__))
book = xlsxwriter.Workbook(os.path.join(here, "xlsxwriter.xlsx"))
sheet = book.add_worksheet("Measurements")
dates = book.add_format({"num_format": "dd/mm/yyyy"})
stamp = book.add_format({"num_format": "yyyy-mm-dd hh:mm"})
red = book.add_format({"num_format": "0.00;[Red]-0.00"})
sheet.write_row(0, 0, ["sample", "value", "taken", "stamp", "valid"])
sheet.write_string(1, 0, "S-1")
sheet.write_number(1, 1, -3.5, red)
sheet.write_datetime(1, 2, datetime.date(1999, 12, 31), dates)
sheet.write_datetime(1, 3, datetime.datetime(2024, 3, 2, 12, 30), stamp)
sheet.write_boolean(1, 4, True)
sheet.write_string(2, 0, "S-2 \u00b5g")
sheet.write_formula(2, 1, "=B2*2", None, -7)
sheet.write_formula(2, 2, "=1/0", None, "#DIV/0!")
sheet.write_boolean(2, 4, False)
sheet.write_number(5, 6, 123456789.125)
book.close()
