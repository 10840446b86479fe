"""Real models of others: what Python reads of them is what the tool reads."""

import os
import pathlib
import subprocess

import kr0
import pytest

FOLDER = pathlib.Path(os.environ.get("KR0_MODELS_DIR", "no folder of models"))
TOOL = os.environ.get("KR0_TOOL", "")
MODELS = [
    ("railway/railway-repair-8.xmi", "railway/railway.ecore"),
    ("social/initial-4.xmi", "social/social_network.ecore"),
    ("modisco/Bug_318638.kdm", "modisco/kdm.ecore"),
    ("archimate/Archisurance.archimate", "archimate/archimate.ecore"),
    ("neoemf/sampleWithId.xmi", "neoemf/Java.ecore"),
]

pytestmark = pytest.mark.skipif(not FOLDER.is_dir() or not TOOL, reason="there is no folder of models, or no tool")


@pytest.fixture(params=MODELS, ids=[name for name, _ in MODELS])
def paths(request):
    return [FOLDER / name for name in request.param]


@pytest.fixture
def real(paths):
    return kr0.load(paths[0], kr0.Registry.from_ecore(paths[1]), format="xmi")


def test_it_says_what_the_tool_says(real, paths):
    said = subprocess.run([TOOL, "digest", "--from", "xmi", paths[0], "-m", paths[1]], capture_output=True, text=True)
    assert said.returncode == 0 and real.digest() == said.stdout.split()[0]


def test_it_comes_back_from_every_format(real, tmp_path):
    digest = real.digest()
    for suffix in ("krb", "krt", "krz", "json"):
        kr0.save(real, tmp_path / f"model.{suffix}")
        assert kr0.load(tmp_path / f"model.{suffix}", real.registry).digest() == digest
    assert kr0.load(tmp_path / "model.krz").digest() == digest


def test_every_value_can_be_read_and_set_to_itself(real):
    digest = real.digest()
    count = 0
    for element in list(real):
        for name, value in element.items():
            assert element[name] == value
            if not element.type[name].is_derived and element.type[name].kind != "composition":
                element[name] = value
            count += 1
    assert count > len(real) and real.digest() == digest


def test_a_column_is_the_attribute_of_each_element(real):
    place = {element: at for at, element in enumerate(real)}
    checked = 0
    for name in real.statistics().types:
        cls = real.registry[name]
        if not isinstance(cls, kr0.Class):
            continue
        for prop in cls.properties:
            if prop.is_many or not prop.is_stored:
                continue
            wanted = [element[prop.name] for element in real.elements(cls)]
            if prop.kind in ("composition", "association"):
                wanted = [place.get(value) for value in wanted]
            elif prop.kind == "enumeration":
                wanted = [value if value is None else value.value for value in wanted]
            assert real.column(cls, prop.name).tolist() == wanted
            checked += len(wanted)
    assert checked > 100
