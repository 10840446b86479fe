"""Has CMake build what a wheel holds beside files of Python: module, libraries, tool.

All else is in pyproject.toml. The wheel is an installation whose prefix is the folder of packages:

    kr0/*.py, kr0/_core.*.so    the package
    kr0/libkr0_*.so             the libraries, which the module finds beside it
    kr0/bin/kr0                 the tool, which the command kr0 of the wheel becomes

setuptools writes metadata, tags, records and source archives, which is most of what a build
backend does; what is left for this file is three calls of CMake.

The environment may hold more options for CMake in KR0_CONFIGURE_OPTIONS, and what CMake itself
looks for there (CXX, CMAKE_CXX_COMPILER_LAUNCHER, CMAKE_GENERATOR, CMAKE_BUILD_PARALLEL_LEVEL).
"""

import os
import re
import shlex
import shutil
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext
from setuptools.errors import SetupError

ROOT = Path(__file__).resolve().parent

OPTIONS = [
    "-DCMAKE_BUILD_TYPE=Release",
    "-DKR0_BUILD_PYTHON=ON",
    "-DKR0_BUILD_TOOL=ON",
    "-DKR0_BUILD_TESTS=OFF",
    f"-DPython3_EXECUTABLE={sys.executable}",
    "-DKR0_PYTHON_DIR=.",
    "-DCMAKE_INSTALL_LIBDIR=kr0",
    "-DCMAKE_INSTALL_BINDIR=kr0/bin",
    # Wheels hold no links, so a library has one name there. Nothing else looks for it.
    "-DCMAKE_PLATFORM_NO_VERSIONED_SONAME=ON",
]


def version() -> str:
    """The version, which stands in CMakeLists.txt alone."""
    text = (ROOT / "CMakeLists.txt").read_text()
    found = re.search(r"^project\(kr0 VERSION ([0-9.]+)", text, re.MULTILINE)
    if not found:
        raise SetupError("CMakeLists.txt says no version of the project")
    return found[1]


def cmake(*arguments: object) -> None:
    """Runs CMake, whose own words say what goes wrong."""
    try:
        subprocess.run(["cmake", *map(str, arguments)], check=True)
    except FileNotFoundError:
        raise SetupError("cmake was not found: the wheel is built by it") from None
    except subprocess.CalledProcessError as error:
        raise SetupError(f"{shlex.join(error.cmd)} failed, the lines above say why") from None


class BuildWithCMake(build_ext):
    """Builds the module with all that it needs, and installs it where setuptools packs wheels."""

    def run(self) -> None:
        if self.inplace or self.editable_mode:
            raise SetupError(
                "there are no editable installations; build with CMake (-DKR0_BUILD_PYTHON=ON) and "
                "set PYTHONPATH=build/release/python, where edited files are used at once")
        super().run()

    def build_extension(self, ext: Extension) -> None:
        folder = Path(self.build_temp).resolve() / "cmake"
        os.environ.setdefault("CMAKE_BUILD_PARALLEL_LEVEL", str(os.cpu_count() or 1))
        if shutil.which("ninja"):
            os.environ.setdefault("CMAKE_GENERATOR", "Ninja")
        more = shlex.split(os.environ.get("KR0_CONFIGURE_OPTIONS", ""))
        cmake("-S", ROOT, "-B", folder, *OPTIONS, *more)
        cmake("--build", folder, "--target", "kr0_python", "kr0")
        for component in ("module", "libraries", "tool"):
            cmake("--install", folder, "--component", component, "--strip",
                  "--prefix", Path(self.build_lib).resolve())


setup(
    version=version(),
    ext_modules=[Extension("kr0._core", sources=[])],
    cmdclass={"build_ext": BuildWithCMake},
)
