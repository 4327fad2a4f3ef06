"""Every file of the real JCAMP-DX corpus, read by zmimport and checked value by value
against jcampconverter (an independent reader from npm, run with node), or refused with
the reader's own message. Each data block is read alone (--set DataBlocks=N) and compared
with the reference's block; the whole file must give one row per block. The compressions
of one spectrum must give the same numbers.

Where the library deliberately differs from jcampconverter the comparison says so:
- jcampconverter turns NMR x values from Hz into ppm; the sheet keeps the file's x, so
  those x axes are compared up to one constant factor;
- a failed y check stops a block with a warning where jcampconverter reads on, and x
  values are spaced by the number of y values read, not by "##NPOINTS=": such blocks
  compare their y values as far as both read, and no x;
- jcampconverter splits "4.6e-05" into two values and reads no "##XYPOINTS="; those
  files are checked against a plain parse of their ordinates here;
- jcampconverter drops a "##YFACTOR=" followed by a comment; its y values are scaled
  by the factor before comparing.
Usage: jcamp_corpus.py ZMIMPORT CORPUS_DIR DUMP_SCRIPT
"""
import json
import os
import re
import subprocess
import sys
import unittest

ZMIMPORT = CORPUS = DUMP = None

FORMAT = "JCAMP-DX File"
NTUPLES = "Can currently not read n-tuples."
REFUSED = {
    "ISAS_MS3.DX": NTUPLES,
    "TESTFID.DX": NTUPLES,
    "TESTNTUP.DX": NTUPLES,
    "multivariable.jdx": NTUPLES,
    "o06.jdx": NTUPLES,
    "ofid2.jdx": NTUPLES,
    "ethanol_nmr.jdx": "can currently not read assignments.",
    "structure-ntuples.jdx": "Couldn't find valid data to import.",
    # "##END" without its "=".
    "iv.jdx": "Found a label with the data label terminator ('=') missing.",
    "two.jdx": "Found a label with the data label terminator ('=') missing.",
}
X_IN_PPM = {"TEST32.DX", "TESTSPEC.DX", "BRUKAFFN.DX", "BRUKDIF.DX", "BRUKPAC.DX", "fixdec2.jdx", "jcamp-difdup.dx",
            "jcamp-fix.dx", "jcamp-packed.dx", "jcamp-squeezed.dx", "jeol.dx", "o01.jdx",
            "o02.jdx", "o05.jdx", "sqzdec1.jdx"}
WARNED = {
    "SPECFILE.DX": "Y-value check failed on line 107.",
    "jcamp2001_example.txt": "Y-value check failed on line 51.",
    "varian.jdx": "Could only read 16384 y-values, but expected to read 16385.",
    "xyinc2.jdx": "There seem to be more y-values in the file than specified",
}
PLAIN_REFERENCE = {"scientific_notation_example.jdx", "uvvis_toluene.jdx"}
FACTOR_DROPPED = {"jtpolys.jdx"}
FAMILIES = [
    ["jcamp-fix.dx", "jcamp-packed.dx", "jcamp-squeezed.dx", "jcamp-difdup.dx"],
    ["small-jcamp-packed.dx", "small-jcamp-squeezed.dx", "small-jcamp-difdup.dx"],
    # The same data in AFFN, PAC and DIF/SQZ; BRUKDIF.DX holds another spectrum.
    ["BRUKAFFN.DX", "BRUKPAC.DX", "TEST32.DX"],
]


def close(ours, theirs, tolerance=1e-6):
    return ours is not None and abs(ours - theirs) <= tolerance * max(abs(theirs), 1e-3)


def zmimport(path, *settings):
    args = [ZMIMPORT, "read", path, "--format", FORMAT, "--to", "json"]
    for setting in settings:
        args += ["--set", setting]
    done = subprocess.run(args, capture_output=True, timeout=300)
    return done.returncode, done.stdout.decode("utf-8"), done.stderr.decode("utf-8")


def reference(path):
    done = subprocess.run(["node", DUMP, path], capture_output=True, check=True, timeout=300)
    return json.loads(done.stdout)


def label(text, name):
    match = re.search(r"^\s*##%s=\s*([^$\r\n]*)" % name, text, re.M | re.I)
    return float(match.group(1)) if match else None


