"""A table converted to a MAT file by `zmimport convert` loads in two independent readers,
scipy.io.loadmat and matio's matdump, with the same values: the data block as DATA, the
row names as OBSID1 and the column names as VARID1, a missing cell as NaN.
Usage: mat_writer_interop.py ZMIMPORT
"""
import math
import os
import subprocess
import sys
import tempfile
import unittest

import scipy.io

ZMIMPORT = None
TABLE = "id,alpha,beta,gamma\nr1,1,2.5,-3\nr22,,4,1e10\nr3,0.125,,7\n"
DATA = [[1, 2.5, -3], [math.nan, 4, 1e10], [0.125, math.nan, 7]]


def same(a, b):
    return (math.isnan(a) and math.isnan(b)) or a == b


class MatWriterInterop(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.dir = tempfile.TemporaryDirectory()
        table = os.path.join(cls.dir.name, "table.csv")
        cls.mat = os.path.join(cls.dir.name, "table.mat")
        with open(table, "w") as f:
            f.write(TABLE)
        done = subprocess.run([ZMIMPORT, "convert", table, cls.mat], capture_output=True)
        assert done.returncode == 0, done.stderr.decode()

    @classmethod
    def tearDownClass(cls):
        cls.dir.cleanup()

    def test_scipy_reads_data_and_ids(self):
        self.assertEqual(scipy.io.matlab.matfile_version(self.mat)[0], 0)  # Level 4
        content = scipy.io.loadmat(self.mat)
        data = content["DATA"]
        self.assertEqual(data.shape, (3, 3))
        for r in range(3):
            for c in range(3):
                self.assertTrue(same(float(data[r, c]), DATA[r][c]), (r, c, data[r, c]))
        self.assertEqual([s.rstrip() for s in content["OBSID1"]], ["r1", "r22", "r3"])
        self.assertEqual([s.rstrip() for s in content["VARID1"]], ["alpha", "beta", "gamma"])

    def test_matio_reads_the_same_values(self):
        done = subprocess.run(["matdump", "-d", self.mat, "DATA"], capture_output=True,
                              check=True)
        rows = [line.split() for line in done.stdout.decode().splitlines() if line.strip()]
        values = [[float(v) for v in row] for row in rows]
        self.assertEqual(len(values), 3)
        for r in range(3):
            for c in range(3):
                self.assertTrue(same(values[r][c], DATA[r][c]), (r, c, values[r][c]))
        done = subprocess.run(["matdump", "-d", self.mat, "OBSID1"], capture_output=True,
                              check=True)
        self.assertIn("Character Array", done.stdout.decode())
        self.assertIn("r22", done.stdout.decode())


if __name__ == "__main__":
    ZMIMPORT = sys.argv[1]
    del sys.argv[1:2]
    unittest.main(verbosity=1)
