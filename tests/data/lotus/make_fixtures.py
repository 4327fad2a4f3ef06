"""Writes the hand-made Lotus worksheets of this folder, record by record as the public
worksheet file format describes them: 16-bit type, 16-bit length, data, little-endian.
Usage: python3 make_fixtures.py"""
import os
import struct

HERE = os.path.dirname(os.path.abspath(__file__))
NAN = b"\x00\x00\x00\x00\x00\x00\xf8\x7f"      # a quiet NaN
MARK = b"\x00\x00\x00\x00\x00\x00\xf0\x7f"     # exponent all ones, no mantissa
MINUS = b"\x00\x00\x00\x00\x00\x00\xf0\xff"    # the same with the sign set


def rec(kind, data=b""):
    return struct.pack("<HH", kind, len(data)) + data


def bof(revision=0x0406):
    return rec(0x00, struct.pack("<H", revision))


def eof():
    return rec(0x01)


def span(c0, r0, c1, r1):
    return rec(0x06, struct.pack("<4H", c0, r0, c1, r1))


def cell(kind, col, row, value):
    return rec(kind, struct.pack("<BHH", 0xFF, col, row) + value)


def integer(col, row, v):
    return cell(0x0D, col, row, struct.pack("<h", v))


def number(col, row, v):
    return cell(0x0E, col, row, struct.pack("<d", v))


def label(col, row, text):
    return cell(0x0F, col, row, text + b"\x00")


def formula(col, row, cached, code):
    return cell(0x10, col, row, cached + struct.pack("<H", len(code)) + code)


# Compiled formulas: 0x01 push cell (column, row), 0x00 push constant, 0x03 return,
# 0x09 multiply, 0x1F @NA, 0x20 @ERR, 0x06 push string.
B2_TIMES_2 = (b"\x01" + struct.pack("<HH", 1, 1) + b"\x00" + struct.pack("<d", 2.0) + b"\x09\x03")
AT_NA = b"\x1f\x03"
AT_ERR = b"\x20\x03"
TEXT = b"\x06abc\x00\x03"


def write(name, *records):
    with open(os.path.join(HERE, name), "wb") as f:
        f.write(b"".join(records))


write("cells.wk1", bof(), rec(0x02, b"\xff"), span(0, 0, 3, 3),
      label(0, 0, b"'left"), label(1, 0, b'"right'), label(2, 0, b"^centre"),
      label(3, 0, b"\\-"),
      integer(0, 1, -7), number(1, 1, 2.5), formula(2, 1, struct.pack("<d", 5.0), B2_TIMES_2),
      label(3, 1, b"'caf\x82 \xe1"),
      formula(0, 2, NAN, AT_ERR), formula(1, 2, MARK, AT_NA), formula(2, 2, MINUS, AT_ERR),
      formula(3, 2, NAN, TEXT), rec(0x33, struct.pack("<BHH", 0xFF, 3, 2) + b"abc\x00"),
      label(0, 3, b"plain"), label(1, 3, b"'"), rec(0x0C, struct.pack("<BHH", 0xFF, 2, 3)),
      number(3, 3, -1e-300), rec(0x5402, b"\x01\x02"), eof())
write("release1a.wks", bof(0x0404), span(0, 0, 0, 1), label(0, 0, b"'x"), integer(0, 1, 1),
      eof())
write("symphony.wrk", bof(0x0405), span(0, 0, 0, 1), label(0, 0, b"'x"), integer(0, 1, 1),
      eof())
# Damaged or hostile files, named after their fault.
write("cells-outside-range.wk1", bof(), span(1, 1, 2, 2), number(1, 1, 1.0),
      number(4, 6, 2.0), eof())
write("huge-range.wk1", bof(), span(0, 0, 0xFFFF, 0xFFFF), number(0, 0, 1.0), eof())
write("reversed-range.wk1", bof(), span(5, 5, 0, 0), number(1, 0, 1.0), eof())
write("no-range.wk1", bof(), number(0, 0, 1.0), eof())
write("short-range.wk1", bof(), rec(0x06, b"\x00\x00\x00\x00"), number(0, 0, 1.0), eof())
write("record-past-end.wk1", bof(), span(0, 0, 1, 1), number(0, 0, 1.0),
      struct.pack("<HH", 0x0F, 200) + b"\xff\x01\x00\x00\x00'cut")
write("no-eof.wk1", bof(), span(0, 0, 1, 1), number(0, 0, 1.0), number(1, 1, 2.0))
write("short-number.wk1", bof(), span(0, 0, 1, 1), number(0, 0, 1.0),
      rec(0x0E, struct.pack("<BHH", 0xFF, 1, 1) + b"\x00\x00\x00\x00"), eof())
write("formula-overrun.wk1", bof(), span(0, 0, 1, 1), number(0, 0, 1.0),
      cell(0x10, 1, 1, struct.pack("<d", 1.0) + struct.pack("<H", 40) + b"\x03"), eof())
write("unterminated-label.wk1", bof(), span(0, 0, 1, 1), number(0, 0, 1.0),
      cell(0x0F, 1, 1, b"'abc"), eof())
write("unknown-revision.wk1", rec(0x00, struct.pack("<H", 0x0407)), span(0, 0, 0, 0), eof())
