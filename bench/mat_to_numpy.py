"""Times reading a file into a NumPy array with zmimport (read().to_numpy()) and with a
peer: scipy.io.loadmat for a MAT file's matrix, netCDF4 for an AIA chromatogram's
detector values with the time axis built from the delay and the sampling interval (what
the sheet's retention-time row holds). Prints the first read's time, the best of three
and the peak resident memory in MB.
Usage: mat_to_numpy.py FILE [zmimport|scipy|netcdf4]"""
import resource
import sys
import time

import numpy  # imported beforehand by all, as a program using arrays has it

path, who = sys.argv[1], sys.argv[2].lower()
if who == "zmimport":
    import zmimport

    def load():
        return zmimport.read(path).to_numpy()
elif who == "netcdf4":
    import netCDF4

    def load():
        with netCDF4.Dataset(path) as ds:
            values = ds["ordinate_values"][:]
            interval = float(ds["actual_sampling_interval"][...])
            delay = float(ds["actual_delay_time"][...])
            return numpy.vstack([delay + interval * numpy.arange(values.shape[0]), values])
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
