"""A job, and what becomes of a document with which it is done."""

from __future__ import annotations

from dataclasses import dataclass, field
from typing import Any, NamedTuple

import kr0
from kr0.corpus import jobs, memory
from kr0.corpus.documents import Document

#: A row of a result, without what all rows have: name of a column and its value.
Row = dict[str, Any]


@dataclass(frozen=True)
class Job:
    """What to do with each document. Travels to the workers, so it is small and can be pickled."""

    verb: str  #: one of jobs.VERBS
    meta: tuple[str, ...] = ()  #: absolute paths of .ecore files
    memory_limit: int | None = None  #: in bytes, for each document
    arguments: dict[str, Any] = field(default_factory=dict)  #: of the verb's function


class Outcome(NamedTuple):
    """What became of one document: rows, or an error and its code."""

    place: int
    rows: list[Row]
    error: str | None = None
    code: str | None = None


def run_one(job: Job, registry: kr0.Registry | None, document: Document) -> Outcome:
    """Does the job with one document; what goes wrong is in the outcome."""
    function = jobs.VERBS[job.verb]
    try:
        with memory.at_most(job.memory_limit):
            rows = function(document, registry, **job.arguments)
        return Outcome(document.place, rows)
    except Exception as problem:
        return Outcome(document.place, [], *_told(problem, document, job.memory_limit))


def _told(problem: Exception, document: Document, limit: int | None) -> tuple[str, str]:
    """The sentence and the code of an error."""
    code = _code_of(problem)
    if code == "outOfMemory" and limit is not None:
        return f"{document.path}: takes more than {memory.readable(limit)} of memory", code
    if isinstance(problem, MemoryError):
        return f"{document.path}: there is not enough memory for it", code
    if isinstance(problem, (kr0.Error, jobs.Failed)):
        return str(problem), code
    return f"{document.path}: {type(problem).__name__}: {problem}", code


def _code_of(problem: Exception) -> str:
    if isinstance(problem, (kr0.Error, jobs.Failed)):
        return problem.code
    return "outOfMemory" if isinstance(problem, MemoryError) else "unknown"
