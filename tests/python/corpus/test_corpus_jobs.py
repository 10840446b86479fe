"""The jobs, each in worker processes."""

import os
import sqlite3

import kr0
import kr0.corpus
import pytest
from kr0.corpus import CorpusError, meta_models

BAD = ["4.krb", "5.krb"]


@pytest.fixture
def corpus(notes, meta, address):
    return kr0.corpus.open(f"{notes}/**/*.krb", meta=meta, scheduler=address)


def fine(table):
    return table[table["error"].isna()]


def by_document(table, column):
    return dict(zip(table["document"], table[column]))


def test_stats_has_figures_of_each_document(corpus, notes):
    table = fine(corpus.stats()).set_index("document")
    assert list(table["elements"]) == [2, 2, 2, 2, 1, 1, 1]
    assert table.loc["more/7.krb", "texts"] == 3
    assert table.loc["0.krb", "bytes"] == os.stat(notes / "0.krb").st_size
    assert table.loc["0.krb", "depth"] == 2


def test_bad_documents_are_rows_with_their_errors(corpus, notes):
    table = corpus.stats()
    assert list(table["document"]) == [document.name for document in corpus]
    bad = table[table["error"].notna()]
    assert list(bad["document"]) == BAD
    assert all(str(notes / name) in error for name, error in zip(BAD, bad["error"]))
    assert bad["code"].iloc[0] == "damaged"
    assert bad["elements"].isna().all()


def test_a_document_that_is_not_there_is_a_row(notes, meta, address):
    corpus = kr0.corpus.open([notes / "0.krb", notes / "gone.krb"], meta=meta, scheduler=address)
    assert list(corpus.stats()["code"]) == [None, "unreadable"]


def test_features_are_counted_by_type_and_property(corpus):
    table = fine(corpus.features())
    sums = table.groupby(["type", "property"])["values"].sum()
    assert sums["notes.Note", "number"] == 5
    assert sums["notes.Note", "tags"] == 2


def test_check_tells_what_breaks_rules(corpus):
    table = corpus.check()
    assert by_document(fine(table), "violations") == {
        name: int(name == "6.krb") for name in table["document"] if name not in BAD
    }
    assert by_document(table, "first")["6.krb"].startswith("/note.text: ")


def test_check_of_each_has_a_row_for_each_violation(corpus):
    table = fine(corpus.check(each=True))
    assert list(table["document"]) == ["6.krb"]
    assert list(table["property"]) == ["text"]


def test_search_finds_texts_of_single_and_repeated_properties(corpus):
    table = fine(corpus.search("first"))
    found = list(zip(table["document"], table["path"], table["property"], table["value"]))
    assert ("3.krb", "/note/below[0]", "text", "first of 3") in found
    assert ("more/7.krb", "/note", "tags", "first") in found
    assert len(found) == 5


def test_search_takes_a_text_as_it_is(corpus):
    assert len(fine(corpus.search("first.*"))) == 0
    assert len(fine(corpus.search("^first$", regex=True))) == 1


def test_search_may_ignore_case(corpus):
    assert list(fine(corpus.search("ÄRGER", ignore_case=True))["value"]) == ["Ärger"]


def test_search_finds_no_enumeration(corpus):
    assert len(fine(corpus.search("glad"))) == 0


def test_a_broken_regular_expression_is_refused(corpus):
    with pytest.raises(ValueError, match="is no regular expression"):
        corpus.search("(", regex=True)


def test_convert_writes_documents_that_say_the_same(corpus, tmp_path, registry, notes):
    table = corpus.convert("json", tmp_path / "out")
    assert by_document(table, "output")["more/7.krb"] == str(tmp_path / "out/more/7.json")
    assert sorted(p.name for p in (tmp_path / "out").rglob("*.json")) == [
        f"{n}.json" for n in (0, 1, 2, 3, 6, 7, 8)
    ]
    before = kr0.load(notes / "0.krb", registry)
    assert before.difference(kr0.load(tmp_path / "out/0.json", registry)) is None


def test_convert_refuses_to_write_over_the_corpus(corpus, notes):
    with pytest.raises(CorpusError, match="0.krb would be written over 0.krb"):
        corpus.convert("krb", notes)


def test_map_gives_a_column_for_each_key(corpus):
    table = corpus.map(lambda model: {"notes": len(model), "top": model.roots[0].number})
    assert by_document(fine(table), "top")["3.krb"] == 3
    assert by_document(fine(table), "notes")["3.krb"] == 2


def test_map_gives_one_column_for_other_values(corpus):
    assert by_document(fine(corpus.map(len)), "value")["0.krb"] == 2


def test_what_a_function_raises_is_the_error_of_a_document(corpus):
    table = corpus.map(lambda model: 1 / (model.roots[0].number - 3) if len(model) > 1 else 0)
    row = table.set_index("document").loc["3.krb"]
    assert row["code"] == "function"
    assert row["error"].endswith("3.krb: ZeroDivisionError: division by zero")
    assert list(table["code"]).count("function") == 1


def test_what_cannot_be_pickled_is_the_error_of_a_document(corpus):
    codes = by_document(corpus.map(lambda model: model), "code")
    assert {codes[name] for name in codes if name not in BAD} == {"function"}


