"""Whether the scheduler is still there, and has workers."""

from __future__ import annotations

import asyncio
import concurrent.futures
import time
from collections.abc import Coroutine
from typing import Any

from distributed import Client

from kr0.corpus.errors import CorpusError, NoWorkers, SchedulerLost

#: How often the scheduler is asked while nothing comes from it.
ASK_SECONDS = 2.0

#: How long it may take to answer. One that works on a hundred thousand tasks is busy for seconds.
ANSWER_SECONDS = 15.0

#: How long a job waits for a first worker, or for another one when all are gone.
WORKER_SECONDS = 60.0


class Watch:
    """Watches a scheduler for a job that waits for it."""

    def __init__(self, client: Client) -> None:
        self.is_lost = False
        self._client: Any = client  # what it offers in threads has no types
        self._address = self._client.scheduler.address
        self._asked = self._had_workers = time.monotonic()

    def look(self) -> None:
        """To be called while nothing comes. Raises SchedulerLost or NoWorkers."""
        if self._client.status not in ("running", "connecting"):
            raise self.scheduler_lost()
        now = time.monotonic()
        if now < self._asked + ASK_SECONDS:
            return
        if self._workers():
            self._had_workers = time.monotonic()
        elif now > self._had_workers + WORKER_SECONDS:
            lonely = f"has had no worker for {WORKER_SECONDS:.0f} seconds"
            raise NoWorkers(f"the scheduler at {self._address} {lonely}")
        self._asked = time.monotonic()

    def patiently(self, answer: Coroutine[Any, Any, Any]) -> Any:
        """Waits for what the client was asked for, as long as the scheduler is there. Raises as
        look() does."""
        waiting = asyncio.run_coroutine_threadsafe(answer, self._client.loop.asyncio_loop)
        while True:
            try:
                return waiting.result(ASK_SECONDS)
            except concurrent.futures.TimeoutError:
                self.look()
            except (OSError, asyncio.CancelledError, concurrent.futures.CancelledError) as problem:
                raise self.scheduler_lost() from problem

    def scheduler_lost(self) -> CorpusError:
        """The error to be raised when the scheduler is gone."""
        self.is_lost = True
        return SchedulerLost(f"the scheduler at {self._address} went away; the job is not done")

    def _workers(self) -> int:
        try:
            ask = self._client.scheduler.ncores
            return len(self._client.sync(ask, callback_timeout=ANSWER_SECONDS))
        except (OSError, asyncio.TimeoutError, asyncio.CancelledError) as problem:
            raise self.scheduler_lost() from problem
