"""Documents of every format, from files and bytes."""

import gzip
import os
import pickle

import kr0
import pytest

FORMATS = ["krb", "krt", "krz", "xmi", "json"]


@pytest.mark.parametrize("suffix", FORMATS + ["xmi.gz", "krb.zst", "json.gz"])
def test_a_model_comes_back_from_a_file(model, tmp_path, suffix):
    path = tmp_path / f"library.{suffix}"
    kr0.save(model, path)
    again = kr0.load(path, model.registry)
    assert again.difference(model) is None and again.registry is model.registry
    assert kr0.load(str(path), model.registry).digest() == model.digest()


@pytest.mark.parametrize("form", FORMATS)
def test_a_model_comes_back_from_bytes(model, form):
    data = model.to_bytes(form)
    for given in (data, bytearray(data), memoryview(data)):
        assert kr0.loads(given, model.registry).digest() == model.digest()


def test_an_archive_brings_its_meta_model(model, tmp_path):
    kr0.save(model, tmp_path / "library.krz", level=1)
    again = kr0.load(tmp_path / "library.krz")
    assert again.difference(model) is None and again.registry is not model.registry
    assert [book.title for book in again.elements("library.Book")] == ["Moby Dick", "Emma"]


@pytest.mark.parametrize("form", ["krb", "krt", "xmi", "json"])
def test_other_documents_need_a_registry(model, form):
    with pytest.raises(kr0.Error, match="needs a registry") as refused:
        kr0.loads(model.to_bytes(form))
    assert refused.value.code == "misuse"


def test_a_damaged_document_is_told_with_its_place(model, tmp_path):
    path = tmp_path / "damaged.krb"
    data = model.to_bytes("krb")
    path.write_bytes(data[: len(data) // 2])
    with pytest.raises(kr0.Error) as refused:
        kr0.load(path, model.registry)
    error = refused.value
    assert (error.code, error.file) == ("damaged", str(path))
    assert 0 < error.byte_offset <= len(data) and error.problem and str(path) in str(error)
    assert error.line is None and error.found is None


def test_an_error_has_the_line_of_a_text(model, tmp_path):
    path = tmp_path / "broken.xmi"
    path.write_bytes(model.to_bytes("xmi") + b"<again/>")
    with pytest.raises(kr0.Error) as refused:
        kr0.load(path, model.registry)
    assert refused.value.line > 1 and "broken.xmi" in str(refused.value)


def test_an_error_travels_between_processes(tmp_path):
    with pytest.raises(kr0.Error) as refused:
        kr0.load(tmp_path / "missing.krz")
    again = pickle.loads(pickle.dumps(refused.value))
    assert type(again) is kr0.Error and str(again) == str(refused.value)
    assert (again.code, again.file, again.path) == ("unreadable", str(tmp_path / "missing.krz"), None)


def test_what_is_no_document_is_refused(tmp_path, registry):
    for name, data, code in [("text.bin", b"hello", "foreign"), ("empty.bin", b"", "foreign"), ("a.krb", b"\0", None)]:
        (tmp_path / name).write_bytes(data)
        with pytest.raises(kr0.Error) as refused:
            kr0.load(tmp_path / name, registry)
        assert code is None or refused.value.code == code
    for path, code in [(tmp_path, "unreadable"), (tmp_path / "no" / "file.krb", "unreadable")]:
        with pytest.raises(kr0.Error) as refused:
            kr0.load(path, registry)
        assert refused.value.code == code


def test_the_format_can_be_said(model, tmp_path):
    kr0.save(model, tmp_path / "document", format="json")
    assert (tmp_path / "document").read_bytes() == model.to_bytes("json")
    assert kr0.load(tmp_path / "document", model.registry, format="json").digest() == model.digest()
    with pytest.raises(ValueError, match="krb, krt, krz, xmi and json"):
        model.to_bytes("xml")
    with pytest.raises(ValueError, match="tells no format"):
        kr0.save(model, tmp_path / "document.txt")


def test_a_limit_holds_what_a_document_unpacks_to(model, tmp_path):
    path = tmp_path / "big.krb.gz"
    path.write_bytes(gzip.compress(bytes(1 << 20)))
    with pytest.raises(kr0.Error) as refused:
        kr0.load(path, model.registry, limit=1 << 16)
    assert refused.value.code == "overLimit"


def test_a_save_that_fails_leaves_the_old_file(model, tmp_path):
    path = tmp_path / "library.krb"
    kr0.save(model, path)
    before = path.read_bytes()
    model.roots[0].name = "a\x01b"
    with pytest.raises(kr0.Error):
        kr0.save(model, path, format="xmi")
    assert path.read_bytes() == before and os.listdir(tmp_path) == ["library.krb"]
    with pytest.raises(kr0.Error) as refused:
        kr0.save(model, tmp_path / "no" / "library.krb")
    assert refused.value.code == "unwritable"


def test_the_bytes_are_those_of_the_library(model):
    assert model.to_bytes("krb")[:4] == kr0.loads(model.to_bytes("krt"), model.registry).to_bytes("krb")[:4]
    assert kr0.loads(model.to_bytes("json"), model.registry).to_bytes("krb") == model.to_bytes("krb")


def test_tables_are_written(model, tmp_path):
    import sqlite3

    from kr0 import _core

    _core.write_sqlite(model, tmp_path / "library.sqlite")
    with sqlite3.connect(tmp_path / "library.sqlite") as tables:
        assert tables.execute("SELECT title, pages FROM Book ORDER BY title").fetchall() == [("Emma", 474), ("Moby Dick", 635)]
    _core.write_tables(model, tmp_path / "tables", "csv")
    assert "Moby Dick" in "".join(p.read_text() for p in (tmp_path / "tables").iterdir())
    with pytest.raises(ValueError, match="csv and ndjson"):
        _core.write_tables(model, tmp_path / "more", "xlsx")
