"""The real netCDF corpus and the fixtures, read by zmimport and checked value by value
against netCDF4-python, or refused with the reader's own message.

Chromatograms: one row per file, the retention time of column j being
delay + j * interval, the values those of "ordinate_values". MVACDF files: one row per
observation, values of "observation" with the missing-value marker left empty.
Values are compared in float32 for chromatograms (the sheet's number type) and exactly
for MVACDF doubles and integers.
Usage: netcdf_corpus.py ZMIMPORT CORPUS_DIR FIXTURE_DIR
"""
import json
import math
import os
import subprocess
import sys
import unittest

import netCDF4
import numpy as np

ZMIMPORT = CORPUS = FIXTURES = None

GCMS = "This NetCDF file contains the raw data from one GcMS run."
UNKNOWN = "The NetCDF template used to create this file is not recognized by"
REFUSED = {
    "P071.CDF": GCMS,
    "andi_ms_centroid.cdf": GCMS,
    "andi_ms_continuum.cdf": GCMS,
    "madis-sao.nc": UNKNOWN,
    "non_andi.cdf": UNKNOWN,
    "dummy.cdf": "The file does not seem to be a valid NetCDF file.",
}


def zmimport(*paths):
    done = subprocess.run([ZMIMPORT, "read", *paths, "--to", "json"], capture_output=True,
                          timeout=300)
    return done.returncode, done.stdout.decode("utf-8"), done.stderr.decode("utf-8")


def f32(v):
    return float(np.float32(v))


class NetCDFCorpus(unittest.TestCase):
    def read(self, *paths):
        code, out, err = zmimport(*paths)
        self.assertEqual(code, 0, err)
        return json.loads(out)["cells"]

    def check_chromatograms(self, paths):
        cells = self.read(*paths)
        self.assertEqual(cells[0][:2], ["Primary ID", "Name"])
        longest = 0
        for k, path in enumerate(paths):
            with netCDF4.Dataset(path) as ds:
                delay = f32(ds["actual_delay_time"][...])
                interval = f32(ds["actual_sampling_interval"][...])
                values = np.asarray(ds["ordinate_values"][:], dtype=np.float32)
                row = cells[2 + k]
                title = os.path.splitext(os.path.basename(path))[0]
                self.assertEqual(row[1], "%s: %s" % (title, ds.sample_name))
            longest = max(longest, len(values))
            self.assertEqual([f32(v) for v in row[2:2 + len(values)]], values.tolist())
            self.assertTrue(all(v is None for v in row[2 + len(values):]))
        self.assertEqual(len(cells[0]), longest + 2)
        times = [f32(delay + j * interval) for j in range(longest)]
        self.assertEqual([f32(v) for v in cells[1][2:]], times)
        return longest * len(paths)

    def check_mvacdf(self, path):
        cells = self.read(path)
        with netCDF4.Dataset(path) as ds:
            ds.set_auto_mask(False)
            data = ds["observation"][:]
            marker = getattr(ds, "missing_value", None)
        compared = 0
        for i, row in enumerate(data):
            for j, value in enumerate(row):
                ours = cells[1 + i][2 + j]
                if marker == "nan" and math.isnan(value) or (
                        marker not in (None, "nan") and value == np.asarray(float(marker),
                                                                            data.dtype)):
                    self.assertIsNone(ours)
                else:
                    self.assertEqual(ours, value.item() if data.dtype.kind in "iu"
                                     else f32(value) if data.dtype == np.float32
                                     else value.item())
                compared += 1
        return compared

    def test_corpus(self):
        names = sorted(os.listdir(CORPUS))
        self.assertEqual(len(names), 8)
        compared = 0
        for name in names:
            path = os.path.join(CORPUS, name)
            with self.subTest(file=name):
                if name in REFUSED:
                    code, out, err = zmimport(path)
                    self.assertNotEqual(code, 0)
                    self.assertIn(REFUSED[name], err)
                else:
                    compared += self.check_chromatograms([path])
        self.assertGreater(compared, 4651)

    def test_fixtures(self):
        fixture = lambda name: os.path.join(FIXTURES, name)
        self.check_chromatograms([fixture("aia_run1.cdf"), fixture("aia_run2.cdf")])
        self.check_chromatograms([fixture("aia_minutes.cdf")])
        for name in ("mva_float.cdf", "mva_double.nc", "mva_byte.cdf", "mva_long.cdf"):
            with self.subTest(file=name):
                self.assertGreater(self.check_mvacdf(fixture(name)), 0)
        code, out, err = zmimport(fixture("aia_run1.cdf"), fixture("aia_interval_0.25.cdf"))
        self.assertIn("not all selected files had the same sampling interval", err)


if __name__ == "__main__":
    ZMIMPORT, CORPUS, FIXTURES = sys.argv[1:4]
    unittest.main(argv=sys.argv[:1])
