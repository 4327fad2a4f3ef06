#!/usr/bin/python3
"""Writes the Brimrose test fixtures and the sheets they should read as.

Run from anywhere: /usr/bin/python3 tests/data/brimrose/make_fixtures.py
Each fixture is built from the file layout alone (512-byte main header, then per
spectrum a 128-byte sub-header and one little-endian float32 per point), and its
expected sheet is computed here independently of the C++ reader. Values are chosen
exactly representable in float32 so that their text is the same in both languages.
Time stamps are written as UTC; the tests run with TZ=UTC.
"""
import os
import struct
import time

HERE = os.path.dirname(os.path.abspath(__file__))
MAGIC = 0x0D0C10FF
MAGIC_ALTERNATIVE = 0x0BA7133C


def main_header(magic, first, last, increment, points, spectra):
    header = bytearray(512)
    struct.pack_into('<I', header, 0, magic)
    # Unaligned fields, exactly where the instrument software puts them.
    struct.pack_into('<fffHxxH', header, 29, first, last, increment, points, spectra)
    # Filler that must not be interpreted.
    header[4:29] = b'instrument serial 0042   '[:25]
    return bytes(header)


def sub_header(seconds, label):
    block = bytearray(128)
    struct.pack_into('<I', block, 0, seconds)
    raw = label.encode('ascii')[:123]
    block[4:4 + len(raw)] = raw
    return bytes(block)


def spectrum(seconds, label, values):
    return sub_header(seconds, label) + struct.pack('<%df' % len(values), *values)


def f32(value):
    return struct.unpack('<f', struct.pack('<f', value))[0]


def number_text(value):
    # Shortest round-trip text of the double, integers without a fraction.
    return str(int(value)) if value == int(value) else repr(value)


def expected_sheet(first, increment, points, spectra):
    """Cells of a complete read of the given spectra, as RecordingSink::Dump prints them."""
    lines = []
    if not spectra:
        return lines
    lines.append('1\t1\ttext\tSampleNo')
    lines.append('1\t2\ttext\tDateTime')
    for i in range(points):
        wavelength = f32(f32(float(i)) * f32(increment) + f32(first))
        lines.append('1\t%d\ttext\tw%.0f' % (i + 3, wavelength))
    for n, (seconds, _, values) in enumerate(spectra):
        row = n + 2
        stamp = time.strftime('%Y-%m-%d/%H:%M:%S', time.gmtime(seconds))
        lines.append('%d\t1\tnumber\t%d' % (row, n + 1))
        lines.append('%d\t2\ttext\t%s' % (row, stamp))
        for i, v in enumerate(values):
            lines.append('%d\t%d\tnumber\t%s' % (row, i + 3, number_text(f32(v))))
    return lines


def write(name, data, expected=None):
    assert len(data) < 64 * 1024
    with open(os.path.join(HERE, name), 'wb') as out:
        out.write(data)
    if expected is not None:
        stem = os.path.splitext(name)[0]
        with open(os.path.join(HERE, stem + '.expected.tsv'), 'w', newline='\n') as out:
            out.write(''.join(line + '\n' for line in expected))


def build(magic, first, last, increment, spectra, declared=None):
    points = len(spectra[0][2]) if spectra else 4
    count = len(spectra) if declared is None else declared
    data = main_header(magic, first, last, increment, points, count)
    data += b''.join(spectrum(*s) for s in spectra)
    return data, points


def main():
    two = [
        (1262304000, 'wheat A', [0.5, 0.625, 0.75]),     # 2010-01-01 00:00:00
        (1262307723, 'wheat B', [-0.25, 1.5, 2.125]),    # 2010-01-01 01:02:03
    ]
    data, points = build(MAGIC, 1100.0, 1104.0, 2.0, two)
    write('two-spectra.dat', data, expected_sheet(1100.0, 2.0, points, two))

    # Second magic value; wavelengths that need rounding to a whole number.
    alt = [(1700000000, 'barley', [0.125, 0.25, 0.375, 0.5])]
    data, points = build(MAGIC_ALTERNATIVE, 999.75, 1002.0, 0.75, alt)
    write('alternative-magic.dat', data, expected_sheet(999.75, 0.75, points, alt))

    # Time stamps at the ends of the unsigned 32-bit range and a leap day.
    stamps = [(0, 'epoch', [1.0]), (951782400, 'leap day', [2.0]),
              (0xFFFFFFFF, 'last second', [3.0])]
    data, points = build(MAGIC, 1500.0, 1500.0, 1.0, stamps)
    write('unsigned-time-stamps.dat', data, expected_sheet(1500.0, 1.0, points, stamps))

    # Zero spectra, header only: exactly 512 bytes, the smallest recognised file.
    data = main_header(MAGIC, 1100.0, 1106.0, 2.0, 4, 0)
    write('zero-spectra.dat', data, [])

    three = two + [(1262311323, 'wheat C', [4.0, 5.0, 6.0])]
    full, points = build(MAGIC, 1100.0, 1104.0, 2.0, three)
    # Cut after the third sub-header and one of its three values.
    write('cut-in-third-spectrum.dat', full[:len(full) - 8],
          expected_sheet(1100.0, 2.0, points, two))
    # Cut inside the second sub-header.
    record = 128 + 4 * points
    write('cut-in-second-sub-header.dat', full[:512 + record + 60],
          expected_sheet(1100.0, 2.0, points, two[:1]))

    # One byte short of a main header, with a valid magic.
    write('short-header.dat', main_header(MAGIC, 1100.0, 1104.0, 2.0, 3, 1)[:511])
    # A full header whose magic is off by one byte.
    write('wrong-magic.dat', b'\xfe' + full[1:])
    # Both counts at their 16-bit maximum, but no spectrum follows.
    write('maximum-counts.dat', main_header(MAGIC, 400.0, 2400.0, 0.5, 0xFFFF, 0xFFFF))


if __name__ == '__main__':
    main()
