#!/usr/bin/python3
"""Writes the Thermo SIEVE test fixtures and the sheets they should read as.

Run from anywhere: /usr/bin/python3 tests/data/sieve/make_fixtures.py
A SIEVE result table has one header line and one line per detected frame: FrameID,
the m/z window (MZStart, MZStop), the retention-time window (TimeStart, TimeStop),
the statistics pValue, Ratio, UpperBound, LowerBound and FOM1, and one Intensity_
column per raw file. The expected sheet of each table is computed here, independently
of the C++ reader: the fields in their fixed order with the two averages added, turned
by a quarter (the file line is the column of the dump, the field number its row).
"""
import os
import re

HERE = os.path.dirname(os.path.abspath(__file__))

FIELDS = ['FrameID', 'MZStart', 'MZStop', 'AverageMZ', 'TimeStart', 'TimeStop', 'AverageRT',
          'pValue', 'Ratio', 'UpperBound', 'LowerBound', 'FOM1']
AVERAGES = {'AverageMZ': ('MZStart', 'MZStop'), 'AverageRT': ('TimeStart', 'TimeStop')}
NUMBER = re.compile(r'[ \t\n\v\f\r]*\+?(-?(\d+\.?\d*|\.\d+)([eE][-+]?\d+)?)')


def c_number(text):
    """What the C library's strtod makes of a cell in the classic locale (0 without one)."""
    if text is None:
        return 0.0
    match = NUMBER.match(text)
    return float(match.group(1)) if match else 0.0


def number_text(value):
    return str(int(value)) if value == int(value) else repr(value)


def cells(line, delimiter):
    """The text reader's cutting: no quoting, no trailing empty cell, none for an empty line."""
    if line == '':
        return []
    parts = line.split(delimiter)
    if parts[-1] == '':
        parts.pop()
    return parts


def expected_sheet(lines, delimiter):
    rows = [cells(line, delimiter) for line in lines]
    header = rows[0]

    def column(name):
        for i, title in enumerate(header):
            if title.startswith(name):
                return i
        return None

    field_columns = [None if name in AVERAGES else column(name) for name in FIELDS]
    field_names = list(FIELDS)
    for i, title in enumerate(header):
        if title.startswith('Intensity_'):
            field_columns.append(i)
            field_names.append(title)

    out = []
    for field, (name, col) in enumerate(zip(field_names, field_columns), start=1):
        for number, row in enumerate(rows, start=1):
            if name in AVERAGES:
                if number == 1:
                    out.append('%d\t%d\ttext\t%s' % (field, number, name))
                    continue
                low, high = (column(n) for n in AVERAGES[name])
                get = lambda c: row[c] if c is not None and c < len(row) else None
                value = (c_number(get(low)) + c_number(get(high))) * 0.5
                out.append('%d\t%d\tnumber\t%s' % (field, number, number_text(value)))
            elif col is not None and col < len(row):
                out.append('%d\t%d\ttext\t%s' % (field, number, row[col]))
    return ''.join(line + '\n' for line in out)


def write(name, lines, delimiter, newline='\n', bom=False, readable=True):
    data = ''.join(line + newline for line in lines).encode('utf-8')
    if bom:
        data = b'\xef\xbb\xbf' + data
    with open(os.path.join(HERE, name), 'wb') as f:
        f.write(data)
    if readable:
        with open(os.path.join(HERE, name + '.expected.tsv'), 'w', newline='\n') as f:
            f.write(expected_sheet(lines, delimiter))


def table(delimiter, header, rows):
    return [delimiter.join(header)] + [delimiter.join(str(c) for c in row) for row in rows]


def main():
    # Tab-separated, as SIEVE exports it: two intensity columns, and the statistics in
    # another order than the sheet's (FOM1 before the bounds, a column the sheet drops).
    header = ['FrameID', 'MZStart', 'MZStop', 'TimeStart', 'TimeStop', 'pValue', 'Ratio',
              'FOM1', 'NumChromPeaks', 'LowerBound', 'UpperBound', 'Intensity_A', 'Intensity_B']
    rows = [
        [1, 100.2, 100.4, 12.5, 13.1, 0.0012, 2.5, 0.91, 3, 1.8, 3.2, 152000, 61000],
        [2, 245.1103, 245.1161, 20.02, 20.44, 0.5, 0.98, 0.12, 1, 0.7, 1.3, 8200.5, 8400],
        [3, 512.25, 512.75, 33.0, 34.0, 1e-05, 11.75, 0.99, 7, 9.5, 14.0, 990000, 84000],
    ]
    write('tab-two-intensities.txt', table('\t', header, rows), '\t')

    # Comma-separated with Windows line ends, missing cells (empty ones, a line cut short
    # after the retention window, a line without MZStop) and four intensity columns
    # between other columns.
    header = ['FrameID', 'MZStart', 'MZStop', 'TimeStart', 'TimeStop', 'pValue', 'Ratio',
              'UpperBound', 'LowerBound', 'FOM1', 'Intensity_ctrl1', 'Comment',
              'Intensity_ctrl2', 'Intensity_trt1', 'Intensity_trt2']
    lines = table(',', header, [
        [10, 300.5, 301.5, 5.25, 5.75, 0.04, 1.5, 2, 1, 0.8, 100, 'ok', 110, 150, 160],
        [11, 410.0, 410.25, 7.5, '', '', 0.5, '', '', 0.3, 5, '', 6, 2, 3],
    ])
    lines.append('12,620.125,,41.0,42.5')        # cut short: no statistics, no MZStop
    lines.append('13,700,700.5,55,56,0.2,1,,,,,,,,7')
    write('comma-missing-cells.txt', lines, ',', newline='\r\n')

    # Semicolon-separated with a byte-order mark, unit suffixes after the names (matched
    # by prefix), a later column that also starts with "Ratio" (the first one counts) and
    # decimal commas in a statistic (text cells pass through as they are).
    header = ['FrameID', 'MZStart [Th]', 'MZStop [Th]', 'TimeStart [min]', 'TimeStop [min]',
              'pValue', 'Ratio (trt/ctrl)', 'RatioLog2', 'UpperBound', 'LowerBound', 'FOM1',
              'Intensity_run01.raw', 'Intensity_run02.raw', 'Intensity_run03.raw']
    rows = [
        [7, ' 150.0', '+150.5', '1.5e1', '16', '0,03', 2, 1, 3, 1, 0.5, 10, 20, 30],
        [8, '999.75', '1000.25', '0.5', 'x', '0,5', 1, 0, 2, 0, 0.1, 1, 2, 3],
    ]
    write('semicolon-units.txt', table(';', header, rows), ';', bom=True)

    # Not a SIEVE table: Ratio is missing from the first seven names.
    write('without-ratio.txt', table('\t', FIELDS[:3] + ['TimeStart', 'TimeStop', 'pValue', 'FOM1'],
                                     [[1, 2, 3, 4, 5, 6, 7]]), '\t', readable=False)


if __name__ == '__main__':
    main()
