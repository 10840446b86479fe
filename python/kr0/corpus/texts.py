"""The texts of a model, for a search."""

from __future__ import annotations

import re
from collections.abc import Iterator
from typing import Any

import kr0


def pattern_of(text: str, regex: bool = False, ignore_case: bool = False) -> re.Pattern[str]:
    """What to look for: a text as it is, or a regular expression of Python's. Raises re.error for
    what is none.

    >>> bool(pattern_of("a.c").search("abc")), bool(pattern_of("a.c", regex=True).search("abc"))
    (False, True)
    """
    return re.compile(text if regex else re.escape(text), re.IGNORECASE if ignore_case else 0)


def matching(model: kr0.Model, pattern: re.Pattern[str]) -> Iterator[tuple[str, str, str]]:
    """Path of the element, name of the property and text, in document order."""
    for element in model:
        for owner, name, text in texts_of(element):
            if pattern.search(text):
                yield owner.path, name, text


def texts_of(element: kr0.Element) -> Iterator[tuple[kr0.Element, str, str]]:
    """The texts that an element holds, those inside its datatype values too, but not those of its
    children."""
    waiting = [element]
    while waiting:
        owner = waiting.pop()
        for name, value in owner.items():
            for single in _values(value):
                if type(single) is str:  # enumerations and dates may be kinds of text
                    yield owner, name, single
                elif isinstance(single, kr0.Element) and isinstance(single.type, kr0.Datatype):
                    waiting.append(single)


def _values(value: Any) -> list[Any] | Any:
    return value if isinstance(value, kr0.Values) else [value]
