#!/usr/bin/python3
"""Builds a wheel from the source tree as a Python user would (python3 -m build
--no-isolation --wheel), installs it into a fresh virtual environment that sees the
system's numpy and pandas, and reads a file with the installed module there.

Usage: wheel_install.py SOURCE_ROOT WORK_FOLDER
"""
import glob
import os
import subprocess
import sys
import tempfile


def main():
    root, work = sys.argv[1], sys.argv[2]
    os.makedirs(work, exist_ok=True)
    env = dict(os.environ, ZM_WHEEL_BUILD_DIR=os.path.join(work, "cmake"))
    with tempfile.TemporaryDirectory() as folder:
        dist = os.path.join(folder, "dist")
        subprocess.run(["/usr/bin/python3", "-m", "build", "--no-isolation", "--wheel",
                        "--outdir", dist, root], check=True, env=env)
        wheels = glob.glob(os.path.join(dist, "zmimport-*.whl"))
        assert len(wheels) == 1, wheels
        venv = os.path.join(folder, "venv")
        subprocess.run(["/usr/bin/python3", "-m", "venv", "--system-site-packages", venv],
                       check=True)
        python = os.path.join(venv, "bin", "python")
        subprocess.run([python, "-m", "pip", "install", "--no-index", "--no-deps", wheels[0]],
                       check=True)
        check = (
            "import os, sys, zmimport\n"
            "assert zmimport.__file__.startswith(sys.prefix), zmimport.__file__\n"
            "here = os.path.dirname(zmimport.__file__)\n"
            "assert os.path.exists(os.path.join(here, 'libzmimport.so.0'))\n"
            "frame = zmimport.read_frame(sys.argv[1], sheet='Data')\n"
            "assert list(frame.columns) == ['name', 'value', 'when', 'flag'], frame.columns\n"
            "assert frame['value'].tolist()[:2] == [1.5, -2.25]\n"
            "print('installed', zmimport.__file__)\n")
        sample = os.path.join(root, "tests", "data", "xlsx", "two-sheets.xlsx")
        # Run from elsewhere, so that nothing of the source tree is imported by accident.
        done = subprocess.run([python, "-c", check, sample], cwd=folder,
                              env={k: v for k, v in os.environ.items() if k != "PYTHONPATH"},
                              capture_output=True, text=True)
        print(done.stdout, done.stderr)
        return done.returncode


if __name__ == "__main__":
    sys.exit(main())
