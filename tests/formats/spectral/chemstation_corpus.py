"""Every file of the real ChemStation corpus, read by zmimport and checked point by point
against the dumps beside it (rainbow, with chromConverter where rainbow cannot read a
file), and the corpus read together where the retention times agree.

What the comparison accounts for:
- a ".ch" file is one row; a ".uv" file is one row per wavelength (the dump holds a
  matrix of times by wavelengths, so its columns are compared with the rows);
- gc2asm_V181_FID1A.ch: rainbow spreads its times with one point too few; the dump's
  times are chromConverter's, from the same header fields, and these are the ones
  compared;
- the version-179 files of the "Asterix" program (pels_TCD3C.ch, entab_test_179_fid.ch)
  hold doubles: rainbow's reading, which the projects' own published sums confirm, is the
  one compared (chromConverter reads them as floats);
- retention times are float32 in the sheet's heading row: compared within 1e-6
  relative; values within 1e-8 relative.
Usage: chemstation_corpus.py ZMIMPORT CORPUS_DIR
"""
import json
import os
import sys
import unittest

from dump_oracle import read_dump, run

ZMIMPORT = CORPUS = None
FORMAT = "HPLC ChemStation File"


def zmimport(*args):
    return run(ZMIMPORT, *args)


def oracle(name):
    return read_dump(CORPUS, name)


def close(ours, theirs, tolerance=1e-8):
    return ours is not None and abs(ours - theirs) <= tolerance * max(abs(theirs), 1e-12)


def files():
    return sorted(n for n in os.listdir(CORPUS)
                  if os.path.isfile(os.path.join(CORPUS, n)) and n != "README.md")


class ChemStationCorpus(unittest.TestCase):
    def test_every_file(self):
        names = files()
        self.assertGreaterEqual(len(names), 13)
        compared = 0
        for name in names:
            with self.subTest(file=name):
                compared += self.check(name)
        self.assertGreater(compared, 400000)

    def test_every_file_is_detected_as_chemstation(self):
        for name in files():
            with self.subTest(file=name):
                status, out, _ = zmimport("detect", os.path.join(CORPUS, name))
                self.assertEqual(status, 0)
                self.assertEqual(out.strip().splitlines()[-1], "chosen: 12 " + FORMAT)

    def test_a_run_and_its_spectra_share_one_sheet(self):
        # The signal file and the diode-array file of one run have the same times.
        status, out, err = zmimport("read", os.path.join(CORPUS, "red_DAD1B.ch"),
                                    os.path.join(CORPUS, "red_DAD1.UV"), "--to", "json")
        self.assertEqual(status, 0, err)
        cells = json.loads(out)["cells"]
        self.assertEqual(len(cells), 2 + 1 + 106)
        self.assertEqual([row[1] for row in cells[2:4]], ["red_DAD1B", "red_DAD1"])

    def test_runs_of_different_times_are_refused(self):
        status, _, err = zmimport("read", os.path.join(CORPUS, "red_DAD1B.ch"),
                                  os.path.join(CORPUS, "red_ADC1A.CH"))
        self.assertEqual(status, 1)
        self.assertIn("The chromatograms do not have the same retention times.", err)
        self.assertIn("red_ADC1A.CH", err)

    def check(self, name):
        status, out, err = zmimport("read", os.path.join(CORPUS, name), "--format", FORMAT,
                                    "--to", "json")
        self.assertEqual(status, 0, err)
        cells = json.loads(out)["cells"]
        self.assertEqual(cells[0][:4], ["Primary ID", "Name", "Sample", "Signal"])
        dump = oracle(name)
        times = cells[1][4:]
        self.assertEqual(len(times), dump["n_times"])
        bad = [i for i, t in enumerate(dump["times"]) if not close(times[i], t, 1e-6)]
        self.assertEqual(bad[:5], [], "times %r, oracle %r" %
                         ([times[i] for i in bad[:3]], [dump["times"][i] for i in bad[:3]]))
        if "wavelengths_nm" in dump:
            scale = dump["scaling_factor"]
            expected = [[row[w] * scale for row in dump["values_int"]]
                        for w in range(len(dump["wavelengths_nm"]))]
            labels = ["%g" % w for w in dump["wavelengths_nm"]]
        else:
            expected, labels = [dump["values"]], None
        rows = cells[2:]
        self.assertEqual(len(rows), len(expected))
        sample = dump["header"].get("sample_name") or ""
        compared = 0
        for index, (row, values) in enumerate(zip(rows, expected)):
            self.assertEqual(row[1], os.path.splitext(name)[0])
            self.assertEqual(row[2], sample)
            if labels:
                self.assertEqual(row[3], labels[index])
            ys = row[4:]
            self.assertEqual(len(ys), len(values))
            bad = [i for i in range(len(values)) if not close(ys[i], values[i])]
            self.assertEqual(bad[:5], [], "row %d: %r, oracle %r" %
                             (index, [ys[i] for i in bad[:3]], [values[i] for i in bad[:3]]))
            compared += len(values)
        return compared


if __name__ == "__main__":
    ZMIMPORT, CORPUS = sys.argv[1], sys.argv[2]
    del sys.argv[1:3]
    unittest.main(verbosity=1)
