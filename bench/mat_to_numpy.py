"""Times reading a MAT file's matrix into a NumPy array with zmimport
(read().to_numpy()) and with scipy.io.loadmat; prints the first read's time, the best of
three and the peak resident memory in MB.
Usage: mat_to_numpy.py FILE [zmimport|scipy]"""
import resource
import sys
import time

import numpy  # noqa: F401  (imported beforehand by both, as a program using arrays has it)

path, who = sys.argv[1], sys.argv[2]
if who == "zmimport":
    import zmimport

    def load():
        return zmimport.read(path).to_numpy()
else:
    import scipy.io

    def load():
        return next(v for k, v in scipy.io.loadmat(path).items() if not k.startswith("__"))

times = []
for _ in range(3):
    start = time.perf_counter()
    array = load()
    times.append(time.perf_counter() - start)
    del array
print("first", times[0])
print("seconds", min(times))
print("peak_mb", resource.getrusage(resource.RUSAGE_SELF).ru_maxrss / 1024)
