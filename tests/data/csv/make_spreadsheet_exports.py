#!/usr/bin/python3
"""Exports one small sheet from Gnumeric (ssconvert) and LibreOffice (soffice) as CSV and
DIF fixtures.

Needs the Debian packages gnumeric and libreoffice-calc-nogui; run with /usr/bin/python3
from this folder. CSV fixtures go here, with X.expected.tsv made by parsing the export
with Python's csv module (one line per cell, "row<TAB>col<TAB>text", backslash escapes
for line feed, carriage return, tab and backslash). DIF fixtures go to ../dif; their
X.expected.tsv (same layout) were transcribed by hand from the exported sheet.
"""
import csv
import io
import os
import shutil
import subprocess
import tempfile
from xml.sax.saxutils import escape

HERE = os.path.dirname(os.path.abspath(__file__))
DIF_DIR = os.path.join(HERE, "..", "dif")

SHEET = [
    ["id", "name", "value", "note"],
    ["1", "alpha", "1.5", "plain"],
    ["2", "beta, gamma", "-3", 'say "hi"'],
    ["3", "", "0.25", "\u00fcn\u00efc\u00f6d\u00e9 \u20ac"],
    ["4", "tab\there", "1e-5", "semi;colon"],
    ["5", "TRUE", "1e20", "back\\slash"],
    ["6", "short"],
]
# The same sheet with a line break inside a text cell.
MULTILINE = SHEET[:3] + [["3", "multi\nline", "0.25", "end"]]


def is_number(text):
    try:
        float(text)
        return True
    except ValueError:
        return False


def gnumeric_xml(rows):
    cells = []
    for r, row in enumerate(rows):
        for c, text in enumerate(row):
            if text == "":
                continue
            kind = 40 if is_number(text) else 20 if text == "TRUE" else 60
            cells.append('<gnm:Cell Row="%d" Col="%d" ValueType="%d">%s</gnm:Cell>'
                         % (r, c, kind, escape(text)))
    return ('<?xml version="1.0" encoding="UTF-8"?>\n'
            '<gnm:Workbook xmlns:gnm="http://www.gnumeric.org/v10.dtd">'
            '<gnm:SheetNameIndex><gnm:SheetName>Sheet1</gnm:SheetName></gnm:SheetNameIndex>'
            '<gnm:Sheets><gnm:Sheet><gnm:Name>Sheet1</gnm:Name>'
            '<gnm:MaxCol>%d</gnm:MaxCol><gnm:MaxRow>%d</gnm:MaxRow><gnm:Cells>\n%s\n'
            '</gnm:Cells></gnm:Sheet></gnm:Sheets></gnm:Workbook>\n'
            % (max(len(r) for r in rows) - 1, len(rows) - 1, "\n".join(cells)))


def plain_csv(rows):
    out = io.StringIO(newline="")
    csv.writer(out).writerows(rows)
    return out.getvalue()


def write_expected(path, delimiter):
    """Cells of a CSV export as Python's csv module parses it; the reader under test
    turns a quoted CR LF into one line feed."""
    with open(path, encoding="utf-8", newline="") as f:
        rows = list(csv.reader(f, delimiter=delimiter))
    with open(path + ".expected.tsv", "w", encoding="utf-8", newline="\n") as out:
        for r, row in enumerate(rows, 1):
            for c, text in enumerate(row, 1):
                text = text.replace("\r\n", "\n").replace("\\", "\\\\").replace("\n", "\\n")
                out.write("%d\t%d\t%s\n" % (r, c, text.replace("\r", "\\r").replace("\t", "\\t")))


def gnumeric(tmp):
    for rows, stem in ((SHEET, "gnumeric_export"), (MULTILINE, "gnumeric_multiline_string")):
        source = os.path.join(tmp, stem + ".gnumeric")
        with open(source, "w", encoding="utf-8") as f:
            f.write(gnumeric_xml(rows))
        subprocess.run(["ssconvert", source, os.path.join(DIF_DIR, stem + ".dif")], check=True)
    source = os.path.join(tmp, "gnumeric_export.gnumeric")
    subprocess.run(["ssconvert", source, os.path.join(HERE, "gnumeric_export.csv")], check=True)
    subprocess.run(["ssconvert", "-T", "Gnumeric_stf:stf_assistant", "-O",
                    "separator=; quoting-mode=always eol=windows", source,
                    os.path.join(HERE, "gnumeric_semicolon_quoted.csv")], check=True)
    write_expected(os.path.join(HERE, "gnumeric_export.csv"), ",")
    write_expected(os.path.join(HERE, "gnumeric_semicolon_quoted.csv"), ";")


def libreoffice(tmp):
    def convert(rows, stem, target):
        source = os.path.join(tmp, stem + ".csv")
        with open(source, "w", encoding="utf-8", newline="") as f:
            f.write(plain_csv(rows))
        subprocess.run(["soffice", "--headless", "--infilter=CSV:44,34,76,1", "--convert-to",
                        target, "--outdir", os.path.join(tmp, "out"), source], check=True,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        return os.path.join(tmp, "out", stem + "." + target.split(":")[0])

    shutil.copy(convert(SHEET, "libreoffice_export", "dif"), DIF_DIR)
    shutil.copy(convert(MULTILINE, "libreoffice_multiline_string", "dif"), DIF_DIR)
    # Semicolons, every text quoted, line feeds.
    exported = convert(SHEET, "libreoffice_semicolon",
                       "csv:Text - txt - csv (StarCalc):59,34,76,1,,0,true,false")
    shutil.copy(exported, HERE)
    write_expected(os.path.join(HERE, "libreoffice_semicolon.csv"), ";")


if __name__ == "__main__":
    with tempfile.TemporaryDirectory() as tmp:
        gnumeric(tmp)
        libreoffice(tmp)
