"""What type checkers make of the package: mypy, in its strict mode."""

import os
import re
import subprocess
import sys
from pathlib import Path

import pytest

import kr0

pytest.importorskip("mypy")

HERE = Path(__file__).resolve().parent
CONFIGURATION = HERE.parents[1] / "pyproject.toml"
FOLDER = Path(os.path.abspath(kr0.__file__)).parents[1]  # the files are links: not where they lead
ENVIRONMENT = {**os.environ, "PYTHONPATH": str(FOLDER)}

# What stubtest says of compiled classes that a stub cannot say: their metaclass is pybind11's, those that programs
# cannot make have its constructor, and attributes of elements are found by a slot that is no method.
UNAVOIDABLE = (r"kr0\._core\.\w+ is inconsistent, metaclass differs"
               r'|kr0\._core\.\w+\.__init__ is inconsistent, stub does not have \*args argument "args"'
               r"|kr0\._core\.Element\.__getattr__ is not present at runtime")


def run(module: str, *arguments: str) -> subprocess.CompletedProcess[str]:
    """Runs a checker as the package's users do: the package is found on the path."""
    return subprocess.run(
        [sys.executable, "-m", module, *arguments],
        capture_output=True, text=True, cwd=HERE, env={**ENVIRONMENT, "MYPYPATH": str(FOLDER)})


def check(*arguments: str) -> tuple[int, str]:
    """What mypy ends with, and says."""
    result = run("mypy", "--strict", f"--config-file={CONFIGURATION}", *arguments)
    return result.returncode, result.stdout + result.stderr


def test_the_package_is_typed() -> None:
    files = sum(path.suffix in (".py", ".pyi") for path in (FOLDER / "kr0").rglob("*.py*"))
    status, said = check("-p", "kr0")
    assert status == 0, said
    assert said == f"Success: no issues found in {files} source files\n"


def test_programs_that_use_it_are_checked() -> None:
    status, said = check("typing/right.py")
    assert status == 0, said
    assert said == "Success: no issues found in 1 source file\n"


def test_programs_that_are_checked_run(tmp_path: Path) -> None:
    subprocess.run([sys.executable, HERE / "typing/right.py"], check=True, cwd=tmp_path, env=ENVIRONMENT)


def test_mistakes_are_found() -> None:
    lines = (HERE / "typing/wrong.py").read_text().splitlines()
    expected = {(number, code) for number, line in enumerate(lines, 1)
                for code in re.findall(r"# error: (\S+)$", line)}
    status, said = check("typing/wrong.py")
    errors = re.findall(r"wrong\.py:(\d+): error: .*\[(\S+)\]$", said, re.M)
    found = {(int(line), code) for line, code in errors}
    assert status == 1 and expected
    assert found == expected, said


def test_the_stub_says_what_the_compiled_module_has() -> None:
    result = run("mypy.stubtest", "kr0._core", "--concise", f"--mypy-config-file={CONFIGURATION}")
    assert result.stderr == "" and "kr0._core" in result.stdout
    wrong = [line for line in result.stdout.splitlines() if not re.fullmatch(UNAVOIDABLE, line)]
    assert not wrong, "\n".join(wrong)
