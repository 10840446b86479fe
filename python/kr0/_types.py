"""What is plain data: errors, states, and the rows of reports."""

from __future__ import annotations

import enum
from typing import TYPE_CHECKING, NamedTuple

if TYPE_CHECKING:
    from kr0._core import Element


class Error(Exception):
    """Anything that kr0 refuses: what is wrong, and where.

    >>> try:
    ...     kr0.load(folder / "damaged.krz")
    ... except kr0.Error as error:
    ...     error.code
    'damaged'
    """

    #: What kind of thing went wrong: "misuse", "badMetaModel", "unreadable", "unwritable", "foreign", "damaged",
    #: "doesNotFit", "inexpressible", "overLimit", "cancelled", "outOfMemory" or "unknown".
    code: str = "unknown"
    #: The name of the document.
    file: str | None = None
    #: From 1, of a text.
    line: int | None = None
    #: From 0, where reading had come to.
    byte_offset: int | None = None
    #: In the model: "/library/books[42].title".
    path: str | None = None
    #: What is wrong, without its place.
    problem: str | None = None
    #: What would have been right.
    expected: str | None = None
    #: What was there instead.
    found: str | None = None
    #: All problems where there are several, each a sentence; `problem` is the first.
    problems: list[str] = []


class State(enum.Enum):
    """The three states of a property of an element."""

    unset = 0  #: nothing was ever said
    empty = 1  #: said to hold nothing
    value = 2  #: holds at least one value


class DateTimeText(str):
    """A point in time that no datetime.datetime holds exactly: a day alone, nanoseconds, a leap second, a year
    before 1 or after 9999. It is the text of the document."""


class Unresolved(NamedTuple):
    """A reference to what is not in the model."""

    type: str  #: qualified name of the target's type
    first: str  #: identity of the target, first part
    second: str  #: second part
    document: str | None = None  #: the document that the target is in


class Violation(NamedTuple):
    """A place where a model does not keep a rule of its meta model."""

    path: str  #: of the element
    property: str | None  #: its name; None where the element as such is wrong
    rule: str  #: "required", "bounds", "literal", "resolved", "unique", "type", "opposite" or "identity"
    text: str  #: what is wrong


class Difference(NamedTuple):
    """A difference between two models."""

    kind: str  #: "added", "removed", "moved", "reordered", "identity" or "changed"
    before: Element | None  #: the element in the first model
    after: Element | None  #: the element in the second one
    property: str | None  #: what changed, or what holds the element
    path_before: str | None
    path_after: str | None
    value_before: str | None  #: of "identity" and "changed": as text
    value_after: str | None
    sentence: str  #: all of it in one line


class TypeStatistics(NamedTuple):
    """The elements of a class, or the values of a datatype."""

    instances: int  #: without those of subclasses
    properties: dict[str, tuple[int, int]]  #: by name: elements that say something of it, and values


class Statistics(NamedTuple):
    """What a model holds, in figures."""

    elements: int
    roots: int
    types: dict[str, TypeStatistics]  #: by qualified name
    depths: list[int]  #: elements with 0, 1, ... elements above them
    resolved: int  #: references to elements of the model
    unresolved: int  #: references to what is nowhere
    outside: int  #: references into other documents
    texts: int
    text_bytes: int
    different_texts: int
