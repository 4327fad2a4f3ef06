"""Every file of the real SPC corpus, read by zmimport and checked value by value against
spc-parser (an independent reader from npm, run with node), or refused with the reader's
own message.

Where the library deliberately differs from spc-parser the comparison says so:
- spc-parser turns descending x axes around (and their y values with them); the sheet
  keeps the file's order, so the reference is turned back before comparing;
- files with one x array per sub-file (GC-MS style) are refused;
- in multi-file files each sub-file's integer y values are scaled by the sub-file's own
  exponent, even when it is 0, where spc-parser takes the main header's exponent for a
  sub-file exponent of 0 (m_evenz.spc has -1 in the main header and 0 in its second
  sub-file header); such references are rescaled by 2^-(main exponent), both exponents
  read from the file here.
Values are compared in float32, the sheet's number type.
Usage: spc_corpus.py ZMIMPORT CORPUS_DIR DUMP_SCRIPT
"""
import json
import os
import struct
import subprocess
import sys
import unittest

ZMIMPORT = CORPUS = DUMP = None

REFUSED = {
    "ms.spc": "Looks like GC-MS spectra files and that is not supported at the moment.",
}


def f32(v):
    return struct.unpack("<f", struct.pack("<f", v))[0]


def close(ours, theirs):
    want = f32(theirs)
    return ours == want or abs(ours - want) <= 2e-7 * max(abs(want), 1e-30)


def exponent_factors(path):
    """Per sub-file of a new-format multi-file file with integer y, the factor between the
    sub-file's exponent and the one spc-parser applies; None for other files."""
    with open(path, "rb") as f:
        data = f.read()
    flags, version, main = data[0], data[1], struct.unpack_from("<b", data, 3)[0]
    if version != 0x4B or not flags & 0x04 or main == -128:
        return None
    points, subfiles = struct.unpack_from("<I", data, 4)[0], struct.unpack_from("<i", data, 24)[0]
    at = 512 + (4 * points if flags & 0x80 else 0)
    factors = []
    for _ in range(subfiles):
        sub = struct.unpack_from("<b", data, at + 1)[0]
        factors.append(2.0 ** -main if sub == 0 else 1.0)
        at += 32 + points * (2 if flags & 0x01 else 4)
    return factors


def zmimport(*args):
    done = subprocess.run([ZMIMPORT, *args], capture_output=True, timeout=300)
    return done.returncode, done.stdout.decode("utf-8"), done.stderr.decode("utf-8")


def reference(path):
    done = subprocess.run(["node", DUMP, path], capture_output=True, check=True, timeout=300)
    return json.loads(done.stdout)


class SpcCorpus(unittest.TestCase):
    def test_every_file(self):
        names = sorted(os.listdir(CORPUS))
        self.assertGreaterEqual(len(names), 13)
        compared = 0
        for name in names:
            with self.subTest(file=name):
                compared += self.check(os.path.join(CORPUS, name), name)
        self.assertGreater(compared, 100000)

    def check(self, path, name):
        status, out, err = zmimport("read", path, "--format", "GalacticSPC File", "--to", "json")
        if name in REFUSED:
            self.assertEqual(status, 1)
            self.assertIn(REFUSED[name], err)
            return 0
        self.assertEqual(status, 0, err)
        sheet = json.loads(out)
        cells = sheet["cells"]
        spectra = reference(path)
        self.assertNotIn("error", spectra)
        spectra = spectra["spectra"]
        # Two name rows (the second holds the x values), then one row per spectrum.
        self.assertEqual(len(cells), 2 + len(spectra))
        self.assertEqual(cells[0][:2], ["Primary ID", "Name"])
        xs = cells[1][3:]
        title = os.path.splitext(name)[0]
        factors = exponent_factors(path)
        compared = 0
        for index, spectrum in enumerate(spectra):
            x, y = spectrum["x"], spectrum["y"]
            if factors is not None:
                y = [v * factors[index] for v in y]
            if len(x) > 1 and len(xs) > 1 and (x[1] - x[0]) * (xs[1] - xs[0]) < 0:
                x, y = x[::-1], y[::-1]
            row = cells[2 + index]
            self.assertEqual(row[1], title if len(spectra) == 1 else "%s_%d" % (title, index + 1))
            ys = row[3:]
            self.assertEqual(len(ys), len(y), "spectrum %d" % index)
            bad = [i for i in range(len(y)) if not close(ys[i], y[i])]
            self.assertEqual(bad[:5], [], "spectrum %d: y %r, spc-parser %r" %
                             (index, [ys[i] for i in bad[:3]], [y[i] for i in bad[:3]]))
            bad = [i for i in range(len(x)) if not abs(xs[i] - x[i]) <= 1e-6 * max(abs(x[i]), 1)]
            self.assertEqual(bad[:5], [], "x %r, spc-parser %r" %
                             ([xs[i] for i in bad[:3]], [x[i] for i in bad[:3]]))
            compared += len(y)
        return compared


if __name__ == "__main__":
    ZMIMPORT, CORPUS, DUMP = sys.argv[1], sys.argv[2], sys.argv[3]
    del sys.argv[1:4]
    unittest.main(verbosity=1)
