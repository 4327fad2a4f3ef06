#!/usr/bin/python3
"""Writes the small example files of examples/data/ that `make demo` reads.

Run from anywhere: /usr/bin/python3 scripts/make-examples.py
Each example has one function below; add a function for a new format and call it
from main(). The output is deterministic, so the committed files only change when
this script does.
"""
import math
import os
import subprocess
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


# Moisture, protein and oil of five grain samples: the reference values that go with
# spectra like the ones above, as a laboratory would keep them in a spreadsheet.
GRAIN = [
    ('Sample', 'Moisture %', 'Protein %', 'Oil %', 'Origin'),
    ('wheat-01', 11.2, 12.85, 1.9, 'Bühl'),
    ('wheat-02', 12.7, 13.4, 2.05, 'Orléans'),
    ('wheat-03', 14.1, 11.95, 1.75, 'Kraków, lot 7'),
    ('barley-01', 10.9, 10.2, 2.4, 'Ålesund'),
    ('barley-02', 13.3, None, 2.2, 'Zaragoza'),
]


def csv_field(value):
    if value is None:
        return ''
    text = str(value)
    if any(c in text for c in ',"\n'):
        return '"' + text.replace('"', '""') + '"'
    return text


def grain_csv(path):
    """The reference table as CSV in UTF-8, with quoted fields and one missing value."""
    lines = [','.join(csv_field(v) for v in row) for row in GRAIN]
    with open(path, 'w', encoding='utf-8', newline='') as f:
        f.write('\r\n'.join(lines) + '\r\n')


def grain_text(path):
    """The same table tab-delimited in windows-1252, as older spreadsheet exports write it."""
    lines = ['\t'.join('' if v is None else str(v) for v in row) for row in GRAIN]
    with open(path, 'w', encoding='cp1252', newline='') as f:
        f.write('\r\n'.join(lines) + '\r\n')


def grain_dif(path):
    """The same table as DIF: a header of sections, then one vector of cells per row."""
    rows, cols = len(GRAIN), len(GRAIN[0])
    out = ['TABLE', '0,1', '""', 'VECTORS', '0,%d' % cols, '""', 'TUPLES', '0,%d' % rows,
           '""', 'DATA', '0,0', '""']
    for row in GRAIN:
        out += ['-1,0', 'BOT']
        for v in row:
            if v is None:
                out += ['1,0', '""']
            elif isinstance(v, str):
                out += ['1,0', '"%s"' % v.replace('"', '""')]
            else:
                out += ['0,%s' % v, 'V']
    out += ['-1,0', 'EOD']
    with open(path, 'w', encoding='cp1252', newline='') as f:
        f.write('\r\n'.join(out) + '\r\n')


def grain_xls(csv_path, path):
    """The same table as an Excel 97-2003 workbook, written by Gnumeric."""
    subprocess.run(['ssconvert', '--export-type=Gnumeric_Excel:excel_biff8', csv_path, path],
                   check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def main():
    os.makedirs(DATA, exist_ok=True)
    brimrose_nir_spectra(os.path.join(DATA, 'nir-spectra.dat'))
    grain_csv(os.path.join(DATA, 'grain-reference.csv'))
    grain_text(os.path.join(DATA, 'grain-reference.txt'))
    grain_dif(os.path.join(DATA, 'grain-reference.dif'))
    grain_xls(os.path.join(DATA, 'grain-reference.csv'), os.path.join(DATA, 'grain-reference.xls'))


if __name__ == '__main__':
    main()
