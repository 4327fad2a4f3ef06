"""Writes damaged and hostile workbooks (and one FDC document), each named after its fault. The damaged ones
start from a workbook openpyxl (python3-openpyxl) wrote, holding 12345 in A1, and go to
this folder; the hostile ones are small packages of hand-written parts and go to
fuzz/corpus as seeds.
Usage: /usr/bin/python3 make_damaged.py"""
import io
import os
import zipfile

import openpyxl

here = os.path.dirname(os.path.abspath(__file__))
seeds = os.path.join(here, "..", "..", "..", "fuzz", "corpus")
SHEET = "xl/worksheets/sheet1.xml"


def written_by_openpyxl():
    book = openpyxl.Workbook()
    sheet = book.active
    sheet["A1"] = 12345
    sheet["B1"] = "text"
    buffer = io.BytesIO()
    book.save(buffer)
    return zipfile.ZipFile(io.BytesIO(buffer.getvalue()))


def repack(parts, method, path):
    with zipfile.ZipFile(path, "w", method) as out:
        for name, data in parts.items():
            out.writestr(name, data)


def parts_of(book):
    return {name: book.read(name) for name in book.namelist()}


def stored_entry_edited_after_its_crc(path):
    """A stored sheet part whose digit an editor changed: 12345 now reads 99345, the
    checksum still that of 12345."""
    repack(parts_of(written_by_openpyxl()), zipfile.ZIP_STORED, path)
    data = bytearray(open(path, "rb").read())
    at = data.index(b"<v>12345</v>")
    data[at + 3:at + 5] = b"99"
    open(path, "wb").write(bytes(data))


