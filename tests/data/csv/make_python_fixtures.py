#!/usr/bin/python3
"""Writes CSV fixtures with Python's csv module in several dialects and encodings.

Run with Debian's /usr/bin/python3 from this folder. Every fixture X gets X.expected.tsv:
one line per cell, "row<TAB>col<TAB>text" (1-based), with backslash escapes for line
feed, carriage return, tab and backslash, holding what the CSV reader must deliver.
"""
import csv
import io

TABLE = [
    ["id", "name", "value", "note"],
    ["1", "alpha", "1.5", "plain"],
    ["2", "beta, gamma", "-3", 'say "hi"'],
    ["3", "multi\r\nline", "0.25", "\u00fcn\u00efc\u00f6d\u00e9 \u20ac"],
    ["4", "", "42", "semi;colon"],
    ["5", "tab\there", "1e-5", "back\\slash"],
    ["6", "short"],
]

LANGUAGES = {
    "cp1252": [["word", "price"], ["caf\u00e9", "\u20ac 5"], ["na\u00efve", "\u2013 dash"]],
    "latin1": [["word", "note"], ["fa\u00e7ade", "\u00c6r\u00f8"], ["Stra\u00dfe", "\u00bd"]],
    "shift_jis": [["\u540d\u524d", "\u5024"], ["\u65e5\u672c\u8a9e", "1"],
                  ["\u30ab\u30bf\u30ab\u30ca", "2"]],
    "gb18030": [["\u540d\u79f0", "\u6570\u503c"], ["\u4e2d\u6587", "1"], ["\u6c49\u5b57", "2"]],
    "koi8_r": [["\u0438\u043c\u044f", "\u0447\u0438\u0441\u043b\u043e"],
               ["\u041f\u0440\u0438\u0432\u0435\u0442", "1"], ["\u043c\u0438\u0440", "2"]],
}


def escape(text):
    return (text.replace("\\", "\\\\").replace("\n", "\\n").replace("\r", "\\r")
            .replace("\t", "\\t"))


def expected(rows):
    """The cells the reader delivers: a quoted CR LF becomes one line feed."""
    lines = []
    for r, row in enumerate(rows, 1):
        for c, text in enumerate(row, 1):
            lines.append("%d\t%d\t%s\n" % (r, c, escape(text.replace("\r\n", "\n"))))
    return "".join(lines)


def write(name, rows, encoding="utf-8", bom=b"", expect=None, **fmt):
    buffer = io.StringIO(newline="")
    csv.writer(buffer, **fmt).writerows(rows)
    with open(name, "wb") as out:
        out.write(bom + buffer.getvalue().encode(encoding))
    with open(name + ".expected.tsv", "w", encoding="utf-8", newline="\n") as out:
        out.write(expected(expect if expect is not None else rows))


# Dialects, all in UTF-8.
write("py_excel.csv", TABLE, dialect="excel")
write("py_excel_tab.tsv", TABLE, dialect="excel-tab")
write("py_unix_quote_all.csv", TABLE, dialect="unix")
write("py_semicolon_nonnumeric.csv", [[float(v) if v[:1].isdigit() and "e" not in v
                                       else v for v in row] for row in TABLE],
      expect=[[str(float(v)) if v[:1].isdigit() and "e" not in v else v for v in row]
              for row in TABLE],
      delimiter=";", quoting=csv.QUOTE_NONNUMERIC)
# Backslash escapes instead of doubled quotes: read with an escape-character dialect.
write("py_escaped.csv", TABLE, escapechar="\\", doublequote=False, quoting=csv.QUOTE_MINIMAL,
      lineterminator="\n")

# Encodings, written with and without byte-order marks.
write("py_utf8.csv", TABLE)
write("py_utf8_bom.csv", TABLE, bom=b"\xef\xbb\xbf")
write("py_utf16le_bom.csv", TABLE, encoding="utf-16-le", bom=b"\xff\xfe")
write("py_utf16be_bom.csv", TABLE, encoding="utf-16-be", bom=b"\xfe\xff")
for codec, rows in LANGUAGES.items():
    write("py_%s.csv" % codec, rows, encoding=codec)
