"""Every file of the real Lotus corpus (1-2-3, Symphony-style, Works and Quattro Pro
writers) goes through zmimport's Lotus reader: worksheets it reads are checked cell by cell
against Gnumeric's ssconvert (an independent reader); the others are refused with the
reader's own message, never read into wrong cells.

Where the library deliberately differs from ssconvert the comparison allows it:
- a formula whose cached result is a text (1-2-3 stores a marker instead of a number and
  the text in a record of its own) gives an empty text;
- the table is as big as the file's RANGE record says, so it may go on past the last
  cell ssconvert shows: those cells must be empty.
Usage: lotus_corpus.py ZMIMPORT CORPUS_DIR
"""
import csv
import json
import os
import subprocess
import sys
import tempfile
import unittest

ZMIMPORT = CORPUS = None
FORMAT = "Lotus 1-2-3 File"

LIST = ("Lotus 1-2-3 version 1.A (WKS)\r\nLotus 1-2-3 version 2.0-2.2 (WK1)\r\nSymphony file "
        "1.0/1.01 (WRK) and\r\nSymphony file 1.1/1.2/2.0 (WR1).")
WK3 = ("The file is a Lotus version 3.0 (WK3) file.  However, TAVIX does only support the "
       "following Lotus formats:\n\n" + LIST)
WK4 = ("The file is a Lotus version 4.0 (WK4) file. However, TAVIX does only support the "
       "following Lotus formats:\n\n" + LIST)
WORKBOOK = ("The file seems to be a Lotus Workbook (123) file.  However, TAVIX does only "
            "support the following Lotus formats:\n\n" + LIST)
UNKNOWN = "unrecognized Lotus 1-2-3 version format. TAVIX supports the following Lotus formats:\n\n" + LIST
NOT_LOTUS = "The file does not seem to be a valid Lotus 1-2-3 file."

# Files refused on purpose, with the whole message.
REFUSED = {
    "CRLFR9.123": UNKNOWN,        # 1-2-3 97/Millennium, BOF revision 0x1005
    "CRLFR9.WK3": WK3,
    "CRLFR9.WK4": WK4,
    "crlfq9.wb1": UNKNOWN,        # Quattro Pro for Windows, BOF revision 0x1001
    "crlfq9.wb3": NOT_LOTUS,      # Quattro Pro compound file
    "crlfq9.wk3": WK3,
    "crlfq9.wk4": WK4,
    "crlfq9.wq1": UNKNOWN,        # Quattro Pro DOS, BOF revision 0x5120
    "crlfw4_3.wks": NOT_LOTUS,    # Works 3/4: its first record is no Lotus BOF
    "write_L3.wk3": WK3,
    "write_L45.wk4": WK4,
    "write_L97.123": WORKBOOK,    # BOF revision 0x1003
    "write_qpdos.wq1": UNKNOWN,
}
# Formula cells whose cached result is a text, by file and (row, column).
TEXT_RESULTS = {
    ("CRLFR9.WK1", 1, 1),
    ("crlfq9.wk1", 1, 1),
}


def ours(path):
    done = subprocess.run([ZMIMPORT, "read", path, "--format", FORMAT, "--to", "json"],
                          capture_output=True, timeout=120)
    return done.returncode, done.stdout.decode("utf-8"), done.stderr.decode("utf-8")


def theirs(path, workdir):
    out = os.path.join(workdir, "theirs.csv")
    subprocess.run(["ssconvert", "--export-type=Gnumeric_stf:stf_csv", path, out],
                   capture_output=True, timeout=120, check=True)
    with open(out, newline="", encoding="utf-8") as f:
        return list(csv.reader(f))


def same(mine, text):
    if text == "":
        return mine in (None, "")
    if isinstance(mine, str):
        return mine == text
    try:
        return mine is not None and abs(mine - float(text)) <= 1e-12 * max(1.0, abs(mine))
    except ValueError:
        return False


class LotusCorpus(unittest.TestCase):
    def test_every_file(self):
        names = sorted(os.listdir(CORPUS))
        names = [n for n in names if n not in ("MANIFEST.tsv", "README.md")]
        self.assertEqual(len(names), 19)
        compared = 0
        with tempfile.TemporaryDirectory() as workdir:
            for name in names:
                with self.subTest(file=name):
                    compared += self.check(os.path.join(CORPUS, name), name, workdir)
        self.assertEqual(compared, len(names) - len(REFUSED))

    def check(self, path, name, workdir):
        status, out, err = ours(path)
        if name in REFUSED:
            self.assertEqual(status, 1, out[:200])
            self.assertEqual(err, "zmimport: %s: %s\n" % (path, REFUSED[name]))
            return 0
        self.assertEqual(status, 0, err)
        cells = json.loads(out)["cells"]
        expected = theirs(path, workdir)
        self.assertGreater(len(expected), 0)
        problems = []
        for r, row in enumerate(cells):
            for c, mine in enumerate(row):
                text = expected[r][c] if r < len(expected) and c < len(expected[r]) else ""
                if (name, r, c) in TEXT_RESULTS:
                    if mine != "":
                        problems.append("%d,%d: %r for a text result" % (r, c, mine))
                elif not same(mine, text):
                    problems.append("%d,%d: %r, ssconvert %r" % (r, c, mine, text))
        # Nothing ssconvert shows may lie outside our table.
        for r, row in enumerate(expected):
            for c, text in enumerate(row):
                if text != "" and (r >= len(cells) or c >= len(cells[r])):
                    problems.append("%d,%d: ssconvert %r outside the table" % (r, c, text))
        self.assertEqual(problems[:5], [], "%d differences" % len(problems))
        return 1


if __name__ == "__main__":
    ZMIMPORT, CORPUS = sys.argv[1], sys.argv[2]
    del sys.argv[1:3]
    unittest.main(verbosity=1)
