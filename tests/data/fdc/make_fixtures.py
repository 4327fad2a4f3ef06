#!/usr/bin/python3
"""Writes the FDC XML fixtures of this folder and the expected sheets of the readable ones.

Run from anywhere: /usr/bin/python3 make_fixtures.py
Documents are built from small Python descriptions; the expected sheet of each readable
document (row, column, kind, value) is computed here from the same description, without
the reader. See FIXTURES.md for what each file exercises.
"""
import os

HERE = os.path.dirname(os.path.abspath(__file__))
DOCTYPE = '<!DOCTYPE FDCRequest SYSTEM "FDCRequest.dtd">'


def attrs(d):
    return ''.join(' %s="%s"' % (k, v) for k, v in d.items())


def wafer_attrs(wafer_id, raw_name):
    return {
        'WaferID': wafer_id, 'rawDataName': raw_name, 'LotID': 'LOT-4711',
        'SlotID': '3', 'RouteID': 'R-ETCH-02', 'ProductID': 'PX-200',
        'OperationNumber': '1200', 'OperationName': 'Gate etch', 'OPERATIONPASSCOUNT': '1',
        'PriorityClass': '2', 'LineCode': 'FAB1', 'JobClass': 'PROD', 'QualityCode': 'A'}


class Interval:
    def __init__(self, name, number, rows, duration='12.5', start='2024-03-05T09:00:00',
                 sumdata=(), params=()):
        self.a = {'Name': name, 'Number': str(number), 'FromRow': str(rows[0]),
                  'ToRow': str(rows[1]), 'Duration': duration, 'StartTime': start}
        self.sumdata, self.params = sumdata, params

    def xml(self):
        inner = ''.join('\n        <sumdata%s/>' % attrs(s) for s in self.sumdata)
        inner += ''.join('\n        <RecipeParameter%s/>' % attrs(p) for p in self.params)
        if not inner:
            return '      <Interval%s/>\n' % attrs(self.a)
        return '      <Interval%s>%s\n      </Interval>\n' % (attrs(self.a), inner)


class Section:
    """A RAWDATA text: header lines, the variable line and rows of (number, values)."""

    def __init__(self, name, variables, rows, header=None, cdata=False, declared=None):
        self.name, self.variables, self.rows, self.cdata = name, variables, rows, cdata
        count = len(rows) if declared is None else declared
        self.header = header if header is not None else ['NUM_DATA_ROWS=%d' % count]
        self.variable_line = '\t'.join('"%s"' % v for v in variables)

    def text(self):
        lines = self.header + [self.variable_line]
        lines += ['\t'.join([str(n)] + list(vals)) for n, vals in self.rows]
        body = '\n' + '\n'.join(lines) + '\n'
        return '<![CDATA[%s]]>' % body if self.cdata else body


def document(wafers, sections, message=None, logistics=None, response=True, doctype=DOCTYPE,
             extra_root='', raw_override=None):
    message = message if message is not None else {'MessageSequenceIdentifier': '881'}
    logistics = logistics if logistics is not None else {
        'FDCModel': 'EtchModel-3', 'RecipeID': 'POLY_ME_45', 'ControlJobID': 'CJ-0042',
        'EquipmentID': 'ETCH07', 'ToolType': 'PlasmaEtch', 'ResourceID': 'ETCH07-PM2',
        'chamberRecipe': 'PM2_MAIN'}
    out = '<?xml version="1.0" encoding="UTF-8"?>\n' + doctype + '\n'
    out += '<FDCRequest%s>\n' % attrs(message)
    out += '  <APCSystemName ID="APC-North"/>\n'
    out += '  <Logistics%s/>\n' % attrs(logistics)
    out += '  <Trend Name="Gate etch trace">\n'
    for wa, intervals in wafers:
        out += '    <dataset%s>\n' % attrs(wa)
        out += ''.join(i.xml() for i in intervals)
        out += '    </dataset>\n'
    out += '  </Trend>\n'
    for s in sections:
        text = raw_override if raw_override is not None else s.text()
        out += '  <RawData Name="%s">%s</RawData>\n' % (s.name, text)
    out += extra_root
    if response:
        out += '  <Response TopicName="FDC.Results.ETCH07"/>\n'
    out += '</FDCRequest>\n'
    return out


def fmt_number(x):
    return str(int(x)) if x == int(x) and abs(x) < 1e15 else repr(x)


