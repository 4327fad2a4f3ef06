#!/usr/bin/python3
"""Runs the built zmimport program where a user needs a word from it: several sheets and
none chosen, a sheet the file lacks, keys the format does not read, values that do not
parse, binary files no format recognises, and output to a pipe.

Usage: user_notices.py PATH/TO/zmimport
"""
import os
import pty
import resource
import subprocess
import sys
import tempfile
import unittest

ZMIMPORT = None
DATA = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "data")
TWO_SHEETS = os.path.join(DATA, "xlsx", "two-sheets.xlsx")
TWO_MATRICES = os.path.join(DATA, "mat", "level4_two.mat")
BIFF8 = os.path.join(DATA, "xls", "sheetjs-biff8.xls")
NAMED_MATRICES = os.path.join(DATA, "mat", "level5_names.mat")
PASSED_OVER = os.path.join(DATA, "mat", "level5_passed_over.mat")
TWO_VARIABLES = os.path.join(DATA, "netcdf", "mva_two_variables.cdf")
TWO_BLOCKS = os.path.join(DATA, "jcamp", "link-two-axes.jdx")
CORPUS = os.environ.get("ZM_CORPUS", os.path.join(DATA, "..", "..", "..", "shared", "corpus"))


def run(*args, stdout=subprocess.PIPE):
    done = subprocess.run([ZMIMPORT, *args], stdout=stdout, stderr=subprocess.PIPE,
                          env=dict(os.environ, TZ="UTC"), timeout=120)
    out = done.stdout.decode("utf-8", "replace") if done.stdout is not None else ""
    return done.returncode, out, done.stderr.decode("utf-8")


