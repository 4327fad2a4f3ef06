#!/usr/bin/python3
"""Writes small hand-made DIF files for the reader's edge cases, each with X.expected.tsv
listing the cells the reader delivers ("row<TAB>col<TAB>text", the CSV fixtures' layout).

Run with Debian's /usr/bin/python3 from anywhere.
"""
import os

HERE = os.path.dirname(os.path.abspath(__file__))


def dif(vectors, tuples, rows, eol="\n"):
    """A DIF file from rows of ready-made records ("1,0\\n\\"a\\"" or "0,1\\nV")."""
    out = ('TABLE\n0,1\n"t"\nVECTORS\n0,%d\n""\nTUPLES\n0,%d\n""\nDATA\n0,0\n""\n'
           % (vectors, tuples))
    for row in rows:
        out += "-1,0\nBOT\n" + "".join(record + "\n" for record in row)
    return (out + "-1,0\nEOD\n").replace("\n", eol)


def write(name, text, cells):
    with open(os.path.join(HERE, name), "w", encoding="latin-1", newline="") as f:
        f.write(text)
    with open(os.path.join(HERE, name + ".expected.tsv"), "w", encoding="utf-8",
              newline="\n") as f:
        for (row, col), value in sorted(cells.items()):
            f.write("%d\t%d\t%s\n" % (row, col, value))


def grid(rows):
    return {(r, c): v for r, row in enumerate(rows, 1) for c, v in enumerate(row, 1)}


# Every kind of value, CR LF line ends: TRUE and FALSE are 1 and 0; ERROR, NA and an unknown
# indicator are empty but still take their columns.
write("edge_value_kinds.dif",
      dif(5, 2, [['1,0\n"name"', "0,1.5\nV", "0,1\nTRUE", "0,0\nFALSE", '1,0\n""'],
                 ["0,0\nERROR", '1,0\n"x y"', "0,9\nZZ", "0,7\nNA", "0,-3\nV"]], "\r\n"),
      grid([["name", "1.5", "1", "0", ""], ["", "x y", "", "", "-3"]]))
# The first tuple is as long as TUPLES says: rows and columns are exchanged (3 x 2).
write("edge_transposed.dif",
      dif(3, 2, [["0,1\nV", "0,2\nV"], ["0,3\nV", "0,4\nV"], ["0,5\nV", "0,6\nV"]]),
      grid([["1", "2"], ["3", "4"], ["5", "6"]]))
# Neither count fits, so the data is scanned (3 x 2); missing values do not widen a row, and
# cells beyond the established columns are not delivered.
write("edge_scanned.dif",
      dif(9, 9, [["0,1\nV"], ["0,1\nV", '1,0\n"a"', "0,0\nNA", "0,0\nNA"], []]),
      {(1, 1): "1", (2, 1): "1", (2, 2): "a"})
# A header claiming far more than the file can hold is not believed (1 x 1).
write("edge_bragging_header.dif", dif(1, 2000000000, [["0,1\nV"]]), {(1, 1): "1"})
# An unquoted string record is a record error (770) while sizing.
write("edge_unquoted_string.dif", dif(1, 1, [["1,0\nnot quoted"]]), {})
# Data cut before EOD: sizing finds the record error (770); a read without sizing delivers
# what came before the damage (checked in the DIF tests).
write("edge_cut_before_eod.dif", dif(2, 1, [["0,1\nV", "0,2\nV"]])[:-10], {})
