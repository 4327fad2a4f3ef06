"""Times netCDF4-python reading a chromatogram's detector values.
Usage: netcdf4_read.py FILE"""
import sys
import time

start = time.perf_counter()
import netCDF4  # noqa: E402  (the import is part of what a Python user waits for)

with netCDF4.Dataset(sys.argv[1]) as ds:
    values = ds["ordinate_values"][:]
print("checksum %.6g" % float(values.sum(dtype="float64")))
print("seconds %.4f" % (time.perf_counter() - start))
