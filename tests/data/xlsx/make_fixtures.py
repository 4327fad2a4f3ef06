"""Writes the .xlsx fixtures with openpyxl (python3-openpyxl): two sheets with texts
(shared strings), numbers, a date, a boolean, an inline string and a formula's cached
text result. Usage: /usr/bin/python3 make_fixtures.py"""
import datetime
import os

import openpyxl

here = os.path.dirname(os.path.abspath(__file__))
book = openpyxl.Workbook()
data = book.active
data.title = "Data"
data.append(["name", "value", "when", "flag"])
data.append(["alpha", 1.5, datetime.date(2024, 3, 1), True])
data.append(["beta", -2.25, datetime.datetime(2024, 3, 2, 12, 30), False])
data.append(["caf\u00e9", 1e20, None, None])
notes = book.create_sheet("Notes")
notes["A1"] = "line one\r\nline two"
notes["C3"] = 42
book.save(os.path.join(here, "two-sheets.xlsx"))
