"""Small documents, and clusters on the loopback interface."""

import kr0
import pytest
from corpus_support import META, Cluster
from kr0.corpus import cluster as local


@pytest.fixture(scope="session")
def registry():
    return kr0.Registry.from_ecore(META)


@pytest.fixture(scope="session")
def meta():
    return [META]


@pytest.fixture(scope="session")
def write_note(registry):
    """Writes a document with one note, and below it one for each text."""

    def write(path, *texts, **values):
        path.parent.mkdir(parents=True, exist_ok=True)
        model = kr0.Model(registry)
        top = model.create("notes.Note", **values)
        for text in texts:
            top.create("below", text=text)
        kr0.save(model, path)

    return write


@pytest.fixture
def notes(tmp_path, write_note):
    """Nine documents: the fifth is damaged, the sixth empty, and the seventh breaks a rule."""
    for number in range(7):
        path = tmp_path / f"{number}.krb"
        write_note(path, f"first of {number}", text=f"top of {number}", number=number)
    write_note(tmp_path / "more" / "7.krb", text="Ärger", tags=["a", "first"], mood="glad")
    write_note(tmp_path / "more" / "8.krb", text="last")
    cut = tmp_path / "4.krb"
    cut.write_bytes(cut.read_bytes()[:-9])
    (tmp_path / "5.krb").write_bytes(b"")
    write_note(tmp_path / "6.krb", number=6)
    return tmp_path


@pytest.fixture(scope="session")
def address():
    """The scheduler of two workers that serve many tests."""
    with local.local_cluster(2) as address:
        yield address


@pytest.fixture
def start_cluster(tmp_path_factory):
    """Starts clusters that end with the test."""
    started = []

    def start(workers):
        started.append(Cluster(tmp_path_factory.mktemp("cluster"), workers))
        return started[-1]

    yield start
    for cluster in started:
        cluster.stop()
