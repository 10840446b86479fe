"""Where jobs write to. Nothing here writes."""

from __future__ import annotations

import os
from collections.abc import Iterable

from kr0.corpus.documents import Document
from kr0.corpus.errors import CorpusError

#: What is around a document and says nothing of what is in it.
PACKED = (".gz", ".zst")


def converted(name: str, format: str, folder: str) -> str:
    """Where a document goes that is converted: its name with another suffix, below the folder.

    >>> converted("2026/shelf.xmi.gz", "krz", "/out")
    '/out/2026/shelf.krz'
    """
    stem, suffix = os.path.splitext(name)
    if suffix in PACKED:
        stem, suffix = os.path.splitext(stem)
    return os.path.join(folder, f"{stem}.{format}")


def refuse_clashes(documents: Iterable[Document], format: str, folder: str) -> None:
    """Raises CorpusError where two documents would go to the same place, or one onto a document of
    the corpus."""
    sources = {document.path: document.name for document in documents}
    taken: dict[str, str] = {}
    for name in sources.values():
        output = converted(name, format, folder)
        if output in sources:
            raise CorpusError(f"{name} would be written over {sources[output]}")
        if output in taken:
            raise CorpusError(f"{taken[output]} and {name} would both be written to {output}")
        taken[output] = name


def part(place: int, parts: str) -> str:
    """Where a document's own tables are until they are put together."""
    return os.path.join(parts, f"{place:08}")


def kind_of_tables(path: str) -> str:
    """How tables are written to a path: "sqlite", "csv" or "ndjson". Raises CorpusError for any
    other suffix."""
    kind = os.path.splitext(path)[1][1:]
    if kind not in ("sqlite", "csv", "ndjson"):
        raise CorpusError(f"{path}: tables are written to names in .sqlite, .csv or .ndjson")
    return kind


def refuse_foreign_folder(path: str, kind: str) -> None:
    """Raises CorpusError where a folder holds anything but tables of this kind, which would be
    lost."""
    if not os.path.isdir(path):
        return
    for name in sorted(os.listdir(path)):
        if not name.endswith(f".{kind}"):
            raise CorpusError(f"{path}: holds {name}, no such table, and is not overwritten")
