"""Builds the package with CMake, with the engine's library in it."""

import os
import pathlib
import re
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

source = pathlib.Path(__file__).resolve().parent.parent
version = re.search(r"SorvaneEngine VERSION ([\d.]+)", (source / "CMakeLists.txt").read_text())[1]


def pybind11_options():
    """Where CMake finds a pybind11 that pip has installed; it finds the system's by itself."""
    try:
        import pybind11
    except ImportError:
        return []
    return [f"-Dpybind11_DIR={pybind11.get_cmake_dir()}"]


class BuildByCMake(build_ext):
    def build_extension(self, extension):
        package = pathlib.Path(self.get_ext_fullpath(extension.name)).resolve().parent
        build = pathlib.Path(self.build_temp).resolve()
        for command in (
            ["-S", source, "-B", build, "-DCMAKE_BUILD_TYPE=Release", "-DSORVANE_BUILD_TOOLS=OFF",
             "-DSORVANE_BUILD_PLUGINS=OFF", "-DSORVANE_BUILD_TESTS=OFF",
             "-DSORVANE_BUILD_PYTHON=ON", "-DSORVANE_PYTHON_FOLDER=.",
             f"-DCMAKE_INSTALL_LIBDIR={package.name}",
             f"-DCMAKE_INSTALL_DOCDIR={package.name}",
             f"-DPython_EXECUTABLE={sys.executable}", *pybind11_options()],
            ["--build", build, "--config", "Release", "--parallel", str(os.cpu_count())],
            *(["--install", build, "--config", "Release", "--prefix", package.parent, "--strip",
               "--component", component] for component in ("Library", "Python")),
        ):
            subprocess.run(["cmake", *command], check=True)
        # A wheel holds no links: each library goes by the one name that is asked for.
        for link in filter(pathlib.Path.is_symlink, package.glob("libSorvane*")):
            link.resolve().replace(link)


setup(version=version, ext_modules=[Extension("sorvane._engine", [])],
      cmdclass={"build_ext": BuildByCMake})
