#!/usr/bin/python3
"""Writes the DEXAN worksheet fixtures and the sheets they should read as.

Run from anywhere: /usr/bin/python3 tests/data/dexan/make_fixtures.py
(needs python3-gi and gir1.2-gsf-1: the design files are written with libgsf's
OLE compound-file writer).
A worksheet is delimited text: a header line of factor and response names, then one
line per run. It comes as a plain .dat file, or inside a .mip design file as a stream
whose name ends in ".dat", beside other streams of the design. The expected sheet of
every readable fixture is computed here from the worksheet text, independently of the
C++ reader: every cell a text, cut at tabs, no quoting, no trailing empty cell.
"""
import os

import gi

gi.require_version('Gsf', '1')
from gi.repository import Gsf  # noqa: E402

HERE = os.path.dirname(os.path.abspath(__file__))

WORKSHEET = [
    'Run\tOrder\tTemperature\tpH\tCatalyst\tYield\tPurity',
    'N1\t3\t60\t6.5\tPd/C\t71.2\t98.1',
    'N2\t1\t80\t6.5\tPd/C\t78.9\t97.4',
    'N3\t4\t60\t7.5\tRaney Ni\t65.0\t',
    'N4\t2\t80\t7.5\tRaney Ni\t\t96.0',
    'N5\t5\t70\t7\tPd/C\t75.5\t97.9',
]

# Accented names and units: the worksheet's encoding matters.
WORKSHEET_ACCENTS = [
    'Versuch\tTemperatur °C\tDrück bar\tAusbeute',
    'V1\t55\t1,5\t82,5',
    'V2\t65\t2,0\t85,0',
    'V3\t75\t2,5\tnicht bestimmt',
    'Essai\tRéacteur\tÉcart\tMélange à froid',
]


def cells(line):
    line = line.rstrip('\r')
    if line == '':
        return []
    parts = line.split('\t')
    if parts[-1] == '':
        parts.pop()
    return parts


def expected_sheet(lines):
    out = []
    for row, line in enumerate(lines, start=1):
        for col, text in enumerate(cells(line), start=1):
            out.append('%d\t%d\ttext\t%s\n' % (row, col, text))
    return ''.join(out)


def write_bytes(name, data):
    with open(os.path.join(HERE, name), 'wb') as f:
        f.write(data)


def write_expected(name, lines):
    with open(os.path.join(HERE, name + '.expected.tsv'), 'w', encoding='utf-8',
              newline='\n') as f:
        f.write(expected_sheet(lines))


def compound(name, streams):
    """A compound file with the given (name, bytes) streams in its root storage."""
    path = os.path.join(HERE, name)
    sink = Gsf.OutputStdio.new(path)
    ole = Gsf.OutfileMSOle.new(sink)
    for entry, data in streams:
        child = ole.new_child(entry, False)
        child.write(data)
        child.close()
    ole.close()


def text(lines, encoding='utf-8', newline='\n'):
    return ''.join(line + newline for line in lines).encode(encoding)


def main():
    # Plain worksheets in several encodings and line ends.
    write_bytes('worksheet-utf8.dat', text(WORKSHEET + WORKSHEET_ACCENTS))
    write_expected('worksheet-utf8.dat', WORKSHEET + WORKSHEET_ACCENTS)
    # The very worksheet stream of design.mip, as a plain file.
    write_bytes('worksheet-tab.dat', text(WORKSHEET))
    write_expected('worksheet-tab.dat', WORKSHEET)
    write_bytes('worksheet-windows1252.dat',
                text(WORKSHEET_ACCENTS * 4, 'cp1252', '\r\n'))
    write_expected('worksheet-windows1252.dat', WORKSHEET_ACCENTS * 4)
    write_bytes('worksheet-utf16le.dat', b'\xff\xfe' + text(WORKSHEET_ACCENTS, 'utf-16-le'))
    write_expected('worksheet-utf16le.dat', WORKSHEET_ACCENTS)

    # Design files: the worksheet beside the design's other streams.
    design = [('Design Info', b'\x02\x00\x00\x00factors=4;responses=2\x00'),
              ('Model.bin', bytes(range(256)) * 4),
              ('Worksheet.dat', text(WORKSHEET))]
    compound('design.mip', design)
    write_expected('design.mip', WORKSHEET)
    # Windows line ends and windows-1252 text inside the design file; a blank last line.
    compound('design-windows1252.mip',
             [('Notes', 'Versuchsplan für Ausbeute'.encode('cp1252')),
              ('Plan.dat', text(WORKSHEET_ACCENTS, 'cp1252', '\r\n') + b'\r\n')])
    write_expected('design-windows1252.mip', WORKSHEET_ACCENTS)
    # A design file saved without an extension: the zero bytes send it to the compound path.
    compound('design-without-extension', design)
    write_expected('design-without-extension', WORKSHEET)

    # A design file whose only stream is named "data": no worksheet (515).
    compound('data-only.mip', [('data', text(WORKSHEET))])
    # A design file cut inside its directory: not readable as a compound file (516).
    whole = open(os.path.join(HERE, 'design.mip'), 'rb').read()
    write_bytes('damaged.mip', whole[:600])
    # Worksheet text saved under the design file's extension: never read as text (516).
    write_bytes('text-named.mip', text(WORKSHEET))


if __name__ == '__main__':
    main()
