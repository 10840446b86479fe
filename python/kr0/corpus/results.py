"""What became of documents as a table, and tables as files."""

from __future__ import annotations

import json
import os
import sqlite3
from collections.abc import Iterable, Mapping, Sequence
from contextlib import closing
from typing import TYPE_CHECKING, Any

from kr0.corpus.documents import Document
from kr0.corpus.tasks import Outcome

if TYPE_CHECKING:
    import pandas

#: Columns of a result between `document` and `error`, with their types in pandas. "Int64" is the
#: one that has missing values.
Columns = Mapping[str, str]

SUFFIXES = (".csv", ".ndjson", ".sqlite")


def frame(
    documents: Sequence[Document], outcomes: Iterable[Outcome], columns: Columns
) -> pandas.DataFrame:
    """The rows of all documents, in the order of the corpus.

    A document with an error has one row, in which only `document`, `error` and `code` have values.
    """
    import pandas

    ordered = sorted(outcomes, key=lambda outcome: outcome.place)
    names = {document.place: document.name for document in documents}
    rows = [row for outcome in ordered for row in _rows(names[outcome.place], outcome)]
    table = pandas.DataFrame(rows, columns=["document", *columns, "error", "code"], dtype=object)
    return table.where(table.notna(), None).astype(dict(columns))


def _rows(name: str, outcome: Outcome) -> list[dict[str, Any]]:
    """The rows of a document. One that was looked through without a hit has none."""
    told = {"document": name, "error": outcome.error, "code": outcome.code}
    return [told] if outcome.error is not None else [{**told, **row} for row in outcome.rows]


def write(table: pandas.DataFrame, path: str) -> None:
    """Writes a result to a file, as its suffix says: .csv, .ndjson or .sqlite (a table named
    `result`).

    Raises ValueError for another suffix, OSError where the file cannot be written.
    """
    refuse_suffix(path)
    suffix = os.path.splitext(path)[1]
    if suffix == ".csv":
        table.to_csv(path, index=False)
    elif suffix == ".ndjson":
        _write_ndjson(table, path)
    else:
        with closing(sqlite3.connect(path)) as database:
            _plain(table).to_sql("result", database, if_exists="replace", index=False)


def refuse_suffix(path: str) -> None:
    """Raises ValueError for a path that no result can be written to."""
    if os.path.splitext(path)[1] not in SUFFIXES:
        raise ValueError(f"{path}: a result is written to names that end in {', '.join(SUFFIXES)}")


def text(table: pandas.DataFrame) -> str:
    """A result for people. Columns that have nothing in any row are left out."""
    present = table.dropna(axis="columns", how="all").astype(object)
    return str(present.where(present.notna(), "").to_string(index=False))


def _write_ndjson(table: pandas.DataFrame, path: str) -> None:
    """An object for each row; what is missing is left out."""
    with open(path, "w", encoding="utf-8") as out:
        for row in _plain(table).astype(object).to_dict("records"):
            present = {name: value for name, value in row.items() if not _is_missing(value)}
            out.write(json.dumps(present, ensure_ascii=False, separators=(",", ":")) + "\n")


def _plain(table: pandas.DataFrame) -> pandas.DataFrame:
    """The table with what only Python knows as texts. A function given to map() may have returned
    anything."""
    objects = table.select_dtypes("object")
    return table.assign(**{name: objects[name].map(_plain_value) for name in objects})


def _plain_value(value: Any) -> Any:
    return value if value is None or isinstance(value, (str, int, float)) else str(value)


def _is_missing(value: Any) -> bool:
    import pandas

    return value is None or value is pandas.NA or value != value
