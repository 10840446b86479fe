"""Meta models, loaded once in each worker process.

They and nothing else stay in a worker between documents. A meta model that was changed on the disk
is another one: files are told by path, size and time of their last change.
"""

from __future__ import annotations

import os
import threading
from collections.abc import Sequence
from functools import lru_cache
from typing import NamedTuple

import kr0

#: Sets of meta models that are kept. On a cluster a worker serves several corpora in turn.
MOST_KEPT = 8

_loading = threading.Lock()


class MetaFile(NamedTuple):
    """An .ecore file in one of its versions."""

    path: str
    size: int
    changed: int  #: in nanoseconds, as the file system tells it


def registry_of(paths: Sequence[str]) -> kr0.Registry | None:
    """The types of these .ecore files, or None where there are no files. Safe in threads.

    Raises kr0.Error for a file that is no meta model, and OSError for one that is not there.
    """
    if not paths:
        return None
    files = tuple(_stamped(path) for path in paths)
    with _loading:
        return _load(files)


def times_loaded() -> int:
    """How often this process has loaded meta models."""
    return _load.cache_info().misses


def _stamped(path: str) -> MetaFile:
    status = os.stat(path)
    return MetaFile(path, status.st_size, status.st_mtime_ns)


@lru_cache(maxsize=MOST_KEPT)
def _load(files: tuple[MetaFile, ...]) -> kr0.Registry:
    return kr0.Registry.from_ecore(*(file.path for file in files))
