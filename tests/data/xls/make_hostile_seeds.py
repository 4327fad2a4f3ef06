#!/usr/bin/python3
"""Writes the hand-made damaged and hostile .xls inputs of fuzz/corpus, each named after the
fault it once exposed: sheet offsets of a BIFF4 workbook that lead back, sheet records that
point into one another, declared sheet sizes that no cell backs, and texts whose lengths
claim more than the file holds. The unit tests read them from there.
Usage: /usr/bin/python3 make_hostile_seeds.py"""
import os
import struct

OUT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "..", "fuzz", "corpus")


def record(kind, data=b""):
    return struct.pack("<HH", kind, len(data)) + data


def bof(substream, kind=0x0809, version=0x0600):
    return record(kind, struct.pack("<HH", version, substream) + bytes(12))


def dimensions(rows, cols):
    return record(0x0200, struct.pack("<IIHHH", 0, rows, 0, cols, 0))


def number(row, col, value):
    return record(0x0203, struct.pack("<HHHd", row, col, 0, value))


def workbook(sheets, globals_extra=b""):
    """A BIFF8 record stream: globals, then each sheet's records, one sheet record each."""
    head = bof(0x0005) + globals_extra
    sheet_record = len(record(0x0085, bytes(9)))
    position = len(head) + sheet_record * len(sheets) + 4
    records = b""
    for i, body in enumerate(sheets):
        records += record(0x0085, struct.pack("<IHBB", position, 0, 1, 0) + bytes([65 + i]))
        position += len(body)
    return head + records + record(0x000A) + b"".join(sheets)


def write(name, data):
    with open(os.path.join(OUT, name), "wb") as f:
        f.write(data)


# A BIFF4 workbook whose sheet offset points at itself, and one whose offset points back to
# the start: both once made the reader walk the same records forever.
biff4 = record(0x0409, struct.pack("<HHH", 0, 0x0100, 0))
write("xls-biff4-sheet-offset-onto-itself.xls",
      biff4 + record(0x008E, struct.pack("<I", len(biff4))) + record(0x000A))
write("xls-biff4-sheet-offset-backwards.xls",
      biff4 + record(0x0409, struct.pack("<HHH", 0, 0x0100, 0)) + record(0x008E, bytes(4)) +
      record(0x000A))

# 4000 sheet records, each pointing at another record of one long sheet: testing them one by
# one walked the sheet 4000 times.
cells = b"".join(number(i, 0, float(i)) for i in range(4000))
long_sheet = bof(0x0010) + dimensions(4000, 1) + cells + record(0x000A)
head = bof(0x0005)
sheet_record = len(record(0x0085, bytes(9)))
start = len(head) + sheet_record * 4000 + 4
first_cell = start + len(bof(0x0010)) + len(dimensions(4000, 1))
pointers = b"".join(
    record(0x0085, struct.pack("<IHBB", first_cell + 18 * i, 0, 1, 0) + b"S") for i in range(4000))
write("xls-sheet-records-into-one-sheet-quadratic.xls", head + pointers + record(0x000A) + long_sheet)

# Eight sheets that declare a million rows each and hold one value: the column naming each
# value's sheet was once written for every declared row.
sheet = bof(0x0010) + dimensions(1048576, 1) + number(0, 0, 1.0) + record(0x000A)
write("xls-sheet-label-for-every-declared-row.xls", workbook([sheet] * 8))

# A worksheet that declares 1,048,576 rows and 16,384 columns around a single value.
write("xls-dimensions-1048576-by-16384.xls",
      bof(0x0010) + dimensions(1048576, 16384) + number(0, 0, 1.0) + record(0x000A))

# A shared string claiming 60,000 characters of which 3 are there (it swallows the next
# string's bytes), cells that refer to it, to the swallowed string and past the table, and
# a text whose length claims more than its record holds.
sst = struct.pack("<II", 3, 3) + struct.pack("<HB", 60000, 0) + b"abc" + \
    struct.pack("<HB", 3, 0) + b"def"
cells = b"".join(record(0x00FD, struct.pack("<HHHI", 0, c, 0, c)) for c in range(3))
label = record(0x0204, struct.pack("<HHHHB", 1, 0, 0, 100, 0) + b"xyz")
sheet = bof(0x0010) + dimensions(2, 3) + cells + label + record(0x000A)
write("xls-shared-string-longer-than-the-file.xls", workbook([sheet], record(0x00FC, sst)))
