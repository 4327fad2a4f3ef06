#!/usr/bin/python3
"""Writes csv/X.expected.tsv for each file X of the csv-spectrum suite in ../shared/corpus/csv
from the suite's own expected parse (X's JSON): a header row of the first record's keys, then
each record's values, one line per cell ("row<TAB>col<TAB>text", backslash escapes for line
feed, carriage return, tab and backslash).

Two deliberate differences from the suite are applied here:
- a quoted CR LF becomes one line feed in the value, where the suite keeps the CR LF;
- location_coordinates.json gives a phone number that is not the one in its CSV file
  ("1234567890" against "2095257564"); the golden has the file's number.

Run with Debian's /usr/bin/python3 from anywhere.
"""
import json
import os

HERE = os.path.dirname(os.path.abspath(__file__))
CORPUS = os.path.join(HERE, "..", "..", "..", "..", "shared", "corpus", "csv")

# The suite keeps one expected file for both line-end variants of the empty-field file.
SUITE = {
    "comma_in_quotes.csv": "comma_in_quotes.json",
    "empty.csv": "empty.json",
    "empty_crlf.csv": "empty.json",
    "json.csv": "json.json",
    "location_coordinates.csv": "location_coordinates.json",
    "newlines.csv": "newlines.json",
    "newlines_crlf.csv": "newlines_crlf.json",
    "quotes_and_newlines.csv": "quotes_and_newlines.json",
    "simple.csv": "simple.json",
    "simple_crlf.csv": "simple_crlf.json",
    "utf8.csv": "utf8.json",
}


def escape(text):
    return (text.replace("\\", "\\\\").replace("\n", "\\n").replace("\r", "\\r")
            .replace("\t", "\\t"))


for csv_name, json_name in SUITE.items():
    with open(os.path.join(CORPUS, json_name), encoding="utf-8") as f:
        records = json.load(f)
    if isinstance(records, dict):
        records = [records]
    rows = [list(records[0].keys())] + [list(r.values()) for r in records]
    if csv_name == "location_coordinates.csv":
        assert rows[1][0] == "1234567890"
        rows[1][0] = "2095257564"
    with open(os.path.join(HERE, "csv", csv_name + ".expected.tsv"), "w", encoding="utf-8",
              newline="\n") as out:
        for r, row in enumerate(rows, 1):
            for c, text in enumerate(row, 1):
                out.write("%d\t%d\t%s\n" % (r, c, escape(text.replace("\r\n", "\n"))))
