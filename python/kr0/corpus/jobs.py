"""The jobs: functions of one document and of the types that it is read with, which give rows.

Each reads its document itself, so that a document is in memory only while its job looks at it.
"""

from __future__ import annotations

import os
import re
from collections.abc import Callable
from typing import Any, TypeAlias

import cloudpickle

import kr0
from kr0 import _core
from kr0.corpus import outputs, texts
from kr0.corpus.documents import Document

#: A row of a result, without what all rows have: name of a column and its value.
Row = dict[str, Any]
Registry: TypeAlias = kr0.Registry | None


class Failed(Exception):
    """What went wrong with a document and is none of the library's errors."""

    def __init__(self, code: str, text: str) -> None:
        super().__init__(text)
        self.code = code


def stats(document: Document, registry: Registry) -> list[Row]:
    """One row: the document in figures."""
    model = kr0.load(document.path, registry)
    figures = model.statistics()
    return [
        {
            "bytes": document.size,
            "elements": figures.elements,
            "roots": figures.roots,
            "types": len(figures.types),
            "depth": len(figures.depths),
            "resolved": figures.resolved,
            "unresolved": figures.unresolved,
            "outside": figures.outside,
            "texts": figures.texts,
            "text_bytes": figures.text_bytes,
            "different_texts": figures.different_texts,
            "memory": model.memory,
        }
    ]


def features(document: Document, registry: Registry) -> list[Row]:
    """A row for each property that is set on instances of a type."""
    figures = kr0.load(document.path, registry).statistics()
    return [
        {
            "type": name,
            "property": property_name,
            "instances": of_type.instances,
            "set": times,
            "values": values,
        }
        for name, of_type in figures.types.items()
        for property_name, (times, values) in of_type.properties.items()
    ]


def check(document: Document, registry: Registry, each: bool) -> list[Row]:
    """How often the document breaks rules of its meta model, and where first; or a row for each
    time."""
    found = kr0.load(document.path, registry).validate()
    if each:
        return [violation._asdict() for violation in found]
    first = f"{found[0].path}.{found[0].property}: {found[0].text}" if found else None
    return [{"violations": len(found), "first": first}]


def convert(document: Document, registry: Registry, format: str, folder: str) -> list[Row]:
    """Writes the document in another format; one row: where, and how many bytes it has there."""
    output = outputs.converted(document.name, format, folder)
    model = kr0.load(document.path, registry)
    os.makedirs(os.path.dirname(output), exist_ok=True)
    kr0.save(model, output, format)
    return [{"output": output, "bytes": os.stat(output).st_size}]


def tables(document: Document, registry: Registry, kind: str, parts: str) -> list[Row]:
    """Writes the tables of the document beside those of the others; one row: how many elements they
    tell of."""
    model = kr0.load(document.path, registry)
    part = outputs.part(document.place, parts)
    if kind == "sqlite":
        _core.write_sqlite(model, part)
    else:
        _core.write_tables(model, part, kind)
    return [{"elements": len(model)}]


def search(document: Document, registry: Registry, pattern: re.Pattern[str]) -> list[Row]:
    """A row for each text in which the pattern is found."""
    model = kr0.load(document.path, registry)
    return [
        {"path": path, "property": name, "value": text}
        for path, name, text in texts.matching(model, pattern)
    ]


def diff(document: Document, registry: Registry, other: str, each: bool) -> list[Row]:
    """How a document differs from that of the same name in another folder, or a row for each
    difference."""
    before = kr0.load(document.path, registry)
    after = kr0.load(os.path.join(other, document.name), before.registry)
    found = before.diff(after)
    if each:
        return [{column: getattr(one, column) for column in DIFFERENCE} for one in found]
    return [
        {
            "state": "different" if found else "same",
            "differences": len(found),
            "first": found[0].sentence if found else None,
        }
    ]


#: What a row tells of a difference: all of it but the elements, which are gone when the job is
#: done.
DIFFERENCE = (
    "kind",
    "property",
    "path_before",
    "path_after",
    "value_before",
    "value_after",
    "sentence",
)


def apply(
    document: Document, registry: Registry, function: Callable[[kr0.Model], Any]
) -> list[Row]:
    """What a function of the caller's says of the document, pickled: one row.

    It is pickled here, where a value that cannot be is the fault of one document and no more.
    """
    model = kr0.load(document.path, registry)
    try:
        return [{"pickled": cloudpickle.dumps(function(model))}]
    except (kr0.Error, MemoryError):
        raise
    except Exception as problem:
        text = f"{document.path}: {type(problem).__name__}: {problem}"
        raise Failed("function", text) from problem


VERBS: dict[str, Callable[..., list[Row]]] = {
    "stats": stats,
    "features": features,
    "check": check,
    "convert": convert,
    "tables": tables,
    "search": search,
    "diff": diff,
    "map": apply,
}
