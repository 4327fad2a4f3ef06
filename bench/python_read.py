"""Times reading a file into a pandas DataFrame with zmimport and with pandas itself
(read_csv for .csv, read_excel with openpyxl for .xlsx); prints the best of three.
Usage: python_read.py FILE [zmimport|pandas]"""
import sys
import time

path, who = sys.argv[1], sys.argv[2]
if who == "zmimport":
    import zmimport

    def load():
        return zmimport.read(path).to_pandas()
else:
    import pandas

    def load():
        if path.endswith(".xlsx"):
            return pandas.read_excel(path, engine="openpyxl")
        return pandas.read_csv(path)

runs = 1 if path.endswith(".xlsx") and who == "pandas" else 3
best = None
for _ in range(runs):
    start = time.perf_counter()
    frame = load()
    took = time.perf_counter() - start
    best = took if best is None else min(best, took)
print("shape", frame.shape)
print("seconds", best)
