"""Builds the library and the Python module with the project's CMake for the interpreter
that runs this script, and puts both into the wheel (or the environment pip installs to).

    python3 -m pip install --no-build-isolation .
    python3 -m build --no-isolation --wheel
"""
import os
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = os.path.dirname(os.path.abspath(__file__))


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        # A folder of its own, kept between builds so that a second install is quick.
        build = os.environ.get("ZM_WHEEL_BUILD_DIR", os.path.join(ROOT, "build-wheel"))
        jobs = os.environ.get("ZM_BUILD_JOBS", "2")
        subprocess.check_call([
            "cmake", "-S", ROOT, "-B", build, "-DCMAKE_BUILD_TYPE=Release",
            "-DZM_BUILD_TESTS=OFF", "-DZM_BUILD_BENCH=OFF", "-DZM_PYTHON_WHEEL=ON",
            "-DPython3_EXECUTABLE=" + sys.executable])
        subprocess.check_call(["cmake", "--build", build, "-j" + jobs,
                               "--target", "zmimport_python"])
        target = os.path.abspath(self.get_ext_fullpath(ext.name))
        os.makedirs(os.path.dirname(target), exist_ok=True)
        modules = [f for f in os.listdir(os.path.join(build, "python"))
                   if f.startswith("zmimport.") and f.endswith(".so")]
        if len(modules) != 1:
            raise RuntimeError("the CMake build made no single module: %r" % modules)
        shutil.copyfile(os.path.join(build, "python", modules[0]), target)
        # The module finds the library beside itself, and the library its XML module.
        for library in ("libzmimport.so.0", "libzmimport_xml.so.0"):
            shutil.copyfile(os.path.join(build, "bin", library),
                            os.path.join(os.path.dirname(target), library))
        shutil.copyfile(os.path.join(ROOT, "python", "zmimport.pyi"),
                        os.path.join(os.path.dirname(target), "zmimport.pyi"))


# setup.cfg keeps the egg-info and setuptools' own build folders in build-wheel/, which a
# fresh checkout does not have yet.
os.makedirs(os.path.join(ROOT, "build-wheel"), exist_ok=True)

setup(ext_modules=[Extension("zmimport", sources=[])], cmdclass={"build_ext": CMakeBuild},
      packages=[], py_modules=[], zip_safe=False)
