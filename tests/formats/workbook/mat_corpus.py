"""Every file of the real MAT corpus, read by zmimport and checked value by value against
scipy.io.loadmat (an independent reader); files that must be refused are refused with
their own message.

The sheet the library makes of a file, as the comparison rebuilds it from scipy's arrays:
- Level 4: one matrix; a file with several is read once per matrix, chosen by name.
- Level 5: every numeric, logical, sparse and character array side by side, in file
  order; cells, structures, objects and functions are passed over.
- An array of more than two dimensions is its first dimension by the rest, in the file's
  column-major order; a character array is one text per row without trailing blanks.
- Not-a-number and infinities are missing cells; the zeros of a sparse matrix are 0.
- Both byte orders of Level 5 files are read.
A second test writes the name matrices (OBSNAM, OBSNUM, VARNAM, VARNUM) with a data matrix
in every order, as Level 4, Level 5 and compressed Level 5 files, with scipy.io.savemat:
observation names and numbers are columns left of the data, variable names and numbers
rows above it, names before numbers, whatever the order in the file.
Usage: mat_corpus.py ZMIMPORT CORPUS_DIR
"""
import itertools
import json
import math
import os
import subprocess
import sys
import tempfile
import unittest

import numpy as np
import scipy.io
import scipy.sparse

ZMIMPORT = CORPUS = None

CORRUPT = "The file seems to be corrupt and cannot be imported."
BAD_MATRIX = "An error occurred while reading a matrix in the file. " + CORRUPT
NO_DATA = "No data found."
IMAGINARY = "Can not handle imaginary data."
# Files refused on purpose, with the start of the message.
REFUSED = {
    "corrupted_zlib_checksum.mat": "An error occurred while reading the file. " + CORRUPT,
    "corrupted_zlib_data.mat": "An error occurred while reading the file. " + CORRUPT,
    "debigged_m4.mat": BAD_MATRIX,  # a row count far beyond the file
    "malformed1.mat": BAD_MATRIX,
    "matio_v4_int32_complex_2x2.mat": "Complex data.",
    "testsparsecomplex_4.2c_SOL2.mat": "Complex data.",
    "testcomplex_6.5.1_GLNX86.mat": IMAGINARY,
    "testcomplex_7.4_GLNX86.mat": IMAGINARY,
    "testcomplex_6.1_SOL2.mat": IMAGINARY,  # big-endian
    "testsparsecomplex_6.5.1_GLNX86.mat": IMAGINARY,
    "testsparsecomplex_7.4_GLNX86.mat": IMAGINARY,
    "test_empty_struct.mat": NO_DATA,
    "testcell_7.4_GLNX86.mat": NO_DATA,
    "testfunc_7.4_GLNX86.mat": NO_DATA,
    "parabola.mat": NO_DATA,  # a function handle
    "testmatlabstring_7_WIN64.mat": NO_DATA,  # a string object
    "testobject_6.5.1_GLNX86.mat": NO_DATA,
    "teststruct_7.4_GLNX86.mat": NO_DATA,
    "teststruct_6.1_SOL2.mat": NO_DATA,  # big-endian
    "teststructarr_7.4_GLNX86.mat": NO_DATA,
    "testhdf5_7.4_GLNX86.mat": "The file seems to be created by an unsupported version of MATLAB.",
}
def read(path, workdir, matrix=None):
    command = [ZMIMPORT, "read", path, "--format", "Matlab File", "--to", "json"]
    if matrix is not None:
        options = os.path.join(workdir, "options.xml")
        with open(options, "w") as f:
            f.write("<Configuration><Settings><Sheets>%s</Sheets></Settings></Configuration>"
                    % matrix)
        command += ["--options", options]
    done = subprocess.run(command, capture_output=True, timeout=60)
    return done.returncode, done.stdout.decode("utf-8"), done.stderr.decode("utf-8")


def block(value):
    """A variable as a 2-D list of expected cells, or None when it is no data."""
    if scipy.sparse.issparse(value):
        dense = value.toarray().astype(float)
        return [[v if math.isfinite(v) else None for v in row] for row in dense]
    if not isinstance(value, np.ndarray) or value.dtype.kind not in "biufU":
        return None
    if value.dtype.kind == "U":
        texts = value.reshape(-1, order="F") if value.ndim else [value.item()]
        return [[t.rstrip(" \0") or None] for t in texts]
    if value.size == 0:
        return []
    grid = value.reshape(value.shape[0], -1, order="F")
    return [[float(v) if math.isfinite(float(v)) else None for v in row] for row in grid]


def side_by_side(blocks):
    rows = max(len(b) for b in blocks)
    out = [[] for _ in range(rows)]
    for b in blocks:
        width = len(b[0]) if b else 0
        for r in range(rows):
            out[r] += b[r] if r < len(b) else [None] * width
    return out


