"""Every workbook of the real .xlsb corpus, read by zmimport and checked cell by cell
against SheetJS (an independent reader, run with node), sheet by sheet; encrypted
packages are refused with the reader's own message.

Where the library deliberately differs from SheetJS the comparison says so:
- hidden and very hidden sheets are not offered, and only worksheets are (SheetJS lists
  chart, macro and dialog sheets too);
- booleans read "TRUE" and "FALSE";
- error cells read the text of a bit test on the code, so the standard codes 0x07, 0x0F,
  0x17, 0x1D, 0x24 and 0x2A all read "#DIV/0!" (see designed_error below);
- a number in a date style is a date text in the 1900 system, also in 1904 workbooks;
- a record header takes at most two bytes for the id and two for the size, so a record of
  16,384 bytes or more is misread: large_strings.xlsb's first sheet, whose long string
  formula results need such records, is refused as corrupt.
Usage: xlsb_corpus.py ZMIMPORT CORPUS_DIR DUMP_SCRIPT
"""
import json
import os
import re
import subprocess
import sys
import unittest

ZMIMPORT = CORPUS = DUMP = None

REFUSED = {
    "pass_protected.xlsb": "Unable to open Excel file.",
    "standard_AES128_SHA1_ECB_pwd_password.xlsb": "Unable to open Excel file.",
}
# Sheets (0-based among the offered ones) refused because of their long records.
REFUSED_SHEETS = {("large_strings.xlsb", 0): "The file is corrupt."}


def designed_error(code):
    for mask, text in ((0x07, "#DIV/0!"), (0x0F, "#VALUE!"), (0x17, "#REF!"), (0x1D, "#NAME?"),
                       (0x24, "#NUM!"), (0x2A, "#N/A")):
        if code & mask:
            return text
    return "Unknown error code"


def looks_like_date_format(code):
    return code != "General" and re.search("[ymdhs]", code.replace("Red", "", 1)) is not None


def zmimport(*args):
    done = subprocess.run([ZMIMPORT, *args], capture_output=True, timeout=300)
    return done.returncode, done.stdout.decode("utf-8"), done.stderr.decode("utf-8")


def read_sheet(path, index):
    return zmimport("read", path, "--format", "Excel2007 File", "--set", "Sheets=%d" % (index + 1),
                    "--set", "UseIndexes=true", "--to", "json")


def offered_sheets(path):
    status, out, err = zmimport("options", path, "--format", "Excel2007 File")
    match = re.search(r"<Sheets>(.*)</Sheets>", out)
    return status, (match.group(1).split(";") if match else []), err


def compare(cells, expected):
    problems = []
    for r, c, kind, value, fmt in expected:
        ours = cells[r][c] if r < len(cells) and c < len(cells[r]) else None
        if kind == "s":
            ok = ours == value or (value == "" and ours is None)
        elif kind == "b":
            ok = ours == ("TRUE" if value else "FALSE")
        elif kind == "e":
            ok = ours == designed_error(value)
        elif kind == "n":
            ok = ours == value or (isinstance(ours, str) and looks_like_date_format(fmt))
        else:
            ok = ours is not None
        if not ok:
            problems.append("(%d,%d): %r, SheetJS %s %r" % (r, c, ours, kind, value))
    held = sum(1 for row in cells for cell in row if cell is not None and cell != "")
    wanted = sum(1 for cell in expected if not (cell[2] == "s" and cell[3] == ""))
    if held != wanted:
        problems.append("%d cells, SheetJS %d" % (held, wanted))
    return problems


class XlsbCorpus(unittest.TestCase):
    def test_every_file(self):
        names = sorted(n for n in os.listdir(CORPUS) if n.lower().endswith(".xlsb"))
        self.assertGreater(len(names), 30)
        compared = 0
        for name in names:
            with self.subTest(file=name):
                compared += self.check(os.path.join(CORPUS, name), name)
        self.assertGreater(compared, 150)

    def check(self, path, name):
        if name in REFUSED:
            status, _, err = read_sheet(path, 0)
            self.assertEqual(status, 1)
            self.assertIn(REFUSED[name], err)
            return 0
        book = json.loads(subprocess.run(["node", DUMP, path], capture_output=True, check=True,
                                         timeout=300).stdout)
        self.assertNotIn("error", book)
        wanted = [s for s in book["sheets"] if s["hidden"] == 0 and s["type"] == "sheet"]
        status, names, err = offered_sheets(path)
        if not wanted:
            self.assertEqual(status, 1)
            self.assertIn("The file contains no sheets.", err)
            return 0
        self.assertEqual(names, [s["name"] for s in wanted])
        compared = 0
        for index, sheet in enumerate(wanted):
            status, out, err = read_sheet(path, index)
            if (name, index) in REFUSED_SHEETS:
                self.assertEqual(status, 1)
                self.assertIn(REFUSED_SHEETS[(name, index)], err)
                continue
            self.assertEqual(status, 0, err)
            cells = json.loads(out)["cells"] if out.strip() else []
            problems = compare(cells, sheet["cells"])
            self.assertEqual(problems[:5], [], "sheet %d %r: %d differences" %
                             (index, sheet["name"], len(problems)))
            compared += len(sheet["cells"])
        return compared


if __name__ == "__main__":
    ZMIMPORT, CORPUS, DUMP = sys.argv[1], sys.argv[2], sys.argv[3]
    del sys.argv[1:4]
    unittest.main(verbosity=1)
