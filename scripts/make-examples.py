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


def sieve_frames(path):
    """A Thermo SIEVE frame table: six m/z-retention-time frames compared over two
    control and two treated runs, tab-separated as SIEVE exports it."""
    header = ['FrameID', 'MZStart', 'MZStop', 'TimeStart', 'TimeStop', 'pValue', 'Ratio',
              'UpperBound', 'LowerBound', 'FOM1', 'Intensity_ctrl1', 'Intensity_ctrl2',
              'Intensity_trt1', 'Intensity_trt2']
    lines = ['\t'.join(header)]
    for frame in range(1, 7):
        mz = 180.0634 + 57.02146 * (frame - 1)       # a glycine ladder
        rt = 4.0 + 2.75 * frame
        control = 1.0e5 * (1 + 0.3 * ((frame * 5) % 4))
        ratio = 1.0 + 0.45 * ((frame * 3) % 5)
        row = [frame, '%.4f' % (mz - 0.005), '%.4f' % (mz + 0.005), '%.2f' % (rt - 0.25),
               '%.2f' % (rt + 0.25), '%.3g' % (0.3 / ratio ** 4), '%.2f' % ratio,
               '%.2f' % (ratio * 1.2), '%.2f' % (ratio * 0.8), '%.2f' % (1 - 0.1 / ratio),
               '%.0f' % control, '%.0f' % (control * 1.04), '%.0f' % (control * ratio),
               '%.0f' % (control * ratio * 0.97)]
        lines.append('\t'.join(str(cell) for cell in row))
    with open(path, 'w', newline='\n') as f:
        f.write(''.join(line + '\n' for line in lines))


def dexan_design(path):
    """A DEXAN design file: a 2x2 factorial with a centre point, its worksheet stored as
    the stream "Worksheet.dat" of an OLE compound file (written with libgsf)."""
    import gi
    gi.require_version('Gsf', '1')
    from gi.repository import Gsf
    worksheet = [
        ('Run', 'Order', 'Temperature', 'Pressure', 'Catalyst', 'Yield'),
        ('N1', 3, 60, 1.5, 'Pd/C', 71.2),
        ('N2', 1, 80, 1.5, 'Pd/C', 78.9),
        ('N3', 4, 60, 2.5, 'Pd/C', 74.0),
        ('N4', 2, 80, 2.5, 'Pd/C', 83.6),
        ('N5', 5, 70, 2.0, 'Pd/C', 77.5),
    ]
    text = ''.join('\t'.join(str(c) for c in row) + '\r\n' for row in worksheet)
    if os.path.exists(path):
        os.remove(path)
    ole = Gsf.OutfileMSOle.new(Gsf.OutputStdio.new(path))
    for name, data in (('Design Info', b'factors=2;responses=1'),
                       ('Worksheet.dat', text.encode('ascii'))):
        child = ole.new_child(name, False)
        child.write(data)
        child.close()
    ole.close()


def fdc_plasma_etch(path):
    """An FDC request of an etch chamber: two wafers, three recipe steps each, and the
    chamber's trace (pressure, RF power, bias, temperature) sampled every half second."""
    steps = [('Stabilize', 1, 8, 0.0), ('MainEtch', 9, 24, 4.0), ('OverEtch', 25, 30, 12.0)]
    out = ['<?xml version="1.0" encoding="UTF-8"?>',
           '<!DOCTYPE FDCRequest SYSTEM "FDCRequest.dtd">',
           '<FDCRequest MessageSequenceIdentifier="20240305-0042">',
           '  <APCSystemName ID="APC-FAB1"/>',
           '  <Logistics FDCModel="GateEtch-v3" RecipeID="POLY_ME_45" ControlJobID="CJ-0042"'
           ' EquipmentID="ETCH07" ToolType="PlasmaEtch" ResourceID="ETCH07-PM2"'
           ' chamberRecipe="PM2_MAIN"/>',
           '  <Trend Name="Gate etch trace">']
    raw = []
    for w, wafer in enumerate(('W07', 'W08')):
        out.append('    <dataset WaferID="%s" rawDataName="RAW_%s" LotID="LOT-2024-118"'
                   ' SlotID="%d" RouteID="R-GATE" ProductID="PX-200" OperationNumber="1200"'
                   ' OperationName="Gate etch" OPERATIONPASSCOUNT="1" PriorityClass="2"'
                   ' LineCode="FAB1" JobClass="PROD" QualityCode="A">' % (wafer, wafer, 7 + w))
        for name, first, last, start in steps:
            out.append('      <Interval Name="%s" Number="%d" FromRow="%d" ToRow="%d"'
                       ' Duration="%.1f" StartTime="2024-03-05T09:%02d:%04.1f">'
                       % (name, steps.index((name, first, last, start)) + 1, first, last,
                          (last - first + 1) * 0.5, 10 + 2 * w, start))
            out.append('        <sumdata Name="Pressure" StatName="Mean" Value="%.2f"/>'
                       % (15.0 + w * 0.3 + first * 0.01))
            out.append('      </Interval>')
        out.append('    </dataset>')
        lines = ['NUM_DATA_ROWS=30', '"Time"\t"Pressure"\t"RF Power"\t"Bias"\t"Temp"']
        for n in range(1, 31):
            etching = 9 <= n <= 30
            power = (350.0 + 2.5 * math.sin(n) + w * 1.5) if etching else 0.0
            bias = (120.0 + 1.2 * math.cos(n)) if etching else 0.0
            pressure = 15.0 + w * 0.3 + (0.8 * math.exp(-(n - 9) / 3.0) if n >= 9 else 0.0)
            temp = 40.0 + 0.15 * n + w * 0.2
            lines.append('%d\t%.1f\t%.3f\t%.1f\t%.1f\t%.2f'
                         % (n, (n - 1) * 0.5, pressure, power, bias, temp))
        raw.append('  <RawData Name="RAW_%s">\n%s\n</RawData>' % (wafer, '\n'.join(lines)))
    out.append('  </Trend>')
    out += raw
    out.append('  <Response TopicName="FDC.Results.ETCH07"/>')
    out.append('</FDCRequest>')
    with open(path, 'w', encoding='utf-8', newline='\n') as f:
        f.write('\n'.join(out) + '\n')


def main():
    os.makedirs(DATA, exist_ok=True)
    brimrose_nir_spectra(os.path.join(DATA, 'nir-spectra.dat'))
    fdc_plasma_etch(os.path.join(DATA, 'plasma-etch-fdc.xml'))
    grain_csv(os.path.join(DATA, 'grain-reference.csv'))
    grain_text(os.path.join(DATA, 'grain-reference.txt'))
    grain_dif(os.path.join(DATA, 'grain-reference.dif'))
    grain_xls(os.path.join(DATA, 'grain-reference.csv'), os.path.join(DATA, 'grain-reference.xls'))
    sieve_frames(os.path.join(DATA, 'sieve-frames.txt'))
    dexan_design(os.path.join(DATA, 'reaction-design.mip'))


if __name__ == '__main__':
    main()
