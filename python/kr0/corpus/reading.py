"""Documents for the process that reads them (serving.py), and a new one when it dies."""

from __future__ import annotations

import os
import subprocess
import sys
import threading
from collections.abc import Iterator, Sequence
from multiprocessing import Pipe

import cloudpickle

from kr0.corpus.documents import Document
from kr0.corpus.errors import CorpusError
from kr0.corpus.tasks import Job, Outcome

#: The C library gives freed memory back at once, so that a limit means the document that has it.
#: Workers of Dask have the same setting, unless they were started without a nanny.
GIVE_BACK = {"MALLOC_TRIM_THRESHOLD_": "65536"}

_of_thread = threading.local()


class Died(Exception):
    """The process died with a document."""


class Process:
    """A process that reads documents. It ends with the thread that started it, at the latest.

    Raises CorpusError when it cannot be started.
    """

    def __init__(self) -> None:
        self._pipe, theirs = Pipe()
        with theirs:
            descriptor = theirs.fileno()
            self._process = subprocess.Popen(
                [sys.executable, "-m", "kr0.corpus.serving", str(descriptor)],
                env={**GIVE_BACK, **os.environ, "PYTHONPATH": search_path()},
                stdin=subprocess.DEVNULL,
                pass_fds=[descriptor],
            )
        try:
            self._pipe.recv()
        except EOFError:
            raise CorpusError("a process that reads documents cannot be started") from None

    def outcomes(
        self, job: Job, documents: Sequence[Document], singly: bool
    ) -> Iterator[list[Outcome]]:
        """What becomes of each document, in their order: some at a time, or one.

        Raises Died, or CorpusError where none of them can be done.
        """
        try:
            self._pipe.send_bytes(cloudpickle.dumps((job, documents, singly)))
            left = len(documents)
            while left:
                reply = self._pipe.recv()
                if isinstance(reply, CorpusError):
                    raise reply
                left -= len(reply)
                yield reply
        except (EOFError, OSError) as problem:
            raise Died from problem

    def bury(self) -> str:
        """How it ended, in words. To be called when it died."""
        self._pipe.close()
        code = self._process.wait()
        return f"signal {-code}" if code < 0 else f"exit code {code}"


def run_group(job: Job, documents: Sequence[Document]) -> list[Outcome]:
    """The task of a Dask worker: does a job with a group of documents.

    When the process dies, a new one goes on and tells of each document by itself; when that one
    dies, too, the next document was it, and is tried once more. So the job may be done twice with
    some documents. Raises CorpusError where none can be done, for want of meta models, say.
    """
    done: list[Outcome] = []
    singly = False
    while len(done) < len(documents):
        try:
            for some in _process().outcomes(job, documents[len(done) :], singly):
                done += some
        except Died:
            _bury()
            if singly:
                done.append(_second_try(job, documents[len(done)]))
            singly = True
    return done


def _second_try(job: Job, document: Document) -> Outcome:
    try:
        ((outcome,),) = _process().outcomes(job, [document], singly=True)
        return outcome
    except Died:
        text = f"the process that worked on it died, and so did another ({_bury()})"
        return Outcome(document.place, [], f"{document.path}: {text}", "workerDied")


def _process() -> Process:
    """The process of this thread. A worker may have several threads, and each does one group."""
    if not hasattr(_of_thread, "process"):
        _of_thread.process = Process()
    process: Process = _of_thread.process
    return process


def _bury() -> str:
    process = _process()
    del _of_thread.process
    return process.bury()


def search_path() -> str:
    """What a process has to know as PYTHONPATH to import what this one can import."""
    return os.pathsep.join(folder or os.getcwd() for folder in sys.path)
