"""Writes the MAT benchmark files with scipy: one 5000 x 2000 matrix of random doubles as
Level 4, Level 5 and compressed Level 5 (80 MB of values each).
Usage: make_mat.py DIR"""
import os
import sys

import numpy as np
import scipy.io

values = np.random.default_rng(1).random((5000, 2000))
out = sys.argv[1]
scipy.io.savemat(os.path.join(out, "matrix-v4.mat"), {"X": values}, format="4")
scipy.io.savemat(os.path.join(out, "matrix-v5.mat"), {"X": values})
scipy.io.savemat(os.path.join(out, "matrix-v5z.mat"), {"X": values}, do_compression=True)