class MatCorpus(unittest.TestCase):
    def test_every_file(self):
        names = sorted(n for n in os.listdir(CORPUS) if n.endswith(".mat"))
        self.assertGreaterEqual(len(names), 62)
        compared = 0
        with tempfile.TemporaryDirectory() as workdir:
            for name in names:
                with self.subTest(file=name):
                    compared += self.check(os.path.join(CORPUS, name), name, workdir)
        self.assertGreater(compared, 35)

    def check(self, path, name, workdir):
        if name in REFUSED:
            status, _, err = read(path, workdir)
            self.assertEqual(status, 1, err)
            self.assertIn(REFUSED[name], err)
            return 0
        level = scipy.io.matlab.matfile_version(path)[0]
        variables = [(k, v) for k, v in scipy.io.loadmat(path, chars_as_strings=True).items()
                     if not k.startswith("__")]
        if level == 0:
            for key, value in variables:
                status, out, err = read(path, workdir, key if len(variables) > 1 else None)
                self.assertEqual(status, 0, err)
                self.compare(json.loads(out)["cells"], block(value), key)
            return 1
        blocks = [b for b in (block(v) for _, v in variables) if b is not None]
        status, out, err = read(path, workdir)
        self.assertEqual(status, 0, err)
        self.compare(json.loads(out)["cells"], side_by_side(blocks), "sheet")
        return 1

    def compare(self, ours, expected, what):
        self.assertEqual(len(ours), len(expected), what)
        for r, (a, b) in enumerate(zip(ours, expected)):
            self.assertEqual(len(a), len(b), "%s row %d" % (what, r))
            for c, (x, y) in enumerate(zip(a, b)):
                if isinstance(y, float) and isinstance(x, (int, float)):
                    self.assertEqual(float(x), y, "%s %d,%d" % (what, r, c))
                else:
                    self.assertEqual(x, y, "%s %d,%d" % (what, r, c))


ROLES = ["OBSNAM", "OBSNUM", "VARNAM", "VARNUM"]


def role_values(rows, cols):
    """The data and the four name matrices for a data matrix of rows x cols."""
    data = np.arange(rows * cols, dtype=float).reshape(rows, cols) * 1.5 + 0.25
    return {
        "X": data,
        "OBSNAM": np.array(["obs%d" % (r + 1) for r in range(rows)]),
        "OBSNUM": np.arange(rows, dtype=float).reshape(rows, 1) + 101,
        "VARNAM": np.array(["var%d" % (c + 1) for c in range(cols)]),
        "VARNUM": np.arange(cols, dtype=float).reshape(1, cols) + 201,
    }


def entries(value):
    """A name matrix as scipy reads it, as one list of cells."""
    if value.dtype.kind == "U":
        return [t.rstrip(" \0") or None for t in value.reshape(-1, order="F")]
    return [float(v) for v in value.reshape(-1, order="F")]


def expected_roles(loaded):
    """The sheet the names and the data make, built from scipy's reading."""
    left = [n for n in ROLES[:2] if n in loaded]
    top = [n for n in ROLES[2:] if n in loaded]
    data = block(loaded["X"])
    width = len(left) + len(data[0])
    sheet = [[None] * width for _ in range(len(top) + len(data))]
    for i, name in enumerate(top):
        for c, v in enumerate(entries(loaded[name])):
            sheet[i][len(left) + c] = v
    for j, name in enumerate(left):
        for r, v in enumerate(entries(loaded[name])):
            sheet[len(top) + r][j] = v
    for r, row in enumerate(data):
        sheet[len(top) + r][len(left):] = row
    return sheet


class MatRoleOrders(unittest.TestCase):
    def test_every_order(self):
        values = role_values(3, 2)
        checked = 0
        with tempfile.TemporaryDirectory() as workdir:
            for k in range(1, 5):
                for names in itertools.combinations(ROLES, k):
                    for order in itertools.permutations(("X",) + names):
                        for fmt, compress in (("4", False), ("5", False), ("5", True)):
                            with self.subTest(order=order, format=fmt, compressed=compress):
                                path = os.path.join(workdir, "roles.mat")
                                scipy.io.savemat(path, {n: values[n] for n in order},
                                                 format=fmt, do_compression=compress)
                                loaded = {k: v for k, v in scipy.io.loadmat(path).items()
                                          if not k.startswith("__")}
                                status, out, err = read(path, workdir)
                                self.assertEqual(status, 0, err)
                                self.assertEqual(json.loads(out)["cells"],
                                                 expected_roles(loaded))
                                checked += 1
        self.assertEqual(checked, 3 * 260)


if __name__ == "__main__":
    ZMIMPORT, CORPUS = sys.argv[1], sys.argv[2]
    del sys.argv[1:3]
    unittest.main(verbosity=1)
