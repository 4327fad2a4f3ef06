#!/usr/bin/python3
"""Times pandas.read_csv (C engine) on one file: prints "seconds S" for the call alone.
Usage: pandas_read_csv.py FILE comma|tab"""
import sys
import time

import pandas

path, sep = sys.argv[1], {"comma": ",", "tab": "\t"}[sys.argv[2]]
start = time.perf_counter()
frame = pandas.read_csv(path, sep=sep, engine="c")
print("seconds %.4f" % (time.perf_counter() - start))