class SheetChoice(unittest.TestCase):
    def test_several_sheets_and_no_choice_are_named_on_stderr(self):
        status, out, err = run("read", TWO_SHEETS)
        self.assertEqual(status, 0)
        self.assertEqual(err, "zmimport: %s: read all 2 sheets, stacked (Data, Notes); "
                              "choose with --set Sheets=NAME\n" % TWO_SHEETS)
        self.assertIn("sheet: Notes", out)
        status, _, err = run("read", TWO_MATRICES)
        self.assertEqual(status, 0)
        self.assertIn('read matrix "A" (1 of 2: A, B); choose with --set Sheets=NAME', err)

    def test_a_choice_or_quiet_silences_the_note_and_reads_the_chosen_sheet(self):
        status, out, err = run("read", "--set", "Sheets=Notes", TWO_SHEETS)
        self.assertEqual((status, err), (0, ""))
        self.assertNotIn("sheet: ", out)
        _, whole, _ = run("read", TWO_SHEETS)
        self.assertNotEqual(out, whole)
        status, _, err = run("read", "--quiet", TWO_MATRICES)
        self.assertEqual((status, err), (0, ""))

    def test_a_sheet_the_file_lacks_is_an_error_listing_the_names(self):
        for choice in (["--set", "Sheets=Nope"], ["--set", "Sheets=data"],
                       ["--set", "Sheets=Data;Nope"],
                       ["--set", "UseIndexes=true", "--set", "Sheets=3"]):
            status, out, err = run("read", *choice, TWO_SHEETS)
            self.assertEqual(status, 1, choice)
            self.assertEqual(out, "")
            self.assertIn("in the file (sheets: Data, Notes", err)
        status, _, err = run("read", "--set", "UseIndexes=true", "--set", "Sheets=2", TWO_SHEETS)
        self.assertEqual((status, err), (0, ""))
        status, _, err = run("read", "--set", "Sheets=C", TWO_MATRICES)
        self.assertEqual(status, 1)
        self.assertIn('no matrix "C" in the file (matrices: A, B)', err)

    def test_matrices_and_variables_are_offered_as_sheets_are(self):
        # Level 5 MAT: every data matrix side by side, names around them; arrays that are
        # no matrices are named as not read, and cannot be chosen.
        status, _, err = run("read", NAMED_MATRICES)
        self.assertEqual(err, "zmimport: %s: read all 2 matrices, side by side (X, Y), rows "
                              "labelled by OBSNAM, columns labelled by VARNAM; choose with --set "
                              "Sheets=NAME\n" % NAMED_MATRICES)
        status, out, err = run("read", PASSED_OVER)
        self.assertEqual((status, out), (0, "0.5,1.5\n10.5,11.5\n"))
        self.assertEqual(err, 'zmimport: %s: read matrix "X"; not read: s (structure), c (cell '
                              'array)\n' % PASSED_OVER)
        self.assertEqual(run("read", "--set", "Sheets=X", PASSED_OVER), (0, out, ""))
        status, out, err = run("read", "--set", "Sheets=c", PASSED_OVER)
        self.assertEqual((status, out), (1, ""))
        self.assertIn('matrix "c" is a cell array, which cannot be read (matrices: X)', err)
        status, out, err = run("read", "--set", "Sheets=Y", NAMED_MATRICES)
        self.assertEqual((status, out, err), (0, "o1,0.5\no2,10.5\n", ""))
        status, _, err = run("read", "--set", "Sheets=OBSNAM", NAMED_MATRICES)
        self.assertEqual(status, 1)
        self.assertIn('no matrix "OBSNAM" in the file (matrices: X, Y)', err)
        # netCDF: one data variable of several.
        status, out, err = run("read", TWO_VARIABLES)
        self.assertEqual(err, 'zmimport: %s: read variable "observation" (1 of 2: observation, '
                              'baseline); choose with --set Sheets=NAME\n' % TWO_VARIABLES)
        status, out, err = run("read", "--set", "Sheets=baseline", TWO_VARIABLES)
        self.assertEqual((status, err), (0, ""))
        self.assertEqual(out.splitlines()[1], "Sample 1,1999.5,-10,-11,-12,-13,-14")
        status, _, err = run("read", "--set", "Sheets=base", TWO_VARIABLES)
        self.assertEqual(status, 1)
        self.assertIn('no variable "base" in the file (variables: observation, baseline)', err)
        # JCAMP-DX: every data block, numbered from 0.
        status, out, err = run("read", TWO_BLOCKS)
        self.assertEqual((status, err), (0, "zmimport: %s: read all 2 blocks (0, 1); choose with "
                                            "--set DataBlocks=INDEX\n" % TWO_BLOCKS))
        self.assertEqual(run("read", "--quiet", TWO_BLOCKS), (0, out, ""))
        status, _, err = run("read", "--set", "DataBlocks=7", TWO_BLOCKS)
        self.assertEqual(status, 1)
        self.assertIn('no block "7" in the file (blocks: 0, 1; numbers 0 to 1)', err)

    def test_a_read_of_several_files_names_the_one_that_failed(self):
        for good, bad in (("jcamp/bands-sqz.jdx", "jcamp/no-title.jdx"),
                          ("netcdf/aia_run1.cdf", "netcdf/aia_delay.cdf")):
            good, bad = os.path.join(DATA, good), os.path.join(DATA, bad)
            status, out, err = run("read", good, bad)
            self.assertEqual((status, out), (1, ""), bad)
            self.assertTrue(err.startswith("zmimport: %s: " % bad), err)
            self.assertNotIn(good, err)
        # A file cut short, after a whole one or before it (then its content chooses no
        # format: the format is named): the cut one is named.
        folder = self.enterContext(tempfile.TemporaryDirectory())
        for fixture, format in (("spc/merge-400.spc", "GalacticSPC File"),
                                ("jcamp/bands-sqz.jdx", "JCAMP-DX File"),
                                ("netcdf/aia_run1.cdf", "NetCDF Files"),
                                ("chemstation/v130-differences.ch", "HPLC ChemStation File"),
                                ("opus/absorbance-and-single-channel.0", "Bruker OPUS File"),
                                ("fdc/two-wafers.xml", "Brookside Ver. 2.6 XML File")):
            good, cut = os.path.join(DATA, fixture), os.path.join(folder, os.path.basename(fixture))
            with open(good, "rb") as f:
                data = f.read()
            with open(cut, "wb") as f:
                f.write(data[:len(data) // 2])
            for files in ((good, cut), (cut, good)):
                status, out, err = run("read", "--format", format, *files)
                self.assertEqual((status, out), (1, ""), files)
                self.assertTrue(err.startswith("zmimport: %s: " % cut), err)

    def test_convert_says_the_same(self):
        with tempfile.TemporaryDirectory() as folder:
            target = os.path.join(folder, "out.txt")
            status, _, err = run("convert", TWO_SHEETS, target)
            self.assertEqual(status, 0)
            self.assertIn("read all 2 sheets", err)
            status, _, err = run("convert", "--set", "Sheets=Nope", TWO_SHEETS, target)
            self.assertEqual(status, 1)
            self.assertIn('no sheet "Nope"', err)


class SettingsKeys(unittest.TestCase):
    def test_an_unknown_key_warns_and_names_the_keys_read(self):
        status, out, err = run("read", "--set", "Bogus=1", "--set", "Sheets=Data", TWO_SHEETS)
        self.assertEqual(status, 0)
        self.assertEqual(err, 'zmimport: warning: the format "Excel2007 File" does not read the '
                              'key "Bogus"; ignored (it reads: ReadOrder, Sheets, UseIndexes, '
                              'AllSheets)\n')
        self.assertEqual(out, run("read", "--set", "Sheets=Data", TWO_SHEETS)[1])

    def test_a_value_that_does_not_parse_names_its_key(self):
        for key, value in (("ReadOrder", "x"), ("UseIndexes", "maybe"), ("ReadOrder", "1.5")):
            status, out, err = run("read", "--set", "%s=%s" % (key, value), TWO_SHEETS)
            self.assertEqual(status, 1, key)
            self.assertEqual(out, "")
            self.assertIn('--set %s=%s: the key "%s" takes' % (key, value, key), err)


    def test_a_list_key_takes_semicolon_separated_items(self):
        spectra = os.path.join(DATA, "spc", "float-multi.spc")
        status, out, err = run("read", "--set", "IncludeAllValues=false",
                               "--set", "NumberOfIncludedIntervals=2",
                               "--set", "IncludeXStartPt=100;104", "--set", "IncludeXEndPt=100;104",
                               spectra)
        self.assertEqual((status, err), (0, ""))
        self.assertEqual(out.splitlines()[0], "Primary ID,Name,um,t 100,t 104")


class DetectionByContent(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.TemporaryDirectory()

    def tearDown(self):
        self.dir.cleanup()

    def copy(self, source, name):
        path = os.path.join(self.dir.name, name)
        with open(source, "rb") as src, open(path, "wb") as dst:
            dst.write(src.read())
        return path

    def write(self, name, data):
        path = os.path.join(self.dir.name, name)
        with open(path, "wb") as f:
            f.write(data)
        return path

    def test_a_workbook_is_read_as_one_whatever_its_name(self):
        expected = run("read", "--quiet", TWO_SHEETS)[1]
        for name in ("book.xlsm", "book.xltx", "book", "book.csv"):
            path = self.copy(TWO_SHEETS, name)
            self.assertEqual(run("read", "--quiet", path), (0, expected, ""), name)
            self.assertIn("chosen: 10 Excel2007 File", run("detect", path)[1])
        expected = run("read", BIFF8)[1]
        for name in ("book.dat", "book.txt", "book"):
            path = self.copy(BIFF8, name)
            self.assertEqual(run("read", path), (0, expected, ""), name)

    def test_a_bare_biff_stream_is_an_excel_file(self):
        status, out, err = run("detect", os.path.join(CORPUS, "xls", "1900.biff5"))
        self.assertEqual((status, err), (0, ""))
        self.assertTrue(out.endswith("chosen: 9 Excel File\n"), out)

    def test_binary_content_nothing_recognises_is_refused_unless_a_format_is_named(self):
        # An executable's bytes: header, NUL padding, code.
        data = b"\x7fELF\x02\x01\x01" + bytes(57) + bytes(range(256)) * 64
        for name in ("tool", "tool.csv", "tool.txt"):
            path = self.write(name, data)
            refusal = ("zmimport: no format recognises %s (binary content); name one with "
                       "--format\n" % path)
            self.assertEqual(run("read", path), (1, "", refusal), name)
            status, out, err = run("detect", path)
            self.assertEqual((status, err), (1, refusal))
            self.assertTrue(out.endswith("chosen: none\n"))
            with tempfile.TemporaryDirectory() as folder:
                status, _, err = run("convert", path, os.path.join(folder, "out.txt"))
                self.assertEqual((status, err), (1, refusal))
            status, out, _ = run("read", "--format", "CSV File", path)
            self.assertEqual(status, 0)
            self.assertNotEqual(out, "")

    def test_texts_with_a_stray_nul_or_in_utf16_are_still_read(self):
        stray = self.write("stray.csv", b"a,b\n1,2\x00\n3,4\n")
        self.assertEqual(run("read", stray)[0], 0)
        wide = self.write("wide.txt", "x\ty\n1\t2\n".encode("utf-16-le") * 50)
        status, out, _ = run("read", wide)
        self.assertEqual(status, 0)
        self.assertIn("1,2", out)



def largest_files():
    """The largest file of every fixture folder and corpus family."""
    folders = [os.path.join(DATA, d) for d in sorted(os.listdir(DATA))]
    if os.path.isdir(CORPUS):
        folders += [os.path.join(CORPUS, d) for d in sorted(os.listdir(CORPUS))]
    for folder in folders:
        if not os.path.isdir(folder):
            continue
        files = [os.path.join(folder, f) for f in os.listdir(folder)]
        files = [f for f in files if os.path.isfile(f) and not f.endswith((".py", ".md", ".sh",
                                                                            ".js", ".tsv"))]
        if files:
            yield max(files, key=os.path.getsize)


class PipesAndProgress(unittest.TestCase):
    def same_through_pipe_and_file(self, path, to):
        with tempfile.TemporaryDirectory() as folder:
            target = os.path.join(folder, "out")
            status, _, _ = run("read", "--quiet", "--to", to, path, "-o", target)
            if status != 0:
                return False
            piped = subprocess.run([ZMIMPORT, "read", "--quiet", "--to", to, path],
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=300)
            with open(target, "rb") as f:
                written = f.read()
            self.assertEqual(piped.returncode, 0, (path, to, piped.stderr))
            self.assertEqual(piped.stdout, written, (path, to))
            return True

    def test_every_formats_largest_fixture_gives_the_same_bytes_to_a_pipe(self):
        compared = 0
        for path in largest_files():
            for to in ("csv", "json"):
                compared += self.same_through_pipe_and_file(path, to)
        self.assertGreater(compared, 20)

    def test_a_matrix_read_column_by_column_goes_to_a_pipe_whole(self):
        import numpy
        import scipy.io
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "m.mat")
            values = numpy.arange(4000 * 300, dtype=float).reshape(4000, 300) / 7
            scipy.io.savemat(path, {"X": values})
            for to in ("csv", "json"):
                self.assertTrue(self.same_through_pipe_and_file(path, to))
            piped = subprocess.run([ZMIMPORT, "read", path], stdout=subprocess.PIPE, timeout=300)
            rows = piped.stdout.decode().splitlines()
            self.assertEqual(len(rows), 4000)
            self.assertEqual(len(rows[1].split(",")), 300)
        # The sheet of 1.2 million numbers is held, not the text printed from it.
        peak_kib = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss
        self.assertLess(peak_kib, 400 * 1024)

    def progress_output(self, *args):
        """What the program writes to standard error when that is a terminal."""
        master, slave = pty.openpty()
        env = dict(os.environ, ZMIMPORT_PROGRESS_AFTER_MS="0")
        done = subprocess.run([ZMIMPORT, *args], stdout=subprocess.DEVNULL, stderr=slave,
                              env=env, timeout=300)
        os.close(slave)
        data = b""
        while True:
            try:
                chunk = os.read(master, 65536)
            except OSError:
                break
            if not chunk:
                break
            data += chunk
        os.close(master)
        return done.returncode, data.decode()

    def test_progress_shows_on_a_terminal_only_and_not_with_quiet(self):
        big = os.path.join(self.enterContext(tempfile.TemporaryDirectory()), "big.csv")
        with open(big, "w") as f:
            f.write("a,b,c\n" + "1,2,3\n" * 60000)
        status, err = self.progress_output("read", big)
        self.assertEqual(status, 0)
        # Text readers tell the bytes read of the file's 360006.
        self.assertRegex(err, r"\rreading \d+\.\d kB of 360\.0 kB \(\d\d%\), \d+\.\d [kM]B/s, "
                              r"\d+ s left")
        import numpy
        import scipy.io
        matrix = big + ".mat"
        scipy.io.savemat(matrix, {"X": numpy.ones((200, 100))})
        status, err = self.progress_output("read", matrix)
        self.assertEqual(status, 0)
        self.assertRegex(err, r"\rreading cells 4096/20000 \(20%\), \d+ cells/s, \d+ s left")
        # A read of several files counts the bytes of all of them: the first of two
        # spectra of 556 bytes each is read.
        status, err = self.progress_output("read", os.path.join(DATA, "spc", "merge-400.spc"),
                                           os.path.join(DATA, "spc", "merge-400-00001.spc"))
        self.assertEqual(status, 0)
        self.assertRegex(err, r"^\rreading 0\.6 kB of 1\.1 kB \(50%\), ")
        # The line is wiped at the end: the last thing written is a carriage return.
        self.assertTrue(err.endswith("\r"))
        self.assertEqual(self.progress_output("read", "--quiet", big), (0, ""))
        piped = subprocess.run([ZMIMPORT, "read", big], stdout=subprocess.DEVNULL,
                               stderr=subprocess.PIPE, env=dict(os.environ,
                                                                ZMIMPORT_PROGRESS_AFTER_MS="0"))
        self.assertEqual(piped.stderr, b"")


if __name__ == "__main__":
    ZMIMPORT = os.path.abspath(sys.argv.pop(1))
    unittest.main()
