"""The corpora that are measured, and the measurement."""

import subprocess
import sys
from pathlib import Path

import kr0.corpus
import pytest
from corpus_support import ENVIRONMENT

BENCHMARKS = Path(__file__).resolve().parents[3] / "benchmarks" / "corpus"
sys.path.insert(0, str(BENCHMARKS))

import generate  # noqa: E402


@pytest.fixture(scope="module")
def made(tmp_path_factory):
    folder = tmp_path_factory.mktemp("made")
    return folder, generate.generate(str(folder), 1000, seed=3, median=500, format="krb")


def contents(folder):
    return {path.relative_to(folder): path.read_bytes() for path in folder.rglob("*.*")}


def test_the_same_seed_gives_the_same_bytes(tmp_path):
    for name, seed in (("a", 1), ("b", 1), ("c", 2)):
        generate.generate(str(tmp_path / name), 30, seed, median=500, format="krb")
    assert contents(tmp_path / "a") == contents(tmp_path / "b") != contents(tmp_path / "c")


def test_few_documents_have_most_of_the_bytes(made):
    sizes = sorted(one.bytes for one in made[1])
    assert sum(sizes[-200:]) > sum(sizes) / 2
    assert sizes[500] < 3 * 500


def test_about_one_in_a_hundred_is_damaged(made):
    kinds = [one.damage for one in made[1] if one.damage]
    assert 4 <= len(kinds) <= 20
    assert set(kinds) == {"cut", "flipped", "empty"}


@pytest.mark.slow
def test_damaged_documents_are_rows_with_errors(made, address):
    folder, documents = made
    corpus = kr0.corpus.open(f"{folder}/*/*.krb", meta=[generate.META], scheduler=address)
    table = corpus.stats().set_index("document")
    bad = set(table.index[table["error"].notna()])
    assert {one.name for one in documents if one.damage in ("cut", "empty")} <= bad
    assert bad <= {one.name for one in documents if one.damage}


@pytest.mark.slow
def test_the_measurement_prints_its_figures(made):
    command = [sys.executable, str(BENCHMARKS / "measure.py"), str(made[0]), "--runs", "1"]
    page = subprocess.check_output(command, env=ENVIRONMENT, text=True)
    assert "| 2 workers | " in page
    assert "- overhead of a document: " in page
    assert "| 1000 | " in page