def expected(wafers, sections, label='Name'):
    """The sheet: names row, then per wafer its section's rows with interval labels."""
    by_name = {s.name.lower(): s for s in sections}
    columns = []
    for wa, _ in wafers:
        seen = {}
        for v in by_name[wa['rawDataName'].lower()].variables:
            key = (v, seen.get(v, 0))
            seen[v] = key[1] + 1
            if key not in columns:
                columns.append(key)
    cells = [(1, 1, 'text', 'Wafer (Batch)'), (1, 2, 'text', 'Interval (Phase)')]
    cells += [(1, 3 + i, 'text', c[0]) for i, c in enumerate(columns)]
    row = 2
    for wa, intervals in wafers:
        s = by_name[wa['rawDataName'].lower()]
        seen, cols = {}, []
        for v in s.variables:
            cols.append(3 + columns.index((v, seen.get(v, 0))))
            seen[v] = seen.get(v, 0) + 1
        for number, values in s.rows:
            cells.append((row, 1, 'text', wa['WaferID']))
            for i in intervals:  # document order: the first holding the row wins
                if int(i.a['FromRow']) <= number <= int(i.a['ToRow']):
                    if label == 'Number':
                        cells.append((row, 2, 'number', i.a['Number']))
                    else:
                        cells.append((row, 2, 'text', i.a[label]))
                    break
            for col, v in zip(cols, values):
                v = v.strip()
                if v.startswith('"') and v.endswith('"') and len(v) >= 2:
                    v = v[1:-1]
                if v == '':
                    continue
                try:
                    cells.append((row, col, 'number', fmt_number(float(v))))
                except ValueError:
                    cells.append((row, col, 'text', v))
            row += 1
    cells.sort(key=lambda c: (c[0], c[1]))
    return ''.join('%d\t%d\t%s\t%s\n' % c for c in cells)


def write(name, text):
    with open(os.path.join(HERE, name), 'w', encoding='utf-8', newline='\n') as f:
        f.write(text)


def two_wafers():
    w1 = [Interval('Stabilize', 1, (1, 3), '3.0', '2024-03-05T09:00:00',
                   sumdata=[{'Name': 'Pressure', 'StatName': 'Mean', 'Value': '12.1'},
                            {'Name': 'Pressure', 'Value': '0.4'}],
                   params=[{'Name': 'RFSetpoint', 'Value': '350', 'ValueLowerLimit': '340',
                            'ValueUpperLimit': '+3.6e2', 'UseCurrentValueFlag': 'true'}]),
          Interval('f_MainEtch', 2, (4, 7), '4.5', '2024-03-05T09:00:03'),
          Interval('OverEtch', 3, (8, 9), '2', '2024-03-05T09:00:07.5')]
    rows1 = [(n, ['%.1f' % ((n - 1) * 0.5), '%g' % (12 + n * 0.25), str(300 + 10 * n),
                  '%g' % (25.5 + n * 0.125)]) for n in range(1, 11)]
    rows1[4] = (5, ['2.0', '', '350', 'n/a'])  # a missing value and a text value
    s1 = Section('RD_W01', ['Time', 'Pressure', 'RF Power', 'Temp'], rows1,
                 header=['NUM_DATA_COLS=4', 'NUM_DATA_ROWS=10', 'SAMPLE_RATE: 2'])
    w2 = [Interval('Stabilize', 1, (1, 4), '4', '2024-03-05T09:05:00'),
          Interval('MainEtch', 2, (3, 6), '5', '2024-03-05T09:05:04'),
          Interval('OverEtch', 3, (9, 12), '1.5', '2024-03-05T09:05:09')]
    rows2 = [(n, ['%.1f' % (n * 0.5), '%g' % (11 + n * 0.5), '"%g"' % (24 + n), '%g' % (40 - n)])
             for n in (2, 4, 6, 8, 10)]
    s2 = Section('RD_W02', ['Time', 'Pressure', 'Temp', 'Flow'], rows2, cdata=True)
    wafers = [(wafer_attrs('W01', 'RD_W01'), w1),
              (dict(wafer_attrs('W02-\u00b5', 'rd_w02'), LotID='LOT-\u00e9t\u00e9'), w2)]
    sections = [s1, s2]
    write('two-wafers.xml', document(wafers, sections))
    write('two-wafers.expected.tsv', expected(wafers, sections))
    write('two-wafers.by-number.expected.tsv', expected(wafers, sections, 'Number'))
    write('two-wafers.by-start-time.expected.tsv', expected(wafers, sections, 'StartTime'))
    return wafers, sections


