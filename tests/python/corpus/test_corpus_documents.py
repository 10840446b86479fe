"""Which documents a corpus has."""

import pytest
from kr0.corpus import CorpusError
from kr0.corpus.documents import find


@pytest.fixture
def folder(tmp_path):
    for name in ("b.krb", "a.krb", "sub/deep/c.krb", "sub/d.krz", "other.txt"):
        (tmp_path / name).parent.mkdir(parents=True, exist_ok=True)
        (tmp_path / name).write_bytes(b"12345")
    return tmp_path


def names(found):
    return [document.name for document in found.documents]


def test_documents_are_sorted_by_path(folder):
    assert names(find(f"{folder}/*.krb")) == ["a.krb", "b.krb"]


def test_two_stars_stand_for_folders_inside_each_other(folder):
    assert names(find(f"{folder}/**/*.kr?")) == ["a.krb", "b.krb", "sub/d.krz", "sub/deep/c.krb"]


def test_a_document_that_several_patterns_match_is_there_once(folder):
    assert names(find([f"{folder}/a*", f"{folder}/*.krb"])) == ["a.krb", "b.krb"]


def test_names_begin_in_the_innermost_common_folder(folder):
    found = find([f"{folder}/sub/*.krz", f"{folder}/sub/deep/*"])
    assert found.folder == str(folder / "sub")
    assert names(found) == ["d.krz", "deep/c.krb"]


def test_a_document_has_its_size_and_its_place(folder):
    found = find(f"{folder}/**/*.krb")
    assert [document.size for document in found.documents] == [5, 5, 5]
    assert [document.place for document in found.documents] == [0, 1, 2]


def test_a_path_is_taken_whether_it_is_there_or_not(folder):
    (document,) = find(folder / "gone.krb").documents
    assert (document.name, document.size) == ("gone.krb", 0)


def test_a_path_with_brackets_may_be_a_document(folder):
    (folder / "a[1].krb").write_bytes(b"")
    assert names(find(folder / "a[1].krb")) == ["a[1].krb"]


def test_paths_are_absolute(folder, monkeypatch):
    monkeypatch.chdir(folder)
    assert find("*.krb").documents[0].path == str(folder / "a.krb")


def test_a_pattern_that_matches_nothing_is_refused(folder):
    with pytest.raises(CorpusError, match=r"no document matches .*\*\.xmi"):
        find([f"{folder}/*.krb", f"{folder}/*.xmi"])


def test_a_folder_is_no_document(folder):
    with pytest.raises(CorpusError, match="is a folder; say which documents"):
        find(folder)


def test_no_pattern_at_all_is_refused():
    with pytest.raises(CorpusError, match="no documents are given"):
        find([])
