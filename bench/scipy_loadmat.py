"""Reads a MAT file with scipy.io.loadmat and prints the wall time.
Usage: scipy_loadmat.py FILE"""
import sys
import time

import scipy.io

start = time.perf_counter()
content = scipy.io.loadmat(sys.argv[1])
total = sum(float(v.sum()) for k, v in content.items() if not k.startswith("__"))
print("checksum", total)
print("seconds", time.perf_counter() - start)
