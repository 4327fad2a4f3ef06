"""Times reading a file into a pandas DataFrame with zmimport and with pandas itself
(read_csv for .csv, read_excel with openpyxl for .xlsx); prints the first read's time and
the best of three (later reads find memory that earlier ones released).
Usage: python_read.py FILE [zmimport|pandas]"""
import sys
import time

import pandas

path, who = sys.argv[1], sys.argv[2]
if who == "zmimport":
    import zmimport

    def load():
        return zmimport.read(path).to_pandas()
else:

    def load():
        if path.endswith(".xlsx"):
            return pandas.read_excel(path, engine="openpyxl")
        return pandas.read_csv(path)

runs = 1 if path.endswith(".xlsx") and who == "pandas" else 3
times = []
for _ in range(runs):
    start = time.perf_counter()
    frame = load()
    times.append(time.perf_counter() - start)
print("shape", frame.shape)
print("first", times[0])  # pandas imported beforehand by both
print("seconds", min(times))
