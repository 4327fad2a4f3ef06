#!/usr/bin/python3
"""Writes the Galactic SPC test fixtures and the sheets they should read as.

Run from anywhere: /usr/bin/python3 tests/data/spc/make_fixtures.py
Each fixture is built from the public SPC layout (512-byte new header 'K' with a 32-byte
header before each sub-file, or the 256-byte old header 'M'), and its expected sheet is
computed here, independently of the C++ reader, with the default options: every point
kept and the x axis as a second name row. Values are exact in float32 so that their
text is the same in both languages.
"""
import datetime
import os
import struct

HERE = os.path.dirname(os.path.abspath(__file__))
X_UNITS = {1: "cm-1", 3: "nm", 4: "Sec", 5: "Min", 20: "\u00b0C", 30: "Hours"}


def f32(v):
    return struct.unpack("<f", struct.pack("<f", v))[0]


def number(v):
    """The shortest text that reads back as the double v, as C++ to_chars writes it."""
    if v == int(v) and abs(v) < 1e15:
        fixed = str(int(v))
    else:
        fixed = repr(v)
        if "e" in fixed:
            fixed = None
    sci = "%.17e" % v
    for digits in range(1, 18):
        text = "%.*e" % (digits - 1, v)
        if float(text) == v:
            sci = text
            break
    mantissa, exponent = sci.split("e")
    if "." in mantissa:
        mantissa = mantissa.rstrip("0").rstrip(".")
    sci = "%se%s%02d" % (mantissa, exponent[0], abs(int(exponent)))
    return fixed if fixed is not None and len(fixed) <= len(sci) else sci


def packed_date(year, month, day, hour, minute):
    return minute | hour << 6 | day << 11 | month << 16 | year << 20


def main_header(flags=0, exponent=0, points=0, first=0.0, last=0.0, subfiles=1, xtype=1,
                ytype=0, ztype=0, date=0, label=b"", zinc=0.0):
    h = bytearray(512)
    struct.pack_into("<BBBbIddi", h, 0, flags, 0x4B, 0, exponent, points, first, last,
                     subfiles)
    struct.pack_into("<BBBBI", h, 28, xtype, ytype, ztype, 0, date)
    h[218:218 + len(label)] = label
    struct.pack_into("<f", h, 312, zinc)
    return bytes(h)


def sub_header(exponent=0, index=0, zstart=0.0, zend=0.0):
    s = bytearray(32)
    struct.pack_into("<Bb Hff", s, 0, 0, exponent, index, zstart, zend)
    return bytes(s)


def old_header(flags, exponent, points, first, last, xtype=1):
    h = bytearray(256)
    struct.pack_into("<BBhfffBB", h, 0, flags, 0x4D, exponent, float(points), first, last,
                     xtype, 0)
    return bytes(h)


def sheet(name, xs, rows, zheading="Z", xlabel="cm-1"):
    """rows: (title, column-3 cell or None, y values). Cells as the recording sink dumps
    them: row, column, kind, value."""
    cells = [(1, 1, "text", "Primary ID"), (1, 2, "text", "Name"), (1, 3, "text", zheading),
             (2, 1, "number", "1"), (2, 2, "text", xlabel)]
    for i, x in enumerate(xs):
        cells.append((1, 4 + i, "text", "t %s" % ("%g" % x)))
        cells.append((2, 4 + i, "number", number(x)))
    for r, (title, third, ys) in enumerate(rows, start=3):
        cells += [(r, 1, "number", str(r - 1)), (r, 2, "text", title)]
        if third is not None:
            cells.append((r, 3) + third)
        cells += [(r, 4 + i, "number", number(y)) for i, y in enumerate(ys)]
    cells.sort(key=lambda c: (c[0], c[1]))
    with open(os.path.join(HERE, name + ".expected.tsv"), "w", encoding="utf-8") as out:
        out.writelines("%d\t%d\t%s\t%s\n" % c for c in cells)


def write(name, data):
    with open(os.path.join(HERE, name), "wb") as out:
        out.write(data)


