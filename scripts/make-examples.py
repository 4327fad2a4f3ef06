#!/usr/bin/python3
"""Writes the small example files of examples/data/ that `make demo` reads.

Run from anywhere: /usr/bin/python3 scripts/make-examples.py
Each example has one function below; add a function for a new format and call it
from main(). The output is deterministic, so the committed files only change when
this script does.
"""
import math
import os
import struct

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
DATA = os.path.join(ROOT, 'examples', 'data')


def brimrose_nir_spectra(path):
    """Five near-infrared absorbance spectra of ground wheat, 1100-2430 nm in 70 nm steps."""
    first, increment, points = 1100.0, 70.0, 20
    last = first + increment * (points - 1)
    header = bytearray(512)
    struct.pack_into('<I', header, 0, 0x0D0C10FF)
    struct.pack_into('<fffHxxH', header, 29, first, last, increment, points, 5)
    out = bytes(header)

    start = 1709629200  # 2024-03-05 09:00:00 UTC, one scan every 90 seconds
    for n in range(5):
        moisture = 0.10 + 0.015 * n          # water bands grow with moisture
        offset = 0.02 * ((n * 7) % 3)        # scatter shifts the baseline
        values = []
        for i in range(points):
            nm = first + increment * i
            baseline = 0.22 + 0.00011 * (nm - first) + offset
            water = moisture * (math.exp(-((nm - 1450) / 60) ** 2) * 1.6 +
                                math.exp(-((nm - 1940) / 70) ** 2) * 2.4)
            protein = 0.05 * math.exp(-((nm - 2180) / 50) ** 2)
            values.append(round(baseline + water + protein, 4))
        sub = bytearray(128)
        struct.pack_into('<I', sub, 0, start + 90 * n)
        label = ('wheat lot 7 sample %d' % (n + 1)).encode('ascii')
        sub[4:4 + len(label)] = label
        out += bytes(sub) + struct.pack('<%df' % points, *values)
    with open(path, 'wb') as f:
        f.write(out)


def main():
    os.makedirs(DATA, exist_ok=True)
    brimrose_nir_spectra(os.path.join(DATA, 'nir-spectra.dat'))


if __name__ == '__main__':
    main()