def plain_reference(path):
    """The ordinates (or x-y pairs) of a single-block file written in plain numbers."""
    with open(path, encoding="latin-1") as f:
        text = f.read()
    data = re.search(r"^##(XYDATA|XYPOINTS)=\s*(\S+)[^\n]*\n(.*?)^##", text, re.M | re.S)
    numbers = [[float(v) for v in re.split(r"[\s,;]+", line.strip()) if v]
               for line in data.group(3).splitlines() if line.strip()]
    y_factor = label(text, "YFACTOR") or 1.0
    if data.group(2).startswith("(XY..XY)"):
        flat = [v for line in numbers for v in line]
        x_factor = label(text, "XFACTOR") or 1.0
        return {"x": [v * x_factor for v in flat[0::2]], "y": [v * y_factor for v in flat[1::2]]}
    return {"x": None, "y": [v * y_factor for line in numbers for v in line[1:]]}


class JcampCorpus(unittest.TestCase):
    def test_every_file(self):
        names = sorted(os.listdir(CORPUS))
        self.assertGreaterEqual(len(names), 60)
        compared = 0
        for name in names:
            with self.subTest(file=name):
                compared += self.check(os.path.join(CORPUS, name), name)
        self.assertGreater(compared, 300000)

    def test_compressions_agree(self):
        for family in FAMILIES:
            with self.subTest(family=family[0]):
                sheets = []
                for name in family:
                    status, out, err = zmimport(os.path.join(CORPUS, name))
                    self.assertEqual(status, 0, err)
                    sheets.append(json.loads(out)["cells"])
                first = sheets[0]
                for name, sheet in zip(family[1:], sheets[1:]):
                    self.assertEqual(len(sheet), len(first), name)
                    for row, other in zip(first, sheet):
                        n = min(len(row), len(other))
                        self.assertGreater(n, 20, name)
                        bad = [i for i in range(1, n) if not close(other[i], row[i])]
                        self.assertEqual(bad[:5], [], "%s differs from %s" % (name, family[0]))

    def check(self, path, name):
        status, out, err = zmimport(path)
        if name in REFUSED:
            self.assertEqual(status, 1)
            self.assertIn(REFUSED[name], err)
            return 0
        self.assertEqual(status, 0, err)
        if name in WARNED:
            self.assertIn(WARNED[name], err)
        else:
            self.assertNotIn("warning", err)
        if name in PLAIN_REFERENCE:
            blocks = [{"spectra": [plain_reference(path)]}]
        else:
            blocks = reference(path).get("blocks", [])
        self.assertGreater(len(blocks), 0)
        rows = sum(len(block["spectra"]) for block in blocks)
        self.assertEqual(len(json.loads(out)["cells"]), 1 + rows)
        compared = 0
        for index, block in enumerate(blocks):
            status, out, err = zmimport(path, "DataBlocks=%d" % index)
            self.assertEqual(status, 0, err)
            cells = json.loads(out)["cells"]
            self.assertEqual(len(cells), 1 + len(block["spectra"]))
            xs = cells[0][1:]
            for row, spectrum in enumerate(block["spectra"]):
                compared += self.compare(name, index, xs, cells[1 + row][1:], spectrum, path)
        return compared

    def compare(self, name, index, xs, ys, spectrum, path):
        x, y = spectrum["x"], spectrum["y"]
        if name in FACTOR_DROPPED:
            with open(path, encoding="latin-1") as f:
                factor = label(f.read(), "YFACTOR")
            y = [v * factor for v in y]
        if name in WARNED:
            n = min(len(ys), len(y))
            ys, y, x = ys[:n], y[:n], None
        self.assertEqual(len(ys), len(y), "block %d" % index)
        bad = [i for i in range(len(y)) if not close(ys[i], y[i])]
        self.assertEqual(bad[:5], [], "block %d: y %r, reference %r" %
                         (index, [ys[i] for i in bad[:3]], [y[i] for i in bad[:3]]))
        if x is not None:
            # Hz against ppm: one linear map between the axes, fixed by their ends.
            a, b = 1.0, 0.0
            if name in X_IN_PPM:
                a = (xs[-1] - xs[0]) / (x[-1] - x[0])
                b = xs[0] - a * x[0]
            # Within a millionth of the axis: ppm axes cross zero.
            scale = max(abs(v) for v in xs)
            bad = [i for i in range(len(x)) if not abs(xs[i] - (a * x[i] + b)) <= 1e-6 * scale]
            self.assertEqual(bad[:5], [], "block %d: x %r, reference %r" %
                             (index, [xs[i] for i in bad[:3]], [x[i] for i in bad[:3]]))
        return len(y)


if __name__ == "__main__":
    ZMIMPORT, CORPUS, DUMP = sys.argv[1], sys.argv[2], sys.argv[3]
    del sys.argv[1:4]
    unittest.main(verbosity=1)
