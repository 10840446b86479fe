"""How far a job is: one line on a terminal, and nothing anywhere else.

Dask's own bar counts tasks of a list that is complete from the start. Here documents are counted,
and some of them come to their worker more than once.
"""

from __future__ import annotations

import sys
import time
from typing import TextIO

WIDTH = 40
SECONDS_BETWEEN = 0.1


class Bar:
    """Counts documents. Shown where `shown` says so; None: where the stream is a terminal."""

    def __init__(
        self, title: str, total: int, shown: bool | None = None, stream: TextIO | None = None
    ) -> None:
        self._title, self._total, self._done = title, total, 0
        self._stream = stream or sys.stderr
        self._shown = self._stream.isatty() if shown is None else shown
        self._next = 0.0

    def __enter__(self) -> Bar:
        return self

    def __exit__(self, *_: object) -> None:
        if self._shown:
            self._show()
            print(file=self._stream)

    def add(self, documents: int) -> None:
        """So many more documents are done."""
        self._done += documents
        if self._shown and time.monotonic() >= self._next:
            self._next = time.monotonic() + SECONDS_BETWEEN
            self._show()

    def _show(self) -> None:
        filled = WIDTH * self._done // max(self._total, 1)
        line = f"\r{self._title} [{'#' * filled:{WIDTH}}] {self._done} of {self._total}"
        print(line, end="", file=self._stream, flush=True)
