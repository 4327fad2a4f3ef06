"""Times reading an AIA chromatogram into NumPy with zmimport (read().to_numpy(): the
heading row, the retention times and the detector values) and with netCDF4 (the detector
values and the time axis built from the delay and the sampling interval); prints the
first read's time, the best of three and the peak resident memory in MB.
Usage: andi_to_numpy.py FILE [zmimport|netcdf4]"""
import resource
import sys
import time

import numpy

path, who = sys.argv[1], sys.argv[2]
if who == "zmimport":
    import zmimport

    def load():
        return zmimport.read(path).to_numpy()
else:
    import netCDF4

    def load():
        with netCDF4.Dataset(path) as ds:
            values = ds["ordinate_values"][:]
            interval = float(ds["actual_sampling_interval"][...])
            delay = float(ds["actual_delay_time"][...])
            times = delay + interval * numpy.arange(values.shape[0])
            return numpy.vstack([times, values])

times = []
for _ in range(3):
    start = time.perf_counter()
    array = load()
    times.append(time.perf_counter() - start)
    del array
print("first", times[0])
print("seconds", min(times))
print("peak_mb", resource.getrusage(resource.RUSAGE_SELF).ru_maxrss / 1024)
