"""Builds the package with CMake, with the engine's libraries and the models in it.

In a source distribution the engine's sources lie in the folder `engine`; in the repository they are
one folder up.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext
from setuptools.command.sdist import sdist

here = pathlib.Path(__file__).resolve().parent
source = here / "engine" if (here / "engine").is_dir() else here.parent
version = re.search(r"SorvaneEngine VERSION ([\d.]+)", (source / "CMakeLists.txt").read_text())[1]

ENGINE = ["CMakeLists.txt", "LICENSE", "NOTICES", "cmake", "docs/man", "host", "models", "src"]
PACKAGE = ["CMakeLists.txt", "sorvane", "src"]


def pybind11_options():
    """Where CMake finds a pybind11 that pip has installed; it finds the system's by itself."""
    try:
        import pybind11
    except ImportError:
        return []
    return [f"-Dpybind11_DIR={pybind11.get_cmake_dir()}"]


def jobs():
    """Compilers that run at a time: one for each core that this process may run on."""
    cores = getattr(os, "sched_getaffinity", lambda _: range(os.cpu_count() or 1))(0)
    return os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL", str(len(cores)))


class BuildByCMake(build_ext):
    def build_extension(self, extension):
        package = pathlib.Path(self.get_ext_fullpath(extension.name)).resolve().parent
        build = pathlib.Path(self.build_temp).resolve()
        generator = ["-G", "Ninja"] if shutil.which("ninja") else []
        for command in (
            ["-S", source, "-B", build, *generator, "-DCMAKE_BUILD_TYPE=Release",
             "-DSORVANE_BUILD_TOOLS=OFF", "-DSORVANE_BUILD_PLUGINS=OFF",
             "-DSORVANE_BUILD_TESTS=OFF", "-DSORVANE_BUILD_PYTHON=ON", "-DSORVANE_PYTHON_FOLDER=.",
             f"-DCMAKE_INSTALL_LIBDIR={package.name}",
             f"-DCMAKE_INSTALL_DOCDIR={package.name}",
             f"-DPython_EXECUTABLE={sys.executable}", *pybind11_options()],
            ["--build", build, "--config", "Release", "--parallel", jobs(), "--target",
             "sorvane_python"],
            *(["--install", build, "--config", "Release", "--prefix", package.parent, "--strip",
               "--component", component] for component in ("Library", "HostLibrary", "Python")),
        ):
            subprocess.run(["cmake", *command], check=True)
        # A wheel holds no links: each library goes by the one name that is asked for.
        for link in filter(pathlib.Path.is_symlink, package.glob("libSorvane*")):
            link.resolve().replace(link)
        # The libraries look for models in the folder beside them.
        shutil.copytree(source / "models", package / "models", dirs_exist_ok=True,
                        ignore=shutil.ignore_patterns("CMakeLists.txt"))


class WithEngine(sdist):
    """Puts the engine's sources in."""

    def make_release_tree(self, base_dir, files):
        super().make_release_tree(base_dir, files)
        target = pathlib.Path(base_dir, "engine")
        left_out = shutil.ignore_patterns("tests", "__pycache__", "build", "*.so")
        for root, names in ((source, ENGINE), (source / "python", PACKAGE)):
            for name in names:
                copy = target / (root / name).relative_to(source)
                copy.parent.mkdir(parents=True, exist_ok=True)
                if (root / name).is_dir():
                    shutil.copytree(root / name, copy, ignore=left_out)
                else:
                    shutil.copy2(root / name, copy)


setup(version=version, ext_modules=[Extension("sorvane._engine", [])],
      cmdclass={"build_ext": BuildByCMake, "sdist": WithEngine})
