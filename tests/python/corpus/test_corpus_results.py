"""What became of documents as a table, and tables as files."""

import json
import sqlite3

import pandas
import pytest
from kr0.corpus import results
from kr0.corpus.documents import Document
from kr0.corpus.tasks import Outcome

DOCUMENTS = [Document(place, f"{place}.krb", f"/{place}.krb", 10) for place in range(3)]
OUTCOMES = [
    Outcome(2, [{"elements": 7, "first": "ö, é"}]),
    Outcome(1, [], "/1.krb: broken", "damaged"),
    Outcome(0, [{"elements": 2**60 + 1, "first": None}]),
]


@pytest.fixture
def table():
    return results.frame(DOCUMENTS, OUTCOMES, {"elements": "Int64", "first": "object"})


def selected(path, columns):
    return list(sqlite3.connect(path).execute(f"SELECT {columns} FROM result"))


def test_rows_are_in_the_order_of_the_corpus(table):
    assert list(table.columns) == ["document", "elements", "first", "error", "code"]
    assert list(table["document"]) == ["0.krb", "1.krb", "2.krb"]


def test_an_error_is_a_row_with_nothing_else(table):
    row = table.iloc[1]
    assert (row["error"], row["code"]) == ("/1.krb: broken", "damaged")
    assert row["elements"] is pandas.NA and row["first"] is None


def test_errors_are_missing_where_there_is_none(table):
    assert list(table["error"].isna()) == [True, False, True]


def test_whole_numbers_stay_whole_beside_missing_ones(table):
    assert table["elements"][0] == 2**60 + 1


def test_a_document_may_have_several_rows_or_none():
    rows = [[{"value": "a"}, {"value": "b"}], [], [{"value": "c"}]]
    outcomes = [Outcome(place, some) for place, some in enumerate(rows)]
    table = results.frame(DOCUMENTS, outcomes, {"value": "object"})
    assert list(table["document"]) == ["0.krb", "0.krb", "2.krb"]
    assert list(table["value"]) == ["a", "b", "c"]


def test_no_outcome_gives_a_table_with_columns():
    table = results.frame([], [], {"value": "object"})
    assert list(table.columns) == ["document", "value", "error", "code"]


def test_csv_has_a_line_for_each_row(table, tmp_path):
    results.write(table, str(tmp_path / "a.csv"))
    assert (tmp_path / "a.csv").read_text(encoding="utf-8").splitlines() == [
        "document,elements,first,error,code",
        f"0.krb,{2**60 + 1},,,",
        "1.krb,,,/1.krb: broken,damaged",
        '2.krb,7,"ö, é",,',
    ]


def test_ndjson_has_an_object_for_each_row_without_what_is_missing(table, tmp_path):
    results.write(table, str(tmp_path / "a.ndjson"))
    lines = (tmp_path / "a.ndjson").read_text(encoding="utf-8").splitlines()
    assert [json.loads(line) for line in lines] == [
        {"document": "0.krb", "elements": 2**60 + 1},
        {"document": "1.krb", "error": "/1.krb: broken", "code": "damaged"},
        {"document": "2.krb", "elements": 7, "first": "ö, é"},
    ]


def test_sqlite_has_a_table_with_the_rows(table, tmp_path):
    for _ in range(2):  # the second time it replaces the first
        results.write(table, str(tmp_path / "a.sqlite"))
    assert selected(tmp_path / "a.sqlite", "document, elements, code") == [
        ("0.krb", 2**60 + 1, None),
        ("1.krb", None, "damaged"),
        ("2.krb", 7, None),
    ]


def test_values_that_only_python_knows_are_written_as_texts(tmp_path):
    outcomes = [Outcome(0, [{"value": [1, 2]}])]
    table = results.frame(DOCUMENTS, outcomes, {"value": "object"})
    results.write(table, str(tmp_path / "a.sqlite"))
    assert selected(tmp_path / "a.sqlite", "value") == [("[1, 2]",)]


def test_another_suffix_is_refused(table, tmp_path):
    with pytest.raises(ValueError, match="a result is written to names that end in .csv, "):
        results.write(table, str(tmp_path / "a.txt"))
    assert list(tmp_path.iterdir()) == []


def test_people_see_no_columns_without_a_value(table):
    lines = results.text(table.iloc[[0]]).splitlines()
    assert lines[0].split() == ["document", "elements"]
    assert "None" not in lines[1]
