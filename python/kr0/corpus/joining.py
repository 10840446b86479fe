"""The tables of single documents put together, with a column that says which document a row is of.

Types may differ between documents that bring their own meta model, and so may the columns of a
table: it gets those of all.
"""

from __future__ import annotations

import csv
import json
import os
import shutil
import sqlite3
from collections.abc import Sequence
from contextlib import closing

from kr0.corpus import outputs
from kr0.corpus.documents import Document

NAME = "_document"


def joined(documents: Sequence[Document], parts: str, kind: str, path: str) -> None:
    """Puts the tables of documents together at `path`, in the order of the corpus. What was there
    is replaced.

    Raises CorpusError where a folder there holds anything else.
    """
    if kind == "sqlite":
        whole = os.path.join(parts, "whole.sqlite")
        _join_databases(documents, parts, whole)
    else:
        outputs.refuse_foreign_folder(path, kind)
        whole = os.path.join(parts, "whole")
        os.mkdir(whole)
        JOIN[kind](documents, parts, whole)
        shutil.rmtree(path, ignore_errors=True)
    os.replace(whole, path)


def _join_databases(documents: Sequence[Document], parts: str, whole: str) -> None:
    with closing(sqlite3.connect(whole, isolation_level=None)) as database:
        database.execute("PRAGMA synchronous = OFF")  # whoever finds it cut short has no result
        for document in documents:
            database.execute("ATTACH ? AS part", (outputs.part(document.place, parts),))
            database.execute("BEGIN")
            for table in _names(database, "part"):
                _append(database, table, document.name)
            database.execute("COMMIT")
            database.execute("DETACH part")
        for table in _names(database, "main"):
            index = _quoted(f"{table}_document")
            database.execute(f"CREATE INDEX {index} ON {_quoted(table)} ({NAME})")


def _append(database: sqlite3.Connection, table: str, name: str) -> None:
    """Adds the rows of a document's table to the table of all."""
    columns = _columns(database, "part", table)
    whole, part = f"main.{_quoted(table)}", f"part.{_quoted(table)}"
    had = _columns(database, "main", table)
    if not had:
        database.execute(f"CREATE TABLE {whole} ({NAME} TEXT)")
    for column, type_ in columns.items():
        if column not in had:
            database.execute(f"ALTER TABLE {whole} ADD COLUMN {_quoted(column)} {type_}")
    names = ", ".join(map(_quoted, columns))
    selected = f"SELECT ?, {names} FROM {part}"
    database.execute(f"INSERT INTO {whole} ({NAME}, {names}) {selected}", (name,))


def _names(database: sqlite3.Connection, schema: str) -> list[str]:
    """The tables of a database."""
    found = database.execute(f"SELECT name FROM {schema}.sqlite_master WHERE type = 'table'")
    return [name for (name,) in found]


def _columns(database: sqlite3.Connection, schema: str, table: str) -> dict[str, str]:
    """The columns of a table with their types; none where there is no such table."""
    found = database.execute(f"PRAGMA {schema}.table_info({_quoted(table)})")
    return {row[1]: row[2] for row in found}


def _quoted(name: str) -> str:
    return '"' + name.replace('"', '""') + '"'


def _join_csv(documents: Sequence[Document], parts: str, whole: str) -> None:
    """Twice through the parts: the columns of each table must be known before its first row is
    written."""
    columns: dict[str, dict[str, None]] = {}
    for _, table, part in _tables(documents, parts):
        with open(part, encoding="utf-8", newline="") as lines:
            columns.setdefault(table, {}).update(dict.fromkeys(next(csv.reader(lines))))
    for table, names in columns.items():
        with open(os.path.join(whole, table), "w", encoding="utf-8", newline="") as out:
            csv.writer(out).writerow([NAME, *names])
    for document, table, part in _tables(documents, parts):
        with open(part, encoding="utf-8", newline="") as lines:
            with open(os.path.join(whole, table), "a", encoding="utf-8", newline="") as out:
                writer = csv.DictWriter(out, [NAME, *columns[table]])
                writer.writerows({**row, NAME: document.name} for row in csv.DictReader(lines))


def _join_ndjson(documents: Sequence[Document], parts: str, whole: str) -> None:
    """A row is an object on a line of its own, so the document is put in behind its brace."""
    for document, table, part in _tables(documents, parts):
        begin = f"{{{json.dumps(NAME)}:{json.dumps(document.name, ensure_ascii=False)},"
        with open(part, encoding="utf-8") as lines:
            with open(os.path.join(whole, table), "a", encoding="utf-8") as out:
                out.writelines(begin + line[1:] for line in lines)


def _tables(documents: Sequence[Document], parts: str) -> list[tuple[Document, str, str]]:
    """Each table of each document: the document, the name of the table's file, and where it is."""
    folders = [(document, outputs.part(document.place, parts)) for document in documents]
    return [
        (document, table, os.path.join(folder, table))
        for document, folder in folders
        for table in sorted(os.listdir(folder))
    ]


JOIN = {"csv": _join_csv, "ndjson": _join_ndjson}
