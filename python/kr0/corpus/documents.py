"""Which documents a corpus has."""

from __future__ import annotations

import glob
import os
from collections.abc import Iterable, Iterator
from os import PathLike
from typing import NamedTuple

from kr0.corpus.errors import CorpusError

Patterns = str | PathLike[str] | Iterable[str | PathLike[str]]


class Document(NamedTuple):
    """A document of a corpus: where it is, not what is in it."""

    place: int  #: in the corpus, counted from 0
    name: str  #: path below the folder of the corpus, with "/" between folders on every system
    path: str  #: absolute, so that worker processes find it from whatever folder they run in
    size: int  #: in bytes when the corpus was opened; 0 where that cannot be told


class Found(NamedTuple):
    """The documents of a corpus and the folder that their names begin in."""

    folder: str
    documents: tuple[Document, ...]


def find(patterns: Patterns) -> Found:
    """Finds documents, sorted by path, each once.

    A text with one of ``*?[`` is a pattern, in which ``**`` stands for folders inside each other;
    anything else is the path of a document, which is taken whether it is there or not: a missing
    document is told by the job, as any other that cannot be read. The folder is the innermost one
    that all patterns and paths begin with.

    Raises CorpusError when a pattern is matched by no file, or a path is a folder.
    """
    given = [os.path.abspath(os.fspath(each)) for each in _listed(patterns)]
    if not given:
        raise CorpusError("no documents are given")
    folder = os.path.commonpath([_fixed_folder(each) for each in given])
    paths = sorted({path for each in given for path in _matches(each)})
    return Found(folder, tuple(_document(place, path, folder) for place, path in enumerate(paths)))


def _listed(patterns: Patterns) -> Iterator[str | PathLike[str]]:
    if isinstance(patterns, (str, PathLike)):
        yield patterns
    else:
        yield from patterns


def _fixed_folder(pattern: str) -> str:
    """The folders of a pattern before the first one that has a wildcard."""
    folder = os.path.dirname(pattern)
    while glob.has_magic(folder):
        folder = os.path.dirname(folder)
    return folder


def _matches(pattern: str) -> list[str]:
    if os.path.isdir(pattern):
        raise CorpusError(f"{pattern} is a folder; say which documents, as in {pattern}/**/*.krb")
    if not glob.has_magic(pattern) or os.path.exists(pattern):
        return [pattern]
    found = [path for path in glob.iglob(pattern, recursive=True) if not os.path.isdir(path)]
    if not found:
        raise CorpusError(f"no document matches {pattern}")
    return found


def _document(place: int, path: str, folder: str) -> Document:
    name = os.path.relpath(path, folder).replace(os.sep, "/")
    try:
        return Document(place, name, path, os.stat(path).st_size)
    except OSError:
        return Document(place, name, path, 0)
