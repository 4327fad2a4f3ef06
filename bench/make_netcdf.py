"""Writes an AIA chromatogram of 2,000,000 points for the netCDF benchmark.
Usage: make_netcdf.py FILE"""
import sys

import netCDF4
import numpy as np

POINTS = 2_000_000

with netCDF4.Dataset(sys.argv[1], "w", format="NETCDF3_CLASSIC") as ds:
    for key, value in (("netcdf_revision", "2.3.2"), ("aia_template_revision", "1.0"),
                       ("dataset_completeness", "C1+C2"), ("sample_name", "benchmark"),
                       ("retention_unit", "seconds")):
        ds.setncattr(key, value)
    ds.createDimension("point_number", POINTS)
    ds.createVariable("actual_run_time_length", "f4")[...] = POINTS * 0.01
    ds.createVariable("actual_sampling_interval", "f4")[...] = 0.01
    ds.createVariable("actual_delay_time", "f4")[...] = 0.5
    ordinate = ds.createVariable("ordinate_values", "f4", ("point_number",))
    ordinate.uniform_sampling_flag = "Y"
    t = np.arange(POINTS, dtype=np.float64)
    ordinate[:] = (1000 * np.sin(t / 5000) + (t % 97)).astype(np.float32)
