"""What the guide and the docstrings show runs and prints what they say."""

import contextlib
import doctest
import io
import pkgutil
import re
import shutil
import subprocess
from fnmatch import fnmatchcase
from importlib import import_module
from pathlib import Path

import kr0.corpus
import pytest

ROOT = Path(__file__).resolve().parents[3]
GUIDE = ROOT / "docs" / "guide"
LIBRARY = ROOT / "examples" / "library"
BLOCK = re.compile(r"^```(\w+)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
MODULES = [module.name for module in pkgutil.iter_modules(kr0.corpus.__path__)]


@pytest.fixture
def library(tmp_path, monkeypatch):
    """A folder to work in with the example's model."""
    for name in ("library.ecore", "library.xmi"):
        shutil.copy(LIBRARY / name, tmp_path)
    monkeypatch.chdir(tmp_path)
    return tmp_path


def blocks():
    """Language and text of each block of the page, with what it is said to print."""
    found = BLOCK.findall((GUIDE / "corpora.md").read_text(encoding="utf-8"))
    for (language, text), (after, printed) in zip(found, [*found[1:], ("", "")]):
        if language != "text":
            yield language, text, printed if after == "text" else None


def expect_printed(shown, printed):
    """Line by line, where "..." stands for anything within a line."""
    lines, wanted = printed.splitlines(), shown.splitlines()
    assert len(lines) == len(wanted), printed
    for line, pattern in zip(lines, wanted):
        literally = re.sub(r"([*?[])", r"[\1]", pattern)
        assert fnmatchcase(line.rstrip(), literally.rstrip().replace("...", "*")), (line, pattern)


@pytest.mark.slow
def test_the_programs_of_the_page_print_what_it_says(library, address, monkeypatch):
    monkeypatch.setattr(kr0.corpus, "open", on_cluster(kr0.corpus.open, address))
    names, ran = {"__name__": "__main__"}, 0
    for language, text, shown in blocks():
        if language == "sh":
            subprocess.run(["sh", "-e", "-c", text], check=True)
        if language == "python":
            with contextlib.redirect_stdout(io.StringIO()) as out:
                exec(compile(text, "corpora.md", "exec"), names)
            expect_printed(shown, out.getvalue())
            ran += 1
    assert ran == 4


@pytest.mark.slow
def test_the_commands_of_the_page_work(library, address):
    from kr0.corpus.__main__ import main

    calls = []
    for language, text, _ in blocks():
        if language == "sh":
            subprocess.run(["sh", "-e", "-c", text], check=True)
        if language == "console":
            calls += [line for line in text.splitlines() if line.startswith("$ kr0-corpus")]
    here = [call.replace("'", "").split()[2:] for call in calls if "--scheduler" not in call]
    assert len(here) == 2
    assert [main([*call, "--scheduler", address]) for call in here] == [3, 3]
    assert "Whale" in (library / "whales.csv").read_text(encoding="utf-8")


@pytest.mark.parametrize("name", [name for name in MODULES if name not in ("__main__", "local")])
def test_examples_in_docstrings_hold(name):
    assert doctest.testmod(import_module(f"kr0.corpus.{name}")).failed == 0


@pytest.mark.slow
def test_the_notebook_runs_from_its_first_cell_to_its_last(library):
    client = pytest.importorskip("nbclient")
    notebook = read_notebook()
    client.NotebookClient(notebook, timeout=120, kernel_name="python3").execute(cwd=str(library))
    shown = [str(cell.get("outputs")) for cell in notebook.cells if cell.cell_type == "code"]
    assert "library.Book" in shown[1]
    assert "broken.xmi" in shown[2]
    assert "648" in shown[3]
    assert "/library/books[" in shown[4]


def test_the_notebook_keeps_no_outputs():
    notebook = read_notebook()
    assert all(cell.get("outputs", []) == [] for cell in notebook.cells)
    assert all(cell.get("execution_count") is None for cell in notebook.cells)


def read_notebook():
    return pytest.importorskip("nbformat").read(GUIDE / "corpora.ipynb", as_version=4)


def on_cluster(open_, address):
    """As the page's, but on workers that are there."""
    return lambda *patterns, **more: open_(*patterns, **{"scheduler": address, **more})
