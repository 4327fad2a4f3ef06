#!/usr/bin/python3
"""Runs the built zmimport program with plug-in folders: the example x/y plug-in and the
scripted driver test plug-in. Checks that plug-in formats are listed, detected and read
beside the program's own.

Usage: plugins_end_to_end.py ZMIMPORT XY_PLUGIN_DIR SAMPLE_XY DRIVER_PLUGIN_DIR
"""
import os
import subprocess
import sys
import tempfile
import unittest

ZMIMPORT = XY_DIR = SAMPLE = DRIVER_DIR = None

SAMPLE_CSV = ("x,620.5,795.2,1001.4,1031.8,1155.3,1583.1,1602.3,2904.7,3054.6\n"
              "sample,0.184,0.102,1,0.271,0.117,0.145,0.412,0.196,0.633\n")


def run(*args):
    done = subprocess.run([ZMIMPORT, *args], capture_output=True, timeout=60)
    return done.returncode, done.stdout.decode("utf-8"), done.stderr.decode("utf-8")


def format_rows(out):
    """The 'formats' table as (index, name) pairs."""
    lines = out.splitlines()
    start = lines[0].index("name")
    stop = lines[0].index("filter")
    return [(line[:start].strip(), line[start:stop].strip()) for line in lines[1:]]


class Plugins(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.TemporaryDirectory()

    def tearDown(self):
        self.dir.cleanup()

    def script(self, name, directives=""):
        path = os.path.join(self.dir.name, name)
        with open(path, "w") as f:
            f.write("#dtf\n" + directives)
        return path

    def test_formats_lists_the_plugin_beside_the_programs_own(self):
        status, out, _ = run("formats")
        self.assertEqual(status, 0)
        own = format_rows(out)
        self.assertEqual(len(own), 22)

        status, out, _ = run("formats", "--plugins", XY_DIR)
        self.assertEqual(status, 0)
        rows = format_rows(out)
        self.assertEqual(rows[:22], own)
        self.assertEqual(rows[22:], [("23", "XY Spectrum")])
        self.assertRegex(out, r"(?m)^23  XY Spectrum +XY Spectra \(\*\.xy\) +\.xy +yes +no$")

    def test_detect_and_read_choose_the_plugin_by_content(self):
        status, out, _ = run("detect", SAMPLE, "--plugins", XY_DIR)
        self.assertEqual(status, 0)
        self.assertRegex(out, r"(?m)^23  XY Spectrum +surely$")
        self.assertEqual(out.splitlines()[-1], "chosen: 23 XY Spectrum")

        self.assertEqual(run("read", SAMPLE, "--plugins", XY_DIR), (0, SAMPLE_CSV, ""))
        self.assertEqual(run("read", SAMPLE, "--format", "XY Spectrum", "--plugins", XY_DIR),
                         (0, SAMPLE_CSV, ""))
        # Without the folder the plug-in's format is unknown.
        status, _, err = run("read", SAMPLE, "--format", "XY Spectrum")
        self.assertEqual(status, 2)
        self.assertIn("unknown format 'XY Spectrum'", err)

    def test_several_files_of_a_multi_file_plugin_format_are_read_together(self):
        files = [self.script("a.dts"), self.script("b.dts"), self.script("c.dts")]
        status, out, err = run("read", *files, "--plugins", DRIVER_DIR)
        self.assertEqual((status, err), (0, ""))
        # Three rows of the first file's script, one more per further file.
        self.assertEqual(out, "C1,C2\n201.5,202.5\n301.5,302.5\n401.5,402.5\n501.5,502.5\n")

        single = [self.script("a.dtf"), self.script("b.dtf")]
        status, _, err = run("read", *single, "--plugins", DRIVER_DIR)
        self.assertEqual(status, 2)
        self.assertIn("reads one file at a time", err)

    def test_plugin_failures_carry_the_plugins_text(self):
        broken = self.script("broken.dtf", "fail read\nerror Record 7 is cut short.\n")
        status, out, err = run("read", broken, "--plugins", DRIVER_DIR)
        self.assertEqual((status, out), (1, ""))
        self.assertEqual(err, "zmimport: %s: Record 7 is cut short.\n" % broken)
        warned = self.script("warned.dtf", "warning Values were clipped.\n")
        status, _, err = run("read", warned, "--plugins", DRIVER_DIR)
        self.assertEqual(status, 0)
        self.assertEqual(err, "zmimport: %s: warning: Values were clipped.\n" % warned)


if __name__ == "__main__":
    ZMIMPORT, XY_DIR, SAMPLE, DRIVER_DIR = sys.argv[1:5]
    del sys.argv[1:5]
    unittest.main(verbosity=1)
