"""Every file of the real OPUS corpus, read by zmimport block by block and checked point by
point against the dumps beside it (opusreader2, with brukeropus for the blocks opusreader2
does not return), or refused with the reader's own message.

What the comparison accounts for:
- the reader lists the spectrum blocks of a file by kind ("AB", "ScSm", "IgRf", "REFL",
  "PhSm", "RAM", ...); two blocks of one kind are "AB" (the final one, without the flag
  64 in its last type byte) and "AB#2" (the one before atmospheric compensation, which
  opusreader2 calls ab_no_atm_comp); a lone flagged block keeps the plain name;
- opusreader2's "match" blocks are results of a library search, not spectra: not listed;
  nor are the "Molecular Structure" and "(Compact)" blocks of peach_juice.0 (text types
  88 and 160), which opusreader2 warns about and brukeropus keeps as raw bytes;
- tum_md20220409s0e00a.0200 has a valid header and a directory that lists only itself:
  both oracles return no data, the reader refuses it;
- the phase spectra (PhSm) and the Raman block of ramanchada2_test_opus.0 only brukeropus
  returns: they are checked against its data;
- y in the sheet is the float32 of the file times CSF, in double: compared within 1e-8
  relative; x is FXV to LXV in NPT even steps, like both oracles.
Usage: opus_corpus.py ZMIMPORT CORPUS_DIR
"""
import json
import os
import re
import sys
import unittest

from dump_oracle import read_dump, run

ZMIMPORT = CORPUS = None

REFUSED = {
    "tum_md20220409s0e00a.0200": "This Bruker OPUS file holds no spectrum.",
}

FAMILY = {"AB": "ab", "ScSm": "sc_sample", "ScRf": "sc_ref", "IgSm": "ig_sample",
          "IgRf": "ig_ref", "REFL": "refl"}
ONLY_BRUKEROPUS = {"PhSm": "phsm", "RAM": "ra"}


def zmimport(*args):
    return run(ZMIMPORT, *args)


def oracle(name):
    return read_dump(CORPUS, name)


def close(ours, theirs, tolerance=1e-8):
    return ours is not None and abs(ours - theirs) <= tolerance * max(abs(theirs), 1e-30)


def expected_block(dump, ours):
    """The oracle's x and y for our block name."""
    kind, _, number = ours.partition("#")
    index = int(number) - 1 if number else 0
    if kind in ONLY_BRUKEROPUS:
        found = [b for b in dump["cross_check"]["data_only_in_brukeropus"]
                 if b["brukeropus"] == ONLY_BRUKEROPUS[kind]]
        return found[index]["x"], found[index]["y"]
    family = FAMILY[kind]
    found = [b for b in dump["blocks"] if b["class"] == "data" and
             (b["name"] == family or b["name"].startswith(family + "_no_atm_comp"))]
    found.sort(key=lambda b: b["additional_type"] & 64)
    block = found[index]
    return dump["x_axes"][block["x_axis"]], block["y"]


class OpusCorpus(unittest.TestCase):
    def test_every_file(self):
        names = sorted(n for n in os.listdir(CORPUS)
                       if os.path.isfile(os.path.join(CORPUS, n)) and n != "README.md")
        self.assertGreaterEqual(len(names), 12)
        compared = 0
        for name in names:
            with self.subTest(file=name):
                compared += self.check(os.path.join(CORPUS, name), name)
        self.assertGreater(compared, 300000)

    def test_every_file_is_detected_as_opus(self):
        for name in os.listdir(CORPUS):
            path = os.path.join(CORPUS, name)
            if not os.path.isfile(path) or name == "README.md":
                continue
            with self.subTest(file=name):
                status, out, _ = zmimport("detect", path)
                self.assertEqual(status, 0)
                self.assertEqual(out.strip().splitlines()[-1],
                                 "chosen: 4 Bruker OPUS File")

    def check(self, path, name):
        if name in REFUSED:
            status, _, err = zmimport("read", path, "--format", "Bruker OPUS File")
            self.assertEqual(status, 1)
            self.assertIn(REFUSED[name], err)
            return 0
        status, out, err = zmimport("options", path, "--format", "Bruker OPUS File")
        self.assertEqual(status, 0, err)
        blocks = re.findall(r"<DataBlocks>(.*?)</DataBlocks>", out, re.S)
        self.assertTrue(blocks, out)
        listed = re.findall(r"<Item>(.*?)</Item>", blocks[0]) or blocks[0].split(";")
        dump = oracle(name)
        compared = 0
        for block in listed:
            status, out, err = zmimport("read", path, "--format", "Bruker OPUS File",
                                        "--set", "DataBlock=" + block, "--to", "json")
            self.assertEqual(status, 0, err)
            cells = json.loads(out)["cells"]
            # Name row, x row, one row for the file.
            self.assertEqual(len(cells), 3)
            self.assertEqual(cells[0][:4], ["Primary ID", "Name", "Sample", "Date"])
            x, y = expected_block(dump, block)
            xs, ys = cells[1][4:], cells[2][4:]
            self.assertEqual(len(ys), len(y), block)
            bad = [i for i in range(len(y)) if not close(ys[i], y[i])]
            self.assertEqual(bad[:5], [], "%s: y %r, oracle %r" %
                             (block, [ys[i] for i in bad[:3]], [y[i] for i in bad[:3]]))
            # The sheet's x row holds float32 numbers.
            bad = [i for i in range(len(x)) if not close(xs[i], x[i], 1e-6)]
            self.assertEqual(bad[:5], [], "%s: x %r, oracle %r" %
                             (block, [xs[i] for i in bad[:3]], [x[i] for i in bad[:3]]))
            compared += len(y)
        sample = dump.get("basic_metadata", {}).get("opus_sample_name")
        if sample:
            self.assertEqual(cells[2][2], sample)
        return compared


if __name__ == "__main__":
    ZMIMPORT, CORPUS = sys.argv[1], sys.argv[2]
    del sys.argv[1:3]
    unittest.main(verbosity=1)
