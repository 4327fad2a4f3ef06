#!/usr/bin/python3
"""Runs the built zmimport program on files made here and checks its output and exit status.

Usage: end_to_end.py PATH/TO/zmimport
"""
import os
import re
import struct
import subprocess
import sys
import tempfile
import unittest

ZMIMPORT = None
SANITIZED = False

FORMATS = [
    ("Brimrose File", "Brimrose Files (*.dat)"),
    ("Brookside File", "Brookside Files (*.trn; *.pkg)"),
    ("Brookside Ver. 2.6 XML File", "Brookside Ver. 2.6 XML Files (*.xml)"),
    ("Bruker OPUS File", "Bruker OPUS File (*.*)"),
    ("Bruker OPUS Interpolated File", "Bruker OPUS Interpolated File (*.*)"),
    ("CSV File", "CSV Files (*.csv)"),
    ("DEXAN File", "DEXAN Files (*.mip; *.dat)"),
    ("DIF File", "DIF Files (*.dif)"),
    ("Excel File", "Excel 97-2003 Workbook (*.xl*)"),
    ("Excel2007 File", "Excel Workbook (*.xlsx; *.xlsb)"),
    ("GalacticSPC File", "Galactic SPC Files (*.spc)"),
    ("HPLC ChemStation File", "HPLC ChemStation Files (*.ch, *.uv)"),
    ("JCAMP-DX File", "JCAMP-DX Files (*.jcm; *.dx; *.jdx)"),
    ("Lotus 1-2-3 File", "Lotus 1-2-3 Files (*.wks; *.wk1)"),
    ("Matlab File", "Matlab Files (*.mat)"),
    ("NSAS File", "NSAS Files (*.da)"),
    ("NetCDF Files", "NetCDF Files (*.nc; *.cdf) (MVACDF, ANDI)"),
    ("TAVIX project file", "TAVIX project file (*.tvp)"),
    ("Text File", "Text Files (*.txt; *.dat)"),
    ("Text UTF-8 File", "Text UTF-8 Files (*.txt; *.dat)"),
    ("Thermo SIEVE File", "Thermo SIEVE Files (*.txt)"),
    ("Unscrambler File", "Unscrambler Files (*.uns; *.inp)"),
]


def brimrose(spectra, first=1100.0, increment=2.0):
    """A Brimrose spectra file: 512-byte header, then per spectrum a 128-byte sub-header
    (time stamp, label) and one float32 per point."""
    points = len(spectra[0][1]) if spectra else 3
    header = bytearray(512)
    struct.pack_into("<I", header, 0, 0x0D0C10FF)
    struct.pack_into("<fff", header, 29, first, first + increment * (points - 1), increment)
    struct.pack_into("<H", header, 41, points)
    struct.pack_into("<H", header, 45, len(spectra))
    body = bytes(header)
    for stamp, values in spectra:
        sub = bytearray(128)
        struct.pack_into("<I", sub, 0, stamp)
        sub[4:10] = b"label\0"
        body += bytes(sub) + struct.pack("<%df" % len(values), *values)
    return body


def spc(ys, first=10.0, last=12.0):
    """A new-format SPC file of one spectrum with float y values."""
    header = bytearray(512)
    struct.pack_into("<BBBbIddi", header, 0, 0, 0x4B, 0, -128, len(ys), first, last, 1)
    header[28] = 3  # x in nm
    return bytes(header) + bytes(32) + struct.pack("<%df" % len(ys), *ys)


def run(*args):
    env = dict(os.environ, TZ="UTC")
    done = subprocess.run([ZMIMPORT, *args], capture_output=True, env=env, timeout=60)
    return done.returncode, done.stdout.decode("utf-8"), done.stderr.decode("utf-8")


