"""Writes the netCDF fixtures of the chromatogram and MVACDF readers into this folder.

Deterministic: the same netCDF library writes the same bytes. Run with /usr/bin/python3
(python3-netcdf4) from anywhere; the files land beside this script.
damaged-hdf5-crashes-library.nc is not written here: the fuzzer found it, and it is kept
as found (the HDF5 library frees a wild pointer while opening it).
"""
import math
import os

import netCDF4
import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))


def path(name):
    return os.path.join(HERE, name)


def chromatogram(name, points=25, interval=0.2, delay=1.5, sample="Run one", flag="Y",
                 unit="seconds", peaks=((2.0, 2.6), (3.0, 3.8)), phase=0.0,
                 fmt="NETCDF3_CLASSIC", drop=None, unlimited=False):
    ds = netCDF4.Dataset(path(name), "w", format=fmt)
    attrs = {"netcdf_revision": "2.3.2", "aia_template_revision": "1.0",
             "dataset_completeness": "C1+C2", "sample_name": sample}
    if unit is not None:
        attrs["retention_unit"] = unit
    for key, value in attrs.items():
        if key != drop:
            ds.setncattr(key, value)
    ds.createDimension("point_number", None if unlimited else points)
    for var, value in (("actual_run_time_length", points * interval),
                       ("actual_sampling_interval", interval), ("actual_delay_time", delay)):
        if var != drop:
            ds.createVariable(var, "f4")[...] = value
    ordinate = ds.createVariable("ordinate_values", "f4", ("point_number",))
    ordinate.uniform_sampling_flag = flag
    ordinate[:] = [100.0 * math.sin(0.3 * i + phase) + i for i in range(points)]
    if peaks:
        ds.createDimension("peak_number", len(peaks))
        ds.createVariable("peak_start_time", "f4", ("peak_number",))[:] = [p[0] for p in peaks]
        ds.createVariable("peak_end_time", "f4", ("peak_number",))[:] = [p[1] for p in peaks]
    ds.close()


def huge_chromatogram(name):
    """A 64-bit-data file whose header counts 2^31 records of the unlimited point
    dimension over a few bytes of data."""
    chromatogram(name, points=7, fmt="NETCDF3_64BIT_DATA", unlimited=True)
    with open(path(name), "rb") as f:
        data = bytearray(f.read())
    # After the magic "CDF\x05", the record count as an 8-byte big-endian number.
    assert data[:4] == b"CDF\x05" and int.from_bytes(data[4:12], "big") == 7
    data[4:12] = (1 << 31).to_bytes(8, "big")
    with open(path(name), "wb") as f:
        f.write(data)


def text_rows(ds, var, dims, texts):
    v = ds.createVariable(var, "S1", dims)
    width = len(ds.dimensions[dims[1]])
    v[:len(texts)] = netCDF4.stringtochar(np.array([t.ljust(width)[:width] for t in texts], "S%d" % width))


def mva(name, kind, values, fmt="NETCDF3_CLASSIC", missing=None, headers=None,
        descriptions=None, names=True, times=True, spectral=False, rows_per_point=None,
        data=True, extra=None):
    ds = netCDF4.Dataset(path(name), "w", format=fmt)
    ds.mva_template_revision = "1.0"
    if kind is not None:
        ds.raw_data_mva_format = kind
    if missing is not None:
        ds.missing_value = missing
    observations, variables = len(values), len(values[0])
    points_dim = "number_spectral_data_points" if spectral else "number_data_points"
    text_dim = "_32_byte_string" if spectral else "string_len"
    ds.createDimension("sequence_no", observations)
    ds.createDimension(points_dim, variables)
    ds.createDimension(text_dim, 32 if spectral else 16)
    if rows_per_point is not None:
        ds.createDimension("number_rows_per_data_point", rows_per_point)
    if data:
        var_name = "spectral_data_values" if spectral else "observation"
        dtype = {"float": "f4", "double": "f8", None: "f8", "byte": "u1" if fmt == "NETCDF4"
                 else "i1", "short": "i2", "long": "i4"}.get(kind, "f8")
        if rows_per_point is not None:
            v = ds.createVariable(var_name, dtype,
                                  ("sequence_no", "number_rows_per_data_point", points_dim))
            v[:] = np.repeat(np.array(values)[:, None, :], rows_per_point, axis=1)
        else:
            ds.createVariable(var_name, dtype, ("sequence_no", points_dim))[:] = values
    if extra is not None:
        # A second data variable over the same observations and points.
        ds.createVariable(extra[0], "f8", ("sequence_no", points_dim))[:] = extra[1]
    if headers is not None:
        text_rows(ds, "column_headers", (points_dim, text_dim), headers)
    if descriptions is not None:
        ds.createDimension("number_variable_descriptions", len(descriptions))
        for k, key in enumerate(("startcol", "endcol", "startval", "endval")):
            ds.createVariable("vardescr_" + key, "f8", ("number_variable_descriptions",))[:] = [
                d[k] for d in descriptions]
    if names:
        text_rows(ds, "name_of_measurement", ("sequence_no", text_dim),
                  ["Sample %d" % (i + 1) for i in range(observations)])
    if times:
        ds.createVariable("dectime_of_measurement", "f8", ("sequence_no",))[:] = [
            1999.5 + i / 3.0 for i in range(observations)]
    ds.close()