def sizes_100_120():
    variables = ['Time', 'Pressure', 'RF Power', 'Temp', 'Flow', 'Bias']
    wafers, sections = [], []
    for w, count in (('A', 100), ('B', 120)):
        rows = [(n, ['%.1f' % (n * 0.1)] + ['%d' % (n * k) for k in range(1, 6)])
                for n in range(1, count + 1)]
        sections.append(Section('RAW_' + w, variables, rows))
        wafers.append((wafer_attrs('W' + w, 'RAW_' + w),
                       [Interval('Step1', 1, (1, count // 2)),
                        Interval('Step2', 2, (count // 2 + 1, count))]))
    write('sizes-100-120.xml', document(wafers, sections))


def failures(wafers, sections):
    """One document per message; the tests name the expected text."""
    def with_wafer_change(name, **changes):
        w = [(dict(wafers[0][0], **changes), wafers[0][1])] + wafers[1:]
        write(name, document(w, sections))

    def with_interval(name, interval):
        w = [(wafers[0][0], [interval])] + wafers[1:]
        write(name, document(w, sections))

    write('missing-response.xml', document(wafers, sections, response=False))
    lacking = dict(wafers[0][0])
    del lacking['LotID']
    write('missing-lotid.xml', document([(lacking, wafers[0][1])] + wafers[1:], sections))
    logistics = {'FDCModel': 'm', 'RecipeID': 'r', 'ControlJobID': 'c', 'EquipmentID': 'e',
                 'ToolType': 't', 'ResourceID': 'res'}  # no chamberRecipe: optional
    write('no-chamber-recipe.xml', document(wafers, sections, logistics=logistics))
    with_interval('duration-abc.xml', Interval('Step', 1, (1, 10), duration='abc'))
    with_interval('fromrow-not-integer.xml', Interval('Step', 1, ('1.5', 10)))
    with_interval('flag-yes.xml', Interval('Step', 1, (1, 10), params=[
        {'Name': 'P', 'Value': '1', 'ValueLowerLimit': '0', 'ValueUpperLimit': '2',
         'UseCurrentValueFlag': 'yes'}]))
    with_wafer_change('unknown-section.xml', rawDataName='RD_W09')

    def with_section(name, section, **kw):
        write(name, document(wafers[:1], [section], **kw))

    v, r = sections[0].variables, sections[0].rows
    with_section('rawdata-empty.xml', sections[0], raw_override='')
    with_section('rawdata-without-count.xml', Section('RD_W01', v, r, header=['ROWS=10']))
    with_section('count-not-a-number.xml', Section('RD_W01', v, r, header=['NUM_DATA_ROWS=ten']))
    with_section('no-variables.xml', Section('RD_W01', [], [], header=['NUM_DATA_ROWS=0']))
    with_section('no-time.xml', Section('RD_W01', ['Clock'] + v[1:], r))
    short = list(r)
    short[3] = (4, r[3][1][:2])
    with_section('short-line.xml', Section('RD_W01', v, short))
    swapped = list(r)
    swapped[5], swapped[6] = swapped[6], swapped[5]
    with_section('rows-not-increasing.xml', Section('RD_W01', v, swapped))
    with_section('unexpected-eof.xml', Section('RD_W01', v, r, declared=11))
    with_section('huge-row-count.xml', Section('RD_W01', v, r, declared=2147483647))


def hostile(wafers, sections):
    """Documents that try to reach outside the file or to blow up."""
    s1 = sections[:1]
    w1 = wafers[:1]
    subset = ('<!DOCTYPE FDCRequest SYSTEM "FDCRequest.dtd" [\n'
              '  <!ENTITY host SYSTEM "%s">\n]>')
    raw = s1[0].text()
    for name, target in (('entity-local-file.xml', '/etc/hostname'),
                         ('entity-file-url.xml', 'file:///etc/hostname'),
                         ('entity-http-url.xml', 'http://127.0.0.1:9/fdc-entity.txt')):
        write(name, document(w1, s1, doctype=subset % target,
                             raw_override=raw.replace('NUM_DATA_ROWS', '&host;NUM_DATA_ROWS')))
    write('parameter-entity.xml', document(w1, s1, doctype=(
        '<!DOCTYPE FDCRequest SYSTEM "FDCRequest.dtd" [\n'
        '  <!ENTITY % p SYSTEM "/etc/hostname">\n  %p;\n]>')))
    write('other-dtd.xml', document(w1, s1,
                                    doctype='<!DOCTYPE FDCRequest SYSTEM "/etc/hostname">'))
    write('relative-dtd-path.xml', document(w1, s1,
                                            doctype='<!DOCTYPE FDCRequest SYSTEM "./FDC.dtd">'))
    write('no-doctype.xml', document(w1, s1, doctype=''))
    laughs = ['<!ENTITY lol0 "lol">']
    for i in range(1, 10):
        laughs.append('<!ENTITY lol%d "%s">' % (i, ('&lol%d;' % (i - 1)) * 10))
    write('billion-laughs.xml', document(w1, s1, doctype=(
        '<!DOCTYPE FDCRequest SYSTEM "FDCRequest.dtd" [\n  ' + '\n  '.join(laughs) + '\n]>'),
        raw_override=raw.replace('NUM_DATA_ROWS', '&lol9;NUM_DATA_ROWS')))
    write('undeclared-element.xml', document(w1, s1, extra_root='  <Comment/>\n'))


def main():
    wafers, sections = two_wafers()
    sizes_100_120()
    failures(wafers, sections)
    hostile(wafers, sections)


if __name__ == '__main__':
    main()
