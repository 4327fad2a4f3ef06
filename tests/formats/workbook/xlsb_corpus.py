"""Every workbook of the real .xlsb corpus, read by zmimport and checked cell by cell
against SheetJS (an independent reader, run with node), sheet by sheet; encrypted
packages are refused with the reader's own message.

Where the library deliberately differs from SheetJS the comparison says so:
- only worksheets are offered, hidden ones included (SheetJS lists chart, macro and
  dialog sheets too);
- booleans read "TRUE" and "FALSE";
- error cells read their code's text (SheetJS's own table, see ERRORS below);
- a number in a date style is a date text in the workbook's date system, compared with
  SheetJS's date to the second (see same_date below).
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
ERRORS = {0x00: "#NULL!", 0x07: "#DIV/0!", 0x0F: "#VALUE!", 0x17: "#REF!", 0x1D: "#NAME?",
          0x24: "#NUM!", 0x2A: "#N/A", 0x2B: "#GETTING_DATA"}


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


def same_date(ours, sheetjs):
    """True when the library's date text is SheetJS's date of the serial, to the second.
    Below one day the library gives the time of day alone, SheetJS a date of day 0."""
    if not sheetjs:
        return False
    day, time = sheetjs.split(" ")
    if re.fullmatch(r"\d\d:\d\d:\d\d", ours):
        return day in ("1900-01-00", "1904-01-01") and abs(seconds(ours) - seconds(time)) <= 1
    match = re.fullmatch(r"(\d{4}-\d\d-\d\d)(?: (\d\d:\d\d:\d\d))?", ours)
    if not match:
        return False
    ours_day, ours_time = match.group(1), match.group(2) or "00:00:00"
    if ours_day != day:
        # A time rounded up past midnight by one reader only.
        return ours_time == "00:00:00" and time == "23:59:59"
    return abs(seconds(ours_time) - seconds(time)) <= 1


def seconds(text):
    h, m, s = (int(part) for part in text.split(":"))
    return h * 3600 + m * 60 + s


def compare(cells, expected):
    problems = []
    for r, c, kind, value, fmt, date in expected:
        ours = cells[r][c] if r < len(cells) and c < len(cells[r]) else None
        if kind == "s":
            ok = ours == value or (value == "" and ours is None)
        elif kind == "b":
            ok = ours == ("TRUE" if value else "FALSE")
        elif kind == "e":
            ok = ours == ERRORS.get(value, "Unknown error code")
        elif kind == "n":
            ok = ours == value or (isinstance(ours, str) and looks_like_date_format(fmt) and
                                   same_date(ours, date))
        else:
            ok = ours is not None
        if not ok:
            problems.append("(%d,%d): %r, SheetJS %s %r %s" % (r, c, ours, kind, value, date))
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
        wanted = [s for s in book["sheets"] if s["type"] == "sheet"]
        status, names, err = offered_sheets(path)
        if not wanted:
            self.assertEqual(status, 1)
            self.assertIn("The file contains no sheets.", err)
            return 0
        self.assertEqual(names, [s["name"] for s in wanted])
        compared = 0
        for index, sheet in enumerate(wanted):
            status, out, err = read_sheet(path, index)
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
