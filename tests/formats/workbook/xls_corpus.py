"""Every workbook of the real .xls corpus, read by zmimport and checked cell by cell against
xlrd (an independent reader), sheet by sheet; files that must be refused are refused with
their own message.

Booleans and error values read as "TRUE"/"FALSE" and the error's text; dates are compared,
to the second, with the date xlrd makes of the serial in the workbook's system (1900 or 1904).
Where the library deliberately differs from xlrd the comparison allows it:
- the date test differs (a format needs two of "ymdhms": "d" alone is no date format; the
  BIFF8 test reads the format's raw bytes), so a number xlrd calls a date may stay a
  number and the other way round, with the same value;
- the sheet's size comes from its DIMENSIONS record, so cells are compared where xlrd has
  them.
Usage: xls_corpus.py ZMIMPORT CORPUS_DIR
"""
import datetime
import json
import os
import subprocess
import sys
import tempfile
import unittest

import xlrd

ZMIMPORT = CORPUS = None

# Files refused on purpose, with the start of the message.
REFUSED = {
    "TestFail_Binary.xls": "This file does not appear to be a valid Excel file.",
    "too_small.xls": "This file does not appear to be a valid Excel file.",
}
# Cells where the two readers differ for a reason, by file and (row, column).
KNOWN = {
    # The file declares code page 1200 (UTF-16), which BIFF5's 8-bit texts cannot be in;
    # the library reads them as windows-1252, where this byte has no character.
    ("biff5-rich-text-string.xls", 2, 7),
}
ENCRYPTED = "cannot read (password-) protected Excel workbooks"


def same_date(ours, value, datemode):
    """True when the library's text is the date and time xlrd makes of the serial, to the
    second (the two round fractions of a second differently). Day 60 of the 1900 system,
    which the calendar lacks, has no date in xlrd: the library calls it 1900-02-29."""
    if not isinstance(ours, str):
        return False
    if datemode == 0 and int(value) == 60:
        return ours.startswith("1900-02-29")
    try:
        want = xlrd.xldate.xldate_as_datetime(value, datemode)
    except (OverflowError, ValueError):
        return False
    if value < 1.0:
        ours = want.strftime("%Y-%m-%d ") + ours  # a time of day alone
    try:
        return abs((datetime.datetime.fromisoformat(ours) - want).total_seconds()) <= 1
    except ValueError:
        return False


def read_sheet(path, index, workdir):
    options = os.path.join(workdir, "options.xml")
    with open(options, "w") as f:
        f.write("<Configuration><Settings><Sheets>%d</Sheets><UseIndexes>true</UseIndexes>"
                "</Settings></Configuration>" % (index + 1))
    done = subprocess.run([ZMIMPORT, "read", path, "--format", "Excel File", "--options",
                           options, "--to", "json"], capture_output=True, timeout=60)
    return done.returncode, done.stdout.decode("utf-8"), done.stderr.decode("utf-8")


def compare(cells, sheet, name, datemode):
    """Differences between our cells and xlrd's, as texts."""
    problems = []
    for r in range(sheet.nrows):
        for c in range(sheet.ncols):
            if (name, r, c) in KNOWN:
                continue
            cell = sheet.cell(r, c)
            ours = cells[r][c] if r < len(cells) and c < len(cells[r]) else None
            kind = cell.ctype
            if kind in (xlrd.XL_CELL_EMPTY, xlrd.XL_CELL_BLANK):
                if ours not in (None, ""):
                    problems.append("%d,%d: %r where xlrd has nothing" % (r, c, ours))
            elif kind in (xlrd.XL_CELL_BOOLEAN, xlrd.XL_CELL_ERROR):
                want = (("TRUE" if cell.value else "FALSE") if kind == xlrd.XL_CELL_BOOLEAN
                        else xlrd.error_text_from_code.get(cell.value))
                if ours != want:
                    problems.append("%d,%d: %r, xlrd %r" % (r, c, ours, want))
            elif kind == xlrd.XL_CELL_TEXT:
                if ours != cell.value and not (ours is None and cell.value == ""):
                    problems.append("%d,%d: %r, xlrd %r" % (r, c, ours, cell.value))
            elif kind in (xlrd.XL_CELL_NUMBER, xlrd.XL_CELL_DATE):
                if ours != cell.value and not same_date(ours, cell.value, datemode):
                    problems.append("%d,%d: %r, xlrd %r" % (r, c, ours, cell.value))
    return problems


class XlsCorpus(unittest.TestCase):
    def test_every_file(self):
        names = sorted(n for n in os.listdir(CORPUS) if n.lower().endswith(".xls"))
        self.assertGreater(len(names), 90)
        compared = 0
        with tempfile.TemporaryDirectory() as workdir:
            for name in names:
                path = os.path.join(CORPUS, name)
                with self.subTest(file=name):
                    compared += self.check(path, name, workdir)
        self.assertGreater(compared, 60)

    def check(self, path, name, workdir):
        try:
            book = xlrd.open_workbook(path, formatting_info=False, on_demand=False)
        except Exception:
            book = None
        if name in REFUSED or book is None:
            status, _, err = read_sheet(path, 0, workdir)
            if name in REFUSED:
                self.assertEqual(status, 1)
                self.assertIn(REFUSED[name], err)
            else:
                # xlrd cannot read it: ours either reads it or refuses it in its own words.
                self.assertIn(status, (0, 1), err)
                if status == 1:
                    self.assertTrue(err.startswith("zmimport: "), err)
            return 0
        status, out, err = read_sheet(path, 0, workdir)
        if ENCRYPTED in err:
            self.assertEqual(status, 1)
            return 0
        self.assertEqual(status, 0, err)
        compared = 0
        for index, sheet in enumerate(book.sheets()):
            if sheet.nrows == 0:
                continue
            status, out, err = read_sheet(path, index, workdir)
            if status != 0:
                # A sheet xlrd lists but the library does not offer (chart, dialog, macro
                # or empty sheets are not worksheets to it): it falls back to the first.
                continue
            cells = json.loads(out)["cells"] if out.strip() else []
            problems = compare(cells, sheet, name, book.datemode)
            self.assertEqual(problems[:5], [], "sheet %d %r: %d differences" %
                             (index, sheet.name, len(problems)))
            compared = 1
        return compared


if __name__ == "__main__":
    ZMIMPORT, CORPUS = sys.argv[1], sys.argv[2]
    del sys.argv[1:3]
    unittest.main(verbosity=1)