def date_text(moment):
    return ("text", moment.strftime("%Y-%m-%d %H:%M:%S.") + "%03d" % (moment.microsecond // 1000))


def grid(first, last, n):
    return [f32(first + i * (last - first) / (n - 1)) for i in range(n)]


def sixteen_bit():
    # Exponent 16: the stored integers are the values themselves.
    ys = [0, 1, -2, 32767, -32768]
    date = packed_date(2021, 3, 14, 9, 26)
    write("sixteen-bit.spc", main_header(0x01, 16, 5, 1000.0, 1004.0, 1, 1, 2, 0, date) +
          sub_header() + struct.pack("<5h", *ys))
    sheet("sixteen-bit", grid(1000.0, 1004.0, 5),
          [("sixteen-bit", date_text(datetime.datetime(2021, 3, 14, 9, 26)), ys)])


def thirty_two_bit():
    # Exponent 8: y = integer / 2^24. Axis label text in the single-byte code page.
    ints = [1 << 24, -(1 << 23), 3 << 20, 0x7FFFFFFF]
    label = "Wellenzahl \u00b0".encode("cp1252")
    write("thirty-two-bit.spc", main_header(0x20, 8, 4, 4000.0, 3994.0, 1, 1, 2, 0, 0,
                                            label + b"\0absorbance\0") +
          sub_header(exponent=-128) + struct.pack("<4i", *ints))
    # A single-file file keeps the main header's exponent: the sub-file's 0x80 is ignored.
    sheet("thirty-two-bit", grid(4000.0, 3994.0, 4),
          [("thirty-two-bit", None, [f32(v / 2.0 ** 24) for v in ints])],
          xlabel="Wellenzahl \u00b0")


def float_multi():
    # Floats throughout; three sub-files evenly spaced in z (micrometres, type 2 is not a
    # time), the increment given by the main header.
    rows = [[0.5, -1.25, 3.0], [2.0, 0.0, -0.125], [1e-3, 7.5, 100.0]]
    body = main_header(0x04, -128, 3, 100.0, 104.0, 3, 20, 4, 2, 0, zinc=10.0)
    for i, ys in enumerate(rows):
        body += sub_header(-128, i, 99.0 * i, 0.0) + struct.pack("<3f", *ys)
    write("float-multi.spc", body)
    sheet("float-multi", grid(100.0, 104.0, 3),
          [("float-multi_%d" % (i + 1), ("number", number(10.0 * i)), [f32(y) for y in ys])
           for i, ys in enumerate(rows)], zheading="um", xlabel="\u00b0C")


def minutes_from_date():
    # Z in minutes from a date late on New Year's Eve of a leap year; the increment comes
    # from the first sub-file's z range (none in the main header). The second sub-file
    # switches to float data with its own exponent.
    date = packed_date(2024, 12, 31, 23, 58)
    start = datetime.datetime(2024, 12, 31, 23, 58)
    body = main_header(0x04, 0, 2, 10.0, 11.0, 3, 3, 0, 5, date)
    body += sub_header(0, 0, 0.0, 1.5) + struct.pack("<2i", 1 << 30, -(1 << 31))
    body += sub_header(-128, 1, 7.0, 0.0) + struct.pack("<2f", 0.25, 8.0)
    body += sub_header(0, 2, 0.0, 0.0) + struct.pack("<2i", 0, 1 << 28)
    write("minutes-from-date.spc", body)
    scale = 2.0 ** -32
    rows = [((1 << 30) * scale, -(1 << 31) * scale), (0.25, 8.0), (0.0, (1 << 28) * scale)]
    sheet("minutes-from-date", grid(10.0, 11.0, 2),
          [("minutes-from-date_%d" % (i + 1),
            date_text(start + datetime.timedelta(minutes=1.5 * i)), [f32(y) for y in ys])
           for i, ys in enumerate(rows)], zheading="Date", xlabel="nm")


def seconds_without_increment():
    # Z in seconds, no date: elapsed times. z increment 0 and z end 0 in the first
    # sub-file: z is each sub-file's own start from then on.
    zs = [0.0, 75.5, 4000.25, 90061.0]
    body = main_header(0x05, 16, 1, 5.0, 5.0, 4, 1, 0, 4, 0)
    for i, z in enumerate(zs):
        body += sub_header(16, 5 * i, z, 0.0) + struct.pack("<h", i)
    write("seconds-without-increment.spc", body)
    texts = ["00.000", "01:15.500", "01:06:40.250", "01 01:01:01.000"]
    sheet("seconds-without-increment", [5.0],
          [("seconds-without-increment_%d" % (i + 1), ("text", t), [float(i)])
           for i, t in enumerate(texts)], zheading="Date")


def x_array_files():
    xs = [1.0, 2.5, 4.0, 7.0]
    array = struct.pack("<4f", *xs)
    for name, ys in (("x-array-a.spc", [1, 2, 3, 4]), ("x-array-b.spc", [5, 6, 7, 8])):
        write(name, main_header(0x80, 32, 4, 1.0, 7.0, 1, 1) + array + sub_header(32) +
              struct.pack("<4i", *ys))
    write("x-array-other.spc", main_header(0x80, 32, 4, 1.0, 7.0, 1, 1) +
          struct.pack("<4f", 1.0, 2.5, 4.5, 7.0) + sub_header(32) + struct.pack("<4i", 0, 0, 0, 0))
    sheet("x-array-a", xs, [("x-array-a", None, [1, 2, 3, 4])])


def old_format():
    # Old files store 32-bit integers with the high word first.
    ints = [1 << 20, -5, 0x12345678]
    words = b"".join(struct.pack("<HH", (v & 0xFFFFFFFF) >> 16, v & 0xFFFF) for v in ints)
    write("old-format.spc", old_header(0x00, 4, 3, 500.0, 502.0) + words)
    sheet("old-format", grid(500.0, 502.0, 3),
          [("old-format", None, [f32(v / 2.0 ** 28) for v in ints])])


def refused():
    write("big-endian.spc", b"\x00\x4C" + bytes(510))
    write("not-spc.spc", b"\x00X" + bytes(510))
    write("one-byte.spc", b"\x00")
    write("short-header.spc", main_header(0, 0, 4, 1.0, 4.0)[:300])
    write("xy-per-sub-file.spc", main_header(0xC1, 0, 2, 1.0, 2.0) + bytes(64))
    write("old-uneven-x.spc", old_header(0x80, 0, 2, 1.0, 2.0) + bytes(8))
    # Counts at their maximum on a file of a few hundred bytes.
    write("huge-point-count.spc", main_header(0, 0, 0x7FFFFFFF, 1.0, 2.0) + sub_header() +
          bytes(16))
    write("unsigned-point-count.spc", main_header(0, 0, 0xFFFFFFFF, 1.0, 2.0) + sub_header() +
          bytes(16))
    write("huge-sub-file-count.spc", main_header(0x04, 0, 2, 1.0, 2.0, 0x7FFFFFFF) +
          sub_header() + bytes(8))
    write("no-sub-files-huge-point-count.spc",
          main_header(0x04, 0, 0x10000000, 1.0, 2.0, 0) + bytes(64))
    write("negative-sub-file-count.spc", main_header(0x04, 0, 2, 1.0, 2.0, -1) + bytes(40))
    write("huge-old-point-count.spc", old_header(0, 0, 3e9, 1.0, 2.0) + bytes(12))
    write("cut-in-data.spc", main_header(0, 0, 8, 1.0, 8.0) + sub_header() + bytes(20))
    # Zero points: readable header, nothing to size a sheet by.
    write("zero-points.spc", main_header(0, 0, 0, 1.0, 1.0) + sub_header())


def merging():
    # Files for merging: first x 400 and 400.00001 agree within the relative tolerance;
    # a different spacing does not.
    ys = struct.pack("<3f", 1.0, 2.0, 3.0)
    write("merge-400.spc", main_header(0, -128, 3, 400.0, 402.0) + sub_header() + ys)
    write("merge-400-00001.spc",
          main_header(0, -128, 3, 400.00001, 402.00001) + sub_header() + ys)
    write("merge-other-spacing.spc", main_header(0, -128, 3, 400.0, 404.0) + sub_header() + ys)


if __name__ == "__main__":
    sixteen_bit()
    thirty_two_bit()
    float_multi()
    minutes_from_date()
    seconds_without_increment()
    x_array_files()
    old_format()
    refused()
    merging()
