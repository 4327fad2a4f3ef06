"""Writes the MAT fixtures with scipy.io.savemat, a real writer of the format.

Numbers follow one rule, so that tests can recompute them: the value at 0-based row r
and column c of a data matrix is 10 * r + c + 0.5 (int and logical arrays drop the .5).
Usage: /usr/bin/python3 make_fixtures.py   (writes beside this script)
"""
import os

import numpy as np
import scipy.io

HERE = os.path.dirname(os.path.abspath(__file__))


def grid(rows, cols, dtype=float):
    r, c = np.mgrid[0:rows, 0:cols]
    values = 10.0 * r + c + 0.5
    return values.astype(dtype) if dtype is not float else values


def save(name, variables, **options):
    scipy.io.savemat(os.path.join(HERE, name), variables, oned_as="column", **options)


# Level 4: one matrix; the named-role layout; ID matrices around the data.
save("level4_doubles.mat", {"X": grid(3, 4)}, format="4")
save("level4_roles.mat", {
    "OBSNUM": np.array([[1.0], [2.0], [3.0]]),
    "OBSNAM": np.array(["first", "second", "third"]),
    "VARNUM": np.array([[1.0], [2.0]]),
    "VARNAM": np.array(["alpha", "beta"]),
    "DATA": grid(3, 2),
}, format="4")
# The same roles after the data, in the order MATLAB saves them (alphabetical).
save("level4_roles_after.mat", {
    "DATA": grid(3, 2),
    "OBSNAM": np.array(["first", "second", "third"]),
    "OBSNUM": np.array([[1.0], [2.0], [3.0]]),
    "VARNAM": np.array(["alpha", "beta"]),
    "VARNUM": np.array([[1.0, 2.0]]),
}, format="4")
save("level4_ids.mat", {
    "DATA": grid(2, 3),
    "OBSID1": np.array(["s1", "s22"]),
    "VARID1": np.array([[400.0], [500.0], [600.0]]),
}, format="4")
save("level4_two.mat", {"A": grid(2, 2), "B": grid(1, 3)}, format="4")

# Level 5, plain and compressed: stored types, a logical, a text, a 3-D array.
arrays = {
    "d": grid(3, 2),
    "i16": grid(3, 2, np.int16),
    "u8": grid(3, 2, np.uint8),
    "flag": np.array([[False], [True], [True]]),
    "label": np.array(["x", "yy", "zzz"]),
}
save("level5.mat", arrays)
save("level5_compressed.mat", arrays, do_compression=True)
save("level5_3d.mat", {"cube": grid(2, 6).reshape(2, 3, 2, order="F")}, do_compression=True)
save("level5_names.mat", {
    "VARNAM": np.array(["v1", "v2", "v3"]),
    "OBSNAM": np.array(["o1", "o2"]),
    "X": grid(2, 2),
    "Y": grid(2, 1),
})
save("level5_unicode.mat", {"word": np.array(["\u00e9t\u00e9 \u65e5"])})
# Arrays that are no matrices beside one that is: a structure and a cell array.
cells = np.empty((1, 2), dtype=object)
cells[0, 0], cells[0, 1] = grid(1, 1), "text"
save("level5_passed_over.mat", {"X": grid(2, 2), "s": {"a": grid(1, 1)}, "c": cells})
