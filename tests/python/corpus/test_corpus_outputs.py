"""Where jobs write to."""

import pytest
from kr0.corpus import CorpusError, outputs
from kr0.corpus.documents import Document


def documents(*paths):
    return [Document(place, path[len("/in/") :], path, 0) for place, path in enumerate(paths)]


def test_a_converted_document_has_its_name_with_another_suffix():
    assert outputs.converted("a/b.xmi", "krb", "/out") == "/out/a/b.krb"


def test_packing_is_no_part_of_the_name():
    assert outputs.converted("b.xmi.zst", "krb", "/out") == "/out/b.krb"


def test_two_documents_with_one_name_are_refused():
    with pytest.raises(CorpusError, match="b.krt and b.xmi would both be written to /out/b.krb"):
        outputs.refuse_clashes(documents("/in/b.krt", "/in/b.xmi"), "krb", "/out")


def test_a_document_of_the_corpus_is_not_written_over():
    with pytest.raises(CorpusError, match="b.xmi would be written over b.krb"):
        outputs.refuse_clashes(documents("/in/b.xmi", "/in/b.krb"), "krb", "/in")


def test_tables_need_a_suffix_that_says_their_kind():
    assert outputs.kind_of_tables("/a/b.sqlite") == "sqlite"
    with pytest.raises(CorpusError, match="tables are written to names in .sqlite, "):
        outputs.kind_of_tables("/a/b.txt")


def test_a_folder_with_anything_but_tables_is_not_replaced(tmp_path):
    (tmp_path / "a.csv").touch()
    outputs.refuse_foreign_folder(str(tmp_path), "csv")
    (tmp_path / "todo.txt").touch()
    with pytest.raises(CorpusError, match="holds todo.txt, no such table, and is not overwritten"):
        outputs.refuse_foreign_folder(str(tmp_path), "csv")
