"""A corpus and its jobs."""

from __future__ import annotations

import os
import pickle
import tempfile
from collections.abc import Callable, Iterator, Sequence
from contextlib import closing
from dataclasses import dataclass, replace
from os import PathLike
from typing import TYPE_CHECKING, Any

import kr0
from kr0.corpus import documents as finding
from kr0.corpus import memory, outputs, results, running
from kr0.corpus.cluster import Scheduler, connected
from kr0.corpus.columns import COLUMNS, EACH
from kr0.corpus.documents import Document, Patterns
from kr0.corpus.errors import CorpusError
from kr0.corpus.joining import joined
from kr0.corpus.meta_models import registry_of
from kr0.corpus.progress import Bar
from kr0.corpus.results import Columns
from kr0.corpus.tasks import Job, Outcome
from kr0.corpus.texts import pattern_of

if TYPE_CHECKING:
    import pandas

Path = str | PathLike[str]


def open(
    patterns: Patterns,
    meta: Sequence[Path] = (),
    *,
    scheduler: Scheduler = None,
    workers: int | None = None,
    memory_limit: str | int | None = None,
    progress: bool | None = None,
) -> Corpus:
    """Opens the corpus of the documents that patterns match; nothing of the documents is read yet.

    - patterns: one or several; ``**`` stands for folders inside each other. Paths of documents may
      be among them.
    - meta: the .ecore files that the documents are read with; archives need none.
    - scheduler, workers, memory_limit, progress: as Corpus.using() tells.

    Raises CorpusError where a pattern matches nothing or a meta model cannot be loaded.
    """
    folder, found = finding.find(patterns)
    paths = tuple(os.path.abspath(os.fspath(path)) for path in meta)
    try:
        registry_of(paths)
    except (kr0.Error, OSError) as problem:
        raise CorpusError(f"the meta models cannot be loaded: {problem}") from problem
    corpus = Corpus(found, folder, paths)
    return corpus.using(
        scheduler=scheduler, workers=workers, memory_limit=memory_limit, progress=progress
    )