def main():
    chromatogram("aia_run1.cdf")
    chromatogram("aia_run2.cdf", points=20, sample="Run two", peaks=None, phase=1.0)
    chromatogram("aia_interval_near.cdf", interval=float(np.nextafter(np.float32(0.2),
                                                                      np.float32(1))))
    chromatogram("aia_interval_0.2000001.cdf", interval=0.2000001)
    chromatogram("aia_interval_0.25.cdf", interval=0.25)
    chromatogram("aia_delay.cdf", delay=2.0)
    chromatogram("aia_nonuniform.cdf", flag="N")
    chromatogram("aia_minutes.cdf", unit="minutes", fmt="NETCDF3_64BIT_OFFSET", peaks=None)
    chromatogram("aia_no_delay.cdf", drop="actual_delay_time")
    chromatogram("aia_no_completeness.cdf", drop="dataset_completeness")
    huge_chromatogram("aia_huge_dimension.cdf")

    grid = [[(o + 1) * 10 + v for v in range(5)] for o in range(4)]
    mva("mva_float.cdf", "float", [[x + 0.25 for x in row] for row in grid], missing="-999",
        headers=["alpha", "beta", "gamma", "delta", "epsilon"])
    with netCDF4.Dataset(path("mva_float.cdf"), "a") as ds:
        ds["observation"][1, 2] = -999
    nan_rows = [[x + 0.5 for x in row] for row in grid]
    nan_rows[0][1] = float("nan")
    mva("mva_double.nc", None, nan_rows, fmt="NETCDF4", missing="nan",
        descriptions=[(2, 4, 1100, 1300)], times=False)
    mva("mva_byte.cdf", "byte", [[x + 60 for x in row] for row in grid], names=False,
        missing="80")
    # Signed bytes, a negative one the missing-value marker.
    mva("mva_signed_byte.cdf", "byte", [[-5, -128, 127, 3, -1], [0, -5, 5, -100, 100]],
        names=False, missing="-5")
    mva("mva_short.cdf", "short", [[-x * 100 for x in row] for row in grid], spectral=True,
        headers=["s1", "s2", "s3"])
    mva("mva_long.cdf", "long", [[x * 100000 for x in row] for row in grid],
        fmt="NETCDF3_64BIT_OFFSET")
    mva("mva_six_variables.cdf", "float", [[float(v) for v in range(6)]] * 2)
    mva("mva_two_variables.cdf", "float", grid,
        extra=("baseline", [[-x for x in row] for row in grid]))
    mva("mva_matrix.cdf", "float", grid, rows_per_point=2)
    mva("mva_unknown_type.cdf", "complex", grid)
    mva("mva_no_data.cdf", "float", grid, data=False)
    vast_unwritten("mva_vast_unwritten.nc")


def vast_unwritten(name):
    """A netCDF-4 file of 6.5 KB declaring 2^40 doubles it never wrote: read in full they
    would be fill values for hours."""
    ds = netCDF4.Dataset(path(name), "w", format="NETCDF4")
    ds.mva_template_revision = "1.0"
    ds.raw_data_mva_format = "double"
    ds.createDimension("sequence_no", 1 << 20)
    ds.createDimension("number_data_points", 1 << 20)
    ds.createDimension("string_len", 16)
    ds.createVariable("observation", "f8", ("sequence_no", "number_data_points"),
                      chunksizes=(1, 1 << 16))
    ds.close()


if __name__ == "__main__":
    main()
