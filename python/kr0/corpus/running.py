"""Groups of documents through the workers of Dask, whatever becomes of the workers.

A document seldom takes more with it than the process that reads it (reading.py). But a worker may
die, too. Dask gives its groups to other workers. A group that was there when several of them died
is given up by Dask, and its documents are tried singly; those of which that is true again are tried
with nothing else going on. So a document that takes its workers with it is told from those that
only were in its company.
"""

# mypy: allow-untyped-calls

from __future__ import annotations

import time
from collections.abc import Generator, Iterator, Sequence
from functools import partial

from distributed import Client, Future, KilledWorker, as_completed

from kr0.corpus.documents import Document
from kr0.corpus.errors import CorpusError
from kr0.corpus.grouping import grouped
from kr0.corpus.reading import run_group
from kr0.corpus.tasks import Job, Outcome
from kr0.corpus.watch import Watch

#: How long to sleep when no group is done. Short beside a group, long beside what a look costs.
NAP_SECONDS = 0.02

Group = tuple[Document, ...]


def outcomes(
    client: Client, job: Job, documents: Sequence[Document], group_size: int | None = None
) -> Generator[list[Outcome], None, None]:
    """Does a job with documents; yields what became of them as it comes, each document once.

    Raises SchedulerLost, NoWorkers, or CorpusError where workers cannot do the job at all.
    """
    if not documents:
        return
    killers: list[Group] = []
    for group, done in _run(client, job, grouped(documents, group_size)):
        if done is None:
            killers.append(group)
        else:
            yield done
    suspects: list[Document] = []
    for single, done in _run(client, job, [(document,) for group in killers for document in group]):
        if done is None:
            suspects.append(single[0])
        else:
            yield done
    for suspect in suspects:
        for _, done in _run(client, job, [(suspect,)]):
            yield [_guilty(suspect)] if done is None else done


def _guilty(document: Document) -> Outcome:
    text = "the workers that it was given to died, each time and with no other document beside it"
    return Outcome(document.place, [], f"{document.path}: {text}", "workerDied")


def _run(
    client: Client, job: Job, groups: Sequence[Group]
) -> Iterator[tuple[Group, list[Outcome] | None]]:
    """Each group with its outcomes as it is done; with None where it took its workers with it."""
    if not groups:
        return
    submitted = client.map(partial(run_group, job), groups, key=f"kr0-{job.verb}", pure=False)
    waiting = dict(zip(submitted, groups))
    del submitted  # a result is dropped by its worker when nobody holds its future any more
    completed = as_completed(list(waiting), loop=client.loop)
    watch = Watch(client)
    try:
        while waiting:
            batch = completed.next_batch(block=False)
            if batch:
                results = _gathered(client, watch, batch)
                yield from [(waiting.pop(future), result) for future, result in zip(batch, results)]
            else:
                watch.look()
                time.sleep(NAP_SECONDS)
    finally:
        if waiting and not watch.is_lost:
            client.cancel(list(waiting))


def _gathered(client: Client, watch: Watch, batch: Sequence[Future]) -> list[list[Outcome] | None]:
    """The results of futures that are done; None for each that took its workers with it."""
    for future in batch:
        if future.status == "error":
            _refuse_failure(future.exception())
    by_key = {future.key: future for future in batch}
    results = watch.patiently(client.gather(by_key, errors="skip", asynchronous=True))
    if any(future.status == "cancelled" for future in batch):
        raise watch.scheduler_lost()
    return [results[future.key] for future in batch]


def _refuse_failure(problem: BaseException) -> None:
    """Ends the job for what is no fault of a document: a worker finds no meta model, or no kr0."""
    if not isinstance(problem, KilledWorker):
        kind = "" if isinstance(problem, CorpusError) else f"{type(problem).__name__}: "
        raise CorpusError(f"the workers cannot do this job: {kind}{problem}") from problem
