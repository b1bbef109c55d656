"""Builds the wheel: CMake compiles the module, setuptools packs it. Nothing is downloaded."""

import os
import re
import subprocess
import sys
import tempfile

from setuptools import Distribution, Extension, setup
from setuptools.command.build_ext import build_ext

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)


def version():
    with open(os.path.join(ROOT, "CMakeLists.txt"), encoding="utf-8") as file:
        return re.search(r"project\(TRQSharedDll VERSION ([0-9.]+)", file.read()).group(1)


class CMakeBuild(build_ext):
    """Installs the component `python` into the package. TRQ_PYTHON_BUILD names a build folder to use again."""

    def run(self):
        package = os.path.join(os.path.abspath(self.build_lib), "trqprep")
        given = os.environ.get("TRQ_PYTHON_BUILD")
        if given:
            self.pack(given, package)
            return
        with tempfile.TemporaryDirectory() as folder:
            self.pack(folder, package)

    def pack(self, folder, package):
        if not os.path.exists(os.path.join(folder, "CMakeCache.txt")):
            subprocess.check_call([
                "cmake", "-S", ROOT, "-B", folder, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release", "-DTRQ_BUILD_PYTHON=ON",
                "-DTRQ_BUILD_TOOL=OFF", "-DTRQ_BUILD_TESTS=OFF", "-DPython3_EXECUTABLE=" + sys.executable])
        subprocess.check_call(["cmake", "--build", folder, "--target", "trqprep_python"])
        # The component holds the folder trqprep.
        subprocess.check_call(["cmake", "--install", folder, "--component", "python", "--strip", "--prefix", os.path.dirname(package)])


class BinaryDistribution(Distribution):
    def has_ext_modules(self):
        return True


setup(version=version(), distclass=BinaryDistribution, ext_modules=[Extension("trqprep._native", [])],
      cmdclass={"build_ext": CMakeBuild})
