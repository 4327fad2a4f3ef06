"""Writes two workbooks in the 1904 date system: xlsxwriter-1904.xlsx with XlsxWriter
(python3-xlsxwriter, option date_1904) and openpyxl-1904.xlsx with openpyxl
(python3-openpyxl, the Mac epoch). Each holds, in row 1, the date 2024-03-01, the
date-time 2024-03-02 12:30 and the time 06:15, and the plain number 5 in D1.
Usage: /usr/bin/python3 make_1904.py"""
import datetime
import os

import openpyxl
import xlsxwriter
from openpyxl.utils.datetime import CALENDAR_MAC_1904

here = os.path.dirname(os.path.abspath(__file__))
DATE = datetime.date(2024, 3, 1)
STAMP = datetime.datetime(2024, 3, 2, 12, 30)
TIME = datetime.time(6, 15)

book = xlsxwriter.Workbook(os.path.join(here, "xlsxwriter-1904.xlsx"), {"date_1904": True})
sheet = book.add_worksheet("Mac")
sheet.write_datetime(0, 0, DATE, book.add_format({"num_format": "yyyy-mm-dd"}))
sheet.write_datetime(0, 1, STAMP, book.add_format({"num_format": "yyyy-mm-dd hh:mm"}))
sheet.write_datetime(0, 2, TIME, book.add_format({"num_format": "hh:mm"}))
sheet.write_number(0, 3, 5)
book.close()

book = openpyxl.Workbook()
book.epoch = CALENDAR_MAC_1904
sheet = book.active
sheet.title = "Mac"
sheet.append([DATE, STAMP, TIME, 5])
book.save(os.path.join(here, "openpyxl-1904.xlsx"))