class CommandLine(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.TemporaryDirectory()
        self.spectra = self.write("spectra.dat", brimrose([
            (0, [0.1, 0.5, -1.25]),
            (86400 + 3661, [1e-3, 2.0, float("nan")]),
        ]))

    def tearDown(self):
        self.dir.cleanup()

    def write(self, name, data):
        path = os.path.join(self.dir.name, name)
        with open(path, "wb") as f:
            f.write(data)
        return path

    def test_formats_lists_the_registry_in_order(self):
        status, out, _ = run("formats")
        self.assertEqual(status, 0)
        lines = out.splitlines()
        header = lines[0]
        starts = [header.index(c) for c in ("name", "filter", "extensions", "read", "write")]
        rows = []
        for line in lines[1:]:
            cells = [line[:starts[0]]] + [line[a:b] for a, b in zip(starts, starts[1:] + [None])]
            rows.append([c.strip() for c in cells])
        self.assertEqual([(r[1], r[2]) for r in rows], FORMATS)
        self.assertEqual([r[0] for r in rows], [str(i) for i in range(1, 23)])
        self.assertEqual(rows[13][3], ".wks .wk1 .wrk .wr1")
        self.assertEqual((rows[18][4], rows[18][5]), ("yes", "yes"))  # Text File
        self.assertEqual((rows[19][4], rows[19][5]), ("no", "yes"))   # Text UTF-8 File

    def test_detect_chooses_brimrose_by_content(self):
        status, out, _ = run("detect", self.spectra)
        self.assertEqual(status, 0)
        self.assertRegex(out, r"(?m)^ 1  Brimrose File +surely$")
        self.assertEqual(out.splitlines()[-1], "chosen: 1 Brimrose File")

    def test_detect_without_a_file_fails(self):
        missing = os.path.join(self.dir.name, "x.unclaimed")
        status, out, err = run("detect", missing)
        self.assertEqual(status, 1)
        self.assertEqual(out.splitlines()[-1], "chosen: none")
        self.assertEqual(err, "zmimport: %s: The file does not exist.\n" % missing)
        status, _, err = run("read", self.dir.name)
        self.assertEqual(status, 1)
        self.assertIn("Directories can not be imported.", err)

    def test_files_that_are_not_regular_are_refused_at_once(self):
        # A FIFO without a writer blocks any read, /dev/zero never ends: both are refused
        # before a reader or detection sees them.
        fifo = os.path.join(self.dir.name, "pipe.csv")
        os.mkfifo(fifo)
        fifo_text = "'%s' is a pipe (FIFO), not a regular file, and cannot be imported." % fifo
        for args in (("read", fifo, "--format", "CSV File"), ("read", fifo)):
            status, out, err = run(*args)
            self.assertEqual((status, out), (1, ""), args)
            self.assertEqual(err, "zmimport: %s: %s\n" % (fifo, fifo_text), args)
        status, out, err = run("detect", fifo)
        self.assertEqual(status, 1)
        self.assertNotRegex(out, r"(?m)(surely|plausible|can read)$")
        self.assertEqual(out.splitlines()[-1], "chosen: none")
        status, out, err = run("read", "/dev/zero", "--format", "DEXAN File")
        self.assertEqual((status, out), (1, ""))
        self.assertIn("'/dev/zero' is a character device, not a regular file", err)

    def test_read_to_csv(self):
        status, out, err = run("read", self.spectra)
        self.assertEqual((status, err), (0, ""))
        self.assertEqual(out, "SampleNo,DateTime,w1100,w1102,w1104\n"
                              "1,1970-01-01/00:00:00,0.1,0.5,-1.25\n"
                              "2,1970-01-02/01:01:01,0.001,2,NaN\n")

    def test_read_to_json_and_tsv_file(self):
        status, out, _ = run("read", self.spectra, "--to", "json", "--format", "1")
        self.assertEqual(status, 0)
        self.assertEqual(out, '{"columns": 5, "rows": 3, "cells": [\n'
                              '  ["SampleNo", "DateTime", "w1100", "w1102", "w1104"],\n'
                              '  [1, "1970-01-01/00:00:00", 0.1, 0.5, -1.25],\n'
                              '  [2, "1970-01-02/01:01:01", 0.001, 2, null]\n'
                              ']}\n')
        target = os.path.join(self.dir.name, "out.tsv")
        status, out, _ = run("read", self.spectra, "--to=tsv", "-o", target)
        self.assertEqual((status, out), (0, ""))
        with open(target, encoding="utf-8") as f:
            self.assertEqual(f.readline(), "SampleNo\tDateTime\tw1100\tw1102\tw1104\n")

    def test_several_spc_files_become_one_sheet(self):
        a = self.write("a.spc", spc([1.0, 2.0, 3.0]))
        b = self.write("b.SPC", spc([4.0, 5.0, 6.5]))
        c = self.write("c.spc", spc([7.0, 8.0, 9.0]))
        status, out, err = run("read", a, b, c)
        self.assertEqual((status, err), (0, ""))
        self.assertEqual(out, "Primary ID,Name,Z,t 10,t 11,t 12\n"
                              "1,nm,,10,11,12\n"
                              "2,a,,1,2,3\n"
                              "3,b,,4,5,6.5\n"
                              "4,c,,7,8,9\n")
        other = self.write("d.spc", spc([1.0, 2.0, 3.0], first=10.0, last=14.0))
        status, _, err = run("read", a, other)
        self.assertEqual(status, 1)
        # The error names the file that does not fit, not the whole list.
        self.assertEqual(err, "zmimport: %s: The data did not have the same X-spacing.\n" % other)

    def test_reader_errors_exit_with_status_1_and_the_readers_text(self):
        other = self.write("other.dat", b"1,2,3\n")
        status, out, err = run("read", other, "--format", "Brimrose File")
        self.assertEqual((status, out), (1, ""))
        self.assertEqual(err, "zmimport: %s: The file does not seem to be a valid Brimrose file.\n"
                         % other)

        with open(self.spectra, "rb") as f:
            cut = self.write("cut.dat", f.read()[:700])
        status, _, err = run("read", cut)
        self.assertEqual(status, 1)
        self.assertIn("Could not read the whole sub header", err)

        project = self.write("a.tvp", b"data")
        status, _, err = run("read", project, "--format", "TAVIX project file")
        self.assertEqual(status, 1)
        self.assertEqual(err, "zmimport: %s: This function is not implemented for this file "
                         "format.\n" % project)

    def test_usage_errors_exit_with_status_2(self):
        for args in ([], ["read", self.spectra, "--format", "No Such Format"],
                     ["read", self.spectra, "--format", "23"], ["read", self.spectra, "--to", "xml"],
                     ["convertify"], ["detect"]):
            status, out, err = run(*args)
            self.assertEqual(status, 2, args)
            self.assertTrue(err.startswith("zmimport: "), args)

    def test_help_and_version(self):
        status, out, _ = run("--help")
        self.assertEqual(status, 0)
        for command in ("formats", "detect FILE", "read FILE", "options FILE"):
            self.assertIn("zmimport " + command, out)
        status, out, _ = run("--version")
        self.assertEqual(status, 0)
        self.assertRegex(out, r"^zmimport \d+\.\d+\.\d+\n$")

    def test_options_of_a_format_without_options(self):
        status, out, _ = run("options", self.spectra, "--format", "Brimrose File")
        self.assertEqual(status, 0)
        self.assertEqual(out, 'The format "Brimrose File" has no options.\n')

    def test_options_written_back_while_reading_are_shown(self):
        table = self.write("t.csv", b"a;b\n1;2\n")
        status, out, _ = run("options", table)
        self.assertEqual(status, 0)
        self.assertIn("<Delimiter>,</Delimiter>", out)
        self.assertIn("<Encoding></Encoding>", out)

    def test_set_builds_the_settings_over_the_readers_defaults(self):
        table = self.write("s.csv", b"a;b\n1;2\n")
        status, out, _ = run("read", table, "--set", "Delimiter=;")
        self.assertEqual((status, out), (0, "a,b\n1,2\n"))
        status, out, _ = run("read", table, "--set=Delimiter=,", "--to", "tsv")
        self.assertEqual((status, out), (0, "a;b\n1;2\n"))
        status, _, err = run("read", table, "--set", "Delimiter")
        self.assertEqual(status, 2)
        self.assertIn("--set takes KEY=VALUE", err)

    def test_writer_options_that_cannot_be_honoured_are_refused(self):
        table = self.write("t.csv", b"a,b\n 1.5 ,2\n")
        status, _, err = run("convert", table, os.path.join(self.dir.name, "t.dif"),
                             "--encoding", "utf16le")
        self.assertEqual(status, 2)
        self.assertIn("--encoding is not supported", err)
        status, _, err = run("convert", table, os.path.join(self.dir.name, "t.txt"),
                             "--encoding", "klingon")
        self.assertEqual(status, 2)
        self.assertIn("unknown encoding key 'klingon'", err)
        # Blanks around a number do not keep it from being one.
        status, out, _ = run("read", table, "--to", "json")
        self.assertEqual(status, 0)
        self.assertIn("[1.5, 2]", out.replace(",\n", ", ").replace("\n", ""))

    def test_a_pipe_receives_rows_while_they_are_read(self):
        # Text read into a pipe: four times the rows cost hardly more memory, where the
        # command once held the whole output until the end.
        def peak_and_size(count):
            rows = b"".join(b"%d\t%d.25\tname %d\n" % (i, i * 7, i) for i in range(count))
            table = self.write("big%d.txt" % count, rows)
            script = "'%s' read '%s' --to json | wc -c" % (ZMIMPORT, table)
            done = subprocess.run(["/usr/bin/time", "-f", "%M", "sh", "-c", script],
                                  capture_output=True, timeout=300)
            self.assertEqual(done.returncode, 0)
            peak_kib = int(done.stderr.decode().strip().splitlines()[-1])
            return peak_kib * 1024, int(done.stdout.decode().split()[0])
        small_peak, small_size = peak_and_size(300000)
        big_peak, big_size = peak_and_size(1200000)
        self.assertLess(big_peak - small_peak, (big_size - small_size) // 4)
    def test_long_lines_cost_about_their_size_once(self):
        if SANITIZED:
            self.skipTest("AddressSanitizer keeps freed memory in quarantine; the plain "
                          "build measures")
        # A DIF file refused for one endless string, and a text file of one long line.
        def peak(path, *extra):
            done = subprocess.run(["/usr/bin/time", "-f", "%M", ZMIMPORT, "read", path, "-o",
                                   os.devnull, *extra], capture_output=True, timeout=120)
            return done.returncode, int(done.stderr.decode().strip().splitlines()[-1]) * 1024
        size = 60 * 1000 * 1000
        refused = self.write("long.dif", b'TABLE\n0,1\n""\nVECTORS\n0,1\n"' + b"a" * size)
        status, used = peak(refused)
        self.assertEqual(status, 1)
        self.assertLess(used, size * 3 // 2)
        # The command line holds the one cell it prints as well: twice at most.
        line = self.write("long.txt", b"a" * size)
        status, used = peak(line)
        self.assertEqual(status, 0)
        self.assertLess(used, size * 5 // 2)


if __name__ == "__main__":
    ZMIMPORT = sys.argv.pop(1)
    SANITIZED = b"asan" in subprocess.run(["ldd", ZMIMPORT], capture_output=True).stdout
    unittest.main(verbosity=1)
