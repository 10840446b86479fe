"""What importing the package takes."""

import re
import subprocess
import sys
from pathlib import Path

import kr0

ROOT = Path(__file__).resolve().parents[2]


def modules_after(statement: str) -> set[str]:
    """The modules that a fresh Python has after a statement."""
    program = f"{statement}\nimport sys\nprint(*sys.modules)"
    said = subprocess.check_output([sys.executable, "-c", program], text=True)
    return set(said.split())


def test_importing_the_package_imports_nothing_optional() -> None:
    modules = modules_after("import kr0")
    assert "kr0._core" in modules
    assert modules.isdisjoint({"numpy", "pandas", "networkx", "dask", "distributed"})


def test_the_version_is_that_of_the_project() -> None:
    project = re.search(r"^project\(kr0 VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text(), re.M)
    assert project
    assert kr0.__version__ == kr0._core.version == project[1]