def flipped_bit_in_deflated_data(path):
    """One bit flipped inside the deflated sheet part."""
    parts = parts_of(written_by_openpyxl())
    repack(parts, zipfile.ZIP_DEFLATED, path)
    data = bytearray(open(path, "rb").read())
    info = zipfile.ZipFile(path).getinfo(SHEET)
    start = info.header_offset + 30 + len(info.filename.encode()) + len(info.extra)
    data[start + info.compress_size // 2] ^= 0x08
    open(path, "wb").write(bytes(data))


WORKBOOK = (b'<workbook xmlns:r="r"><sheets><sheet name="S" sheetId="1" r:id="rId1"/>'
            b'</sheets></workbook>')
RELS = (b'<Relationships><Relationship Id="rId1" Type="x/worksheet" '
        b'Target="worksheets/sheet1.xml"/><Relationship Id="rId2" Type="x/sharedStrings" '
        b'Target="sharedStrings.xml"/></Relationships>')


def hostile(name, sheet, strings=None):
    parts = {"xl/workbook.xml": WORKBOOK, "xl/_rels/workbook.xml.rels": RELS,
             SHEET: b"<worksheet><sheetData>" + sheet + b"</sheetData></worksheet>"}
    if strings is not None:
        parts["xl/sharedStrings.xml"] = strings
    repack(parts, zipfile.ZIP_DEFLATED, os.path.join(seeds, name))


stored_entry_edited_after_its_crc(os.path.join(here, "crc-stored-entry-edited.xlsx"))
flipped_bit_in_deflated_data(os.path.join(here, "crc-flipped-bit-in-deflated-data.xlsx"))
for name in ("crc-stored-entry-edited.xlsx", "crc-flipped-bit-in-deflated-data.xlsx"):
    with open(os.path.join(here, name), "rb") as src:
        open(os.path.join(seeds, name), "wb").write(src.read())

hostile("shared-strings-nested-100000-deep.xlsx", b'<row r="1"><c r="A1"><v>1</v></c></row>',
        b"<sst><si>" + b"<r>" * 100000 + b"</r>" * 100000 + b"</si></sst>")
hostile("two-million-empty-shared-strings.xlsx",
        b'<row r="1"><c r="A1" t="s"><v>1999999</v></c></row>', b"<sst>" + b"<si/>" * 2000000 + b"</sst>")
hostile("cells-without-reference-past-xfd.xlsx",
        b'<row r="1">' + b"".join(b"<c><v>%d</v></c>" % (i * 7919 % 100003) for i in range(20000))
        + b"</row>")
hostile("references-beyond-xfd-and-last-row.xlsx",
        b'<row r="1"><c r="XFD1"><v>3</v></c><c r="XFE1"><v>1</v></c><c r="ZZZZ1"><v>2</v></c>'
        b'</row><row r="1048577"><c r="A1048577"><v>4</v></c></row>'
        b'<row r="5"><c r="b5"><v>5</v></c></row>')
hostile("doctype-entity-in-sheet.xlsx",
        b'<row r="1"><c r="A1" t="inlineStr"><is><t>&e;</t></is></c></row>')
path = os.path.join(seeds, "doctype-entity-in-sheet.xlsx")
parts = parts_of(zipfile.ZipFile(path))
parts[SHEET] = (b'<!DOCTYPE w [<!ENTITY e "' + b"x" * 100000 + b'">]>' + parts[SHEET])
repack(parts, zipfile.ZIP_DEFLATED, path)
hostile("shared-string-index-out-of-range.xlsx",
        b'<row r="1"><c r="A1" t="s"><v>0</v></c><c r="B1" t="s"><v>7</v></c>'
        b'<c r="C1" t="s"><v>-1</v></c><c r="D1" t="s"><v>x</v></c></row>',
        b"<sst><si><t>kept</t></si></sst>")


# Binary workbooks: records are an id, a size in 7-bit bytes, then the data.
def varint(value):
    out = b""
    while value >= 128:
        out += bytes([value & 0x7F | 0x80])
        value >>= 7
    return out + bytes([value])


def rec(kind, data=b""):
    return varint(kind) + varint(len(data)) + data


def u32(value):
    return value.to_bytes(4, "little")


def wide(text):
    return u32(len(text)) + text.encode("utf-16-le")


def hostile_xlsb(name, sheet, strings):
    workbook = rec(131) + rec(143) + rec(156, u32(0) + u32(1) + wide("rId1") + wide("S")) + \
        rec(144) + rec(132)
    rels = (b'<Relationships><Relationship Id="rId1" Type="x/worksheet" '
            b'Target="worksheets/sheet1.bin"/></Relationships>')
    repack({"xl/workbook.bin": workbook, "xl/_rels/workbook.bin.rels": rels,
            "xl/sharedStrings.bin": strings, "xl/worksheets/sheet1.bin": sheet},
           zipfile.ZIP_DEFLATED, os.path.join(seeds, name))


cell = u32(0) + u32(0)
hostile_xlsb("xlsb-record-size-claims-256-mb.xlsb",
             rec(0, u32(0)) + varint(5) + b"\xff\xff\xff\x7f" + b"12345678",
             rec(159) + rec(160))
hostile_xlsb("xlsb-shared-string-index-out-of-range.xlsb",
             rec(0, u32(0)) + rec(7, cell + u32(0)) + rec(7, u32(1) + u32(0) + u32(99)),
             rec(159, u32(1) + u32(1)) + rec(19, b"\0" + wide("kept")) + rec(160))


# An FDC document whose own internal subset declares one 50 KB entity that the document
# uses a thousand times (50 MB once expanded), made from the billion-laughs fixture.
fdc = open(os.path.join(here, "..", "fdc", "billion-laughs.xml"), encoding="utf-8").read()
start, end = fdc.index("[") + 1, fdc.index("]>")
fdc = (fdc[:start] + '\n  <!ENTITY big "' + "x" * 50000 + '">\n' + fdc[end:]).replace(
    "&lol9;", "&big;" * 1000, 1)
open(os.path.join(seeds, "fdc-internal-entity-50kb-used-1000-times.xml"), "w",
     encoding="utf-8").write(fdc)
