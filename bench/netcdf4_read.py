"""Times netCDF4-python reading a chromatogram's detector values and building its time
axis from the sampling interval and delay, as a NumPy user of the file would; prints the
first read's time and the best of three.
Usage: netcdf4_read.py FILE"""
import sys
import time

import netCDF4
import numpy


def load(path):
    with netCDF4.Dataset(path) as ds:
        values = ds["ordinate_values"][:]
        interval = float(ds["actual_sampling_interval"][...])
        delay = float(ds["actual_delay_time"][...])
    times = delay + interval * numpy.arange(values.shape[0], dtype="float64")
    return numpy.column_stack((times, values))


times = []
for _ in range(3):
    start = time.perf_counter()
    array = load(sys.argv[1])
    times.append(time.perf_counter() - start)
print("checksum %.6g" % float(array[:, 1].sum(dtype="float64")))
print("first", times[0])
print("seconds %.4f" % min(times))
