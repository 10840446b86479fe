"""Where a job runs: worker processes of this machine, or a Dask cluster."""

# mypy: allow-untyped-calls

from __future__ import annotations

import os
import subprocess
import sys
from collections.abc import Iterator
from contextlib import contextmanager, suppress
from typing import TypeAlias

from distributed import Client

from kr0.corpus.errors import CorpusError, SchedulerLost
from kr0.corpus.reading import search_path

#: The address of a scheduler, a client that is connected to one, or None for processes of this
#: machine.
Scheduler: TypeAlias = str | Client | None

#: How long a scheduler may take to answer for the first time, or again after a connection was cut.
CONNECT_SECONDS = 5

#: How long the processes of this machine may take to end when they are told so.
END_SECONDS = 10


@contextmanager
def connected(scheduler: Scheduler, workers: int | None) -> Iterator[Client]:
    """A client for one job. Raises SchedulerLost where nobody answers at the address."""
    if isinstance(scheduler, Client):
        yield scheduler
    elif scheduler is None:
        with local_cluster(workers) as address, _client_of(address) as client:
            yield client
    else:
        with _client_of(scheduler) as client:
            yield client


@contextmanager
def local_cluster(workers: int | None = None) -> Iterator[str]:
    """The address of a scheduler with worker processes on this machine, one for each processor.

    They are started by a process between (kr0.corpus.local), which ends them and itself when this
    one ends, however that happens. So workers do not import the program that calls, as they would
    if they were its own children, and its scheduler does not wait for a thread of it. Raises
    CorpusError where they cannot be started.
    """
    number = [] if workers is None else [str(workers)]
    process = subprocess.Popen(
        [sys.executable, "-m", "kr0.corpus.local", *number],
        env={**os.environ, "PYTHONPATH": search_path()},
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        text=True,
        start_new_session=True,  # an interrupt at the terminal is not for the workers
    )
    try:
        yield _address_from(process)
    finally:
        _end(process)


def _address_from(process: subprocess.Popen[str]) -> str:
    assert process.stdout is not None
    address = process.stdout.readline().strip()
    if not address:
        raise CorpusError("the worker processes cannot be started on this machine")
    return address


def _end(process: subprocess.Popen[str]) -> None:
    assert process.stdin is not None and process.stdout is not None
    process.stdin.close()
    try:
        process.wait(END_SECONDS)
    except subprocess.TimeoutExpired:
        process.kill()  # workers end by themselves when their nanny is gone
        process.wait()
    process.stdout.close()


@contextmanager
def _client_of(address: str) -> Iterator[Client]:
    try:
        client = Client(address, timeout=CONNECT_SECONDS, set_as_default=False)
    except (OSError, ValueError) as problem:
        raise SchedulerLost(f"no scheduler answers at {address}: {problem}") from problem
    try:
        yield client
    finally:
        with suppress(Exception):  # there may be nobody left to take leave of
            client.close(timeout=CONNECT_SECONDS)