def test_diff_compares_documents_of_the_same_name(corpus, notes, meta, tmp_path, write_note):
    other = tmp_path / "other"
    write_note(other / "0.krb", "first of 0", text="top of 0", number=0)
    write_note(other / "1.krb", "another text", text="top of 1", number=1)
    write_note(other / "4.krb", text="whole")
    write_note(other / "new.krb", text="new")
    table = corpus.diff(kr0.corpus.open(f"{other}/*.krb", meta=meta))
    states = by_document(table, "state")
    assert (states["0.krb"], states["1.krb"]) == ("same", "different")
    assert (states["2.krb"], states["new.krb"]) == ("onlyHere", "onlyThere")
    assert by_document(table, "code")["4.krb"] == "damaged"
    assert list(table["document"])[-1] == "new.krb"
    assert "another text" in by_document(table, "first")["1.krb"]


def test_diff_of_each_has_a_row_for_each_difference(notes, meta, address, tmp_path, write_note):
    other = tmp_path / "other"
    write_note(other / "1.krb", "first of 1", text="top", number=12)
    corpus = kr0.corpus.open(notes / "1.krb", meta=meta, scheduler=address)
    table = corpus.diff(kr0.corpus.open(other / "1.krb", meta=meta), each=True)
    assert list(table["property"]) == ["text", "number"]
    assert list(table["value_after"]) == ['"top"', "12"]


def test_tables_have_the_rows_of_all_documents(corpus, tmp_path):
    corpus.tables(tmp_path / "all.sqlite")
    database = sqlite3.connect(tmp_path / "all.sqlite")
    rows = list(database.execute("SELECT _document, text, number FROM Note ORDER BY 1, _id"))
    assert rows[:2] == [("0.krb", "top of 0", 0), ("0.krb", "first of 0", None)]
    assert len(rows) == 11


def test_tables_as_text_say_the_same_as_the_database(corpus, tmp_path):
    import pandas

    for kind in ("sqlite", "csv", "ndjson"):
        corpus.tables(tmp_path / f"all.{kind}")
    database = sqlite3.connect(tmp_path / "all.sqlite")
    wanted = list(database.execute("SELECT _document, _id, text FROM Note"))
    csv = pandas.read_csv(tmp_path / "all.csv/Note.csv", keep_default_na=False)
    ndjson = pandas.read_json(tmp_path / "all.ndjson/Note.ndjson", lines=True)
    assert [(d, i, t or None) for d, i, t in csv[["_document", "_id", "text"]].values] == wanted
    texts = ndjson["text"].where(ndjson["text"].notna(), None)
    assert list(zip(ndjson["_document"], ndjson["_id"], texts)) == wanted


def test_tables_leave_nothing_else_behind(corpus, tmp_path):
    folder = tmp_path / "empty"
    folder.mkdir()
    corpus.tables(folder / "all.csv")
    assert os.listdir(folder) == ["all.csv"]


def test_archives_need_no_meta_model(notes, meta, address, tmp_path):
    corpus = kr0.corpus.open(f"{notes}/*.krb", meta=meta, scheduler=address)
    corpus.convert("krz", tmp_path / "archives")
    archives = kr0.corpus.open(f"{tmp_path}/archives/*.krz", scheduler=address)
    assert list(archives.stats()["elements"]) == [2, 2, 2, 2, 1]
    assert set(archives.diff(archives)["state"]) == {"same"}


def test_a_broken_meta_model_ends_the_job(notes, tmp_path):
    (tmp_path / "bad.ecore").write_text("<no")
    with pytest.raises(CorpusError, match="the meta models cannot be loaded: .*bad.ecore"):
        kr0.corpus.open(f"{notes}/*.krb", meta=[tmp_path / "bad.ecore"])


def test_a_meta_model_that_workers_do_not_find_ends_the_job(notes, meta, address, tmp_path):
    own = tmp_path / "own.ecore"
    own.write_bytes(meta[0].read_bytes())
    corpus = kr0.corpus.open(f"{notes}/**/*.krb", meta=[own], scheduler=address)
    own.unlink()
    sentence = "^the workers cannot do this job: the meta models cannot be loaded: .*own.ecore"
    with pytest.raises(CorpusError, match=sentence):
        corpus.stats()


def test_meta_models_are_loaded_once_in_each_worker(notes, address, tmp_path, meta):
    own = tmp_path / "own.ecore"  # one that no other test has loaded
    own.write_bytes(meta[0].read_bytes())
    corpus = kr0.corpus.open(f"{notes}/**/*.krb", meta=[own], scheduler=address)
    jobs = [corpus.map(_process_and_times_loaded)["value"].dropna() for _ in range(6)]
    rows = {row for job in jobs for row in job}
    assert len(rows) == len({process for process, _ in rows}) <= 2


def test_a_changed_meta_model_is_loaded_again(tmp_path, meta):
    own = tmp_path / "own.ecore"
    own.write_bytes(meta[0].read_bytes())
    first = meta_models.registry_of([str(own)])
    assert meta_models.registry_of([str(own)]) is first
    os.utime(own, ns=(1, 1))
    assert meta_models.registry_of([str(own)]) is not first


def test_a_bar_counts_documents(corpus, capfd):
    corpus.using(progress=True).stats()
    assert "stats [########################################] 9 of 9" in capfd.readouterr().err


def test_no_bar_without_a_terminal(corpus, capfd):
    corpus.stats()
    assert capfd.readouterr() == ("", "")


def _process_and_times_loaded(model):
    return os.getpid(), meta_models.times_loaded()
