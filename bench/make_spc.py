"""Writes a multi-file SPC of 10,000 sub-files x 1,000 points (float y, evenly spaced x)
for the SPC benchmark. Usage: make_spc.py FILE"""
import os
import struct
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests",
                                "data", "spc"))
from make_fixtures import main_header, sub_header  # noqa: E402

SUBFILES = 10_000
POINTS = 1_000

with open(sys.argv[1], "wb") as out:
    # Multi-file, float y (exponent -128), x 4000..400 cm-1, z evenly spaced by 1.
    out.write(main_header(0x04, -128, POINTS, 4000.0, 400.0, SUBFILES, 1, 2, 0, zinc=1.0))
    base = [(i % 97) * 0.125 - 3.0 for i in range(POINTS)]
    for s in range(SUBFILES):
        out.write(sub_header(-128, s & 0xFFFF, float(s), float(s + 1)))
        out.write(struct.pack("<%df" % POINTS, *[v + s * 0.5 for v in base]))