@dataclass(frozen=True)
class Corpus:
    """Documents in the order of their paths, and how to work on them. Never changes.

    A job returns a pandas table. Its first column is `document`, the path below `folder`; its last
    ones are `error`, a sentence, and `code`, both missing where a document is fine. A document with
    an error has one row with nothing else in it. The codes are those of kr0.Error and

    - outOfMemory: the document takes more memory than `memory_limit`, or than there is
    - workerDied: the processes that worked on it died, each time
    - function: the function that was given to map() raised an exception
    - unknown: any other exception

    A job raises SchedulerLost or NoWorkers where the cluster goes away, and CorpusError where it
    cannot be done at all.
    """

    documents: tuple[Document, ...]
    folder: str  #: that the names of the documents begin in
    meta: tuple[str, ...] = ()  #: absolute paths of .ecore files
    scheduler: Scheduler = None  #: as using() tells, and so are the next ones
    workers: int | None = None  #: how many processes on this machine
    memory_limit: int | None = None  #: in bytes
    group_size: int | None = None  #: in bytes
    progress: bool | None = None  #: whether a bar is shown

    def __len__(self) -> int:
        return len(self.documents)

    def __iter__(self) -> Iterator[Document]:
        return iter(self.documents)

    def using(self, **settings: Any) -> Corpus:
        """The same corpus, with these settings in place of those that it has.

        - scheduler: the address of a Dask scheduler (``"tcp://10.0.0.1:8786"``), or a
          distributed.Client; None: worker processes on this machine, which each job starts and
          ends. Workers of a cluster must see documents and meta models under the same paths.
        - workers: how many processes on this machine; None: one for each processor.
        - memory_limit: what a document may take, "512 MB" say; None: as much as there is.
        - group_size: bytes that a worker gets at once, "64 MB" say; None: what suits a few workers.
          A hundred of them and more ask a scheduler for less when groups are larger.
        - progress: whether a bar is shown on standard error; None: where that is a terminal.

        Raises ValueError for what is no number of workers or no size.
        """
        if settings.get("workers") is not None and settings["workers"] < 1:
            raise ValueError(f"there must be a worker, and not {settings['workers']}")
        if "memory_limit" in settings:
            settings["memory_limit"] = memory.limit_in_bytes(settings["memory_limit"])
        if "group_size" in settings:
            settings["group_size"] = memory.in_bytes(settings["group_size"])
        return replace(self, **settings)

    def stats(self) -> pandas.DataFrame:
        """Each document in figures.

        bytes, elements, roots, types (with instances), depth (of elements inside each other),
        references (resolved, unresolved, outside: into other documents), texts, text_bytes,
        different_texts, memory (bytes of the model).
        """
        return self._table("stats")

    def features(self) -> pandas.DataFrame:
        """Which properties are used: a row for each document, type and property that is set in it.

        instances: of the type, without subtypes; set: in how many of them; values: how many values
        these have.
        """
        return self._table("features")

    def check(self, each: bool = False) -> pandas.DataFrame:
        """Whether documents keep the rules of their meta model.

        violations: how often not; first: the first time. With `each` there is a row for each time
        (path, property, rule, text), and none for a document that keeps the rules.
        """
        return self._table("check", _variant("check", each), each=each)

    def search(
        self, text: str, *, regex: bool = False, ignore_case: bool = False
    ) -> pandas.DataFrame:
        """Which texts contain a text or match a regular expression: path, property and value.

        Raises ValueError for what is no regular expression.
        """
        try:
            pattern = pattern_of(text, regex, ignore_case)
        except Exception as problem:
            raise ValueError(f'"{text}" is no regular expression: {problem}') from problem
        return self._table("search", pattern=pattern)

    def convert(self, format: str, out: Path) -> pandas.DataFrame:
        """Writes all documents in a format ("krz", say) below the folder `out`, each by its name.

        output: where; bytes: how many. Raises CorpusError, before anything is written, where two
        documents would get the same name, or one would be written over a document of the corpus.
        """
        folder = os.path.abspath(os.fspath(out))
        outputs.refuse_clashes(self.documents, format, folder)
        return self._table("convert", format=format, folder=folder)

    def tables(self, out: Path) -> pandas.DataFrame:
        """Writes the elements of all documents as tables, with a column `_document` in each.

        `out` ends in .sqlite (a database), .csv or .ndjson (a folder with a file for each table).
        What is there is replaced; a folder only where it holds nothing but such tables. Each
        document is written beside `out` first, so that takes the space twice, and workers of a
        cluster must see that folder.

        elements: how many there are of the document. Raises CorpusError where `out` cannot be
        written.
        """
        path = os.path.abspath(os.fspath(out))
        kind = outputs.kind_of_tables(path)
        with tempfile.TemporaryDirectory(prefix=".kr0-", dir=os.path.dirname(path)) as parts:
            outcomes = self._outcomes("tables", kind=kind, parts=parts)
            written = [self.documents[each.place] for each in outcomes if each.error is None]
            joined(written, parts, kind, path)
        return results.frame(self.documents, outcomes, COLUMNS["tables"])

    def diff(self, other: Corpus, each: bool = False) -> pandas.DataFrame:
        """How documents differ from those of the same name in another corpus.

        state: "same", "different", or "onlyHere" and "onlyThere" for documents without a partner;
        the latter come last. differences: how many; first: the first one. With `each` there is a
        row for each difference (kind, property, path_before, path_after, value_before, value_after,
        sentence) and none for documents that say the same.
        """
        columns = _variant("diff", each)
        there = {document.name for document in other}
        both = [document for document in self if document.name in there]
        outcomes = self._outcomes("diff", both, other=other.folder, each=each)
        everything, alone = self._beside(other)
        state = "kind" if each else "state"
        outcomes += [Outcome(document.place, [{state: where}]) for document, where in alone]
        return results.frame(everything, outcomes, columns)

    def map(self, function: Callable[[kr0.Model], Any]) -> pandas.DataFrame:
        """What a function says of each document.

        The function is called with the model, in a worker process: what it returns must be possible
        to pickle, which elements and models are not. A dict gives a column for each key, anything
        else the column `value`.
        """
        outcomes = [_unpickled(outcome) for outcome in self._outcomes("map", function=function)]
        columns = {name: "object" for outcome in outcomes for row in outcome.rows for name in row}
        return results.frame(self.documents, outcomes, columns)

    def _beside(self, other: Corpus) -> tuple[list[Document], list[tuple[Document, str]]]:
        """The documents of both, each name once, and where those are that have no partner."""
        here, there = ({document.name for document in corpus} for corpus in (self, other))
        more = [document for document in other if document.name not in here]
        placed = [each._replace(place=len(self) + number) for number, each in enumerate(more)]
        alone = [(document, "onlyHere") for document in self if document.name not in there]
        return [*self, *placed], alone + [(document, "onlyThere") for document in placed]

    def _table(
        self, verb: str, columns: Columns | None = None, **arguments: Any
    ) -> pandas.DataFrame:
        outcomes = self._outcomes(verb, **arguments)
        return results.frame(self.documents, outcomes, columns or COLUMNS[verb])

    def _outcomes(
        self, verb: str, among: Sequence[Document] | None = None, **arguments: Any
    ) -> list[Outcome]:
        """Does a job with all documents, or those among them, in the order of the corpus."""
        chosen = self.documents if among is None else among
        job = Job(verb, self.meta, self.memory_limit, arguments)
        outcomes: list[Outcome] = []
        with (
            Bar(verb, len(chosen), self.progress) as bar,
            connected(self.scheduler, self.workers) as client,
        ):
            with closing(running.outcomes(client, job, chosen, self.group_size)) as batches:
                for some in batches:
                    outcomes += some
                    bar.add(len(some))
        return sorted(outcomes, key=lambda outcome: outcome.place)


def _variant(verb: str, each: bool) -> Columns:
    return EACH[verb] if each else COLUMNS[verb]


def _unpickled(outcome: Outcome) -> Outcome:
    """What map() gets, with the columns of its rows."""
    values = [pickle.loads(row["pickled"]) for row in outcome.rows]
    rows = [value if isinstance(value, dict) else {"value": value} for value in values]
    return outcome._replace(rows=rows)
