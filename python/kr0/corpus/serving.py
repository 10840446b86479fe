"""The process that documents are read in: one thread, one document after another.

It is the child of a Dask worker (reading.py), for what befalls a document must not befall the
worker. A limit of memory is one of the whole process, and a worker without memory for its messages
neither goes on nor ends. And when a process dies, it is known which document it had.
"""

from __future__ import annotations

import ctypes
import pickle
import signal
import sys
import time
from contextlib import suppress
from multiprocessing.connection import Connection

import kr0
from kr0.corpus import meta_models
from kr0.corpus.errors import CorpusError
from kr0.corpus.tasks import run_one

#: Of Linux's prctl().
PR_SET_PDEATHSIG = 1

#: How long outcomes wait for others. To wake the worker for each costs more than a small document.
BATCH_SECONDS = 0.05

#: Where memory runs out, the system is to end this process and no other one.
FIRST_TO_GO = "1000"


def main(descriptor: int) -> None:
    """Does jobs that come through a pipe, until it is closed.

    The answers are lists with an outcome for each document, or one CorpusError that says why none
    can be done.
    """
    _end_before_others()
    _end_with_parent()
    with suppress(EOFError, ConnectionError), Connection(descriptor) as pipe:
        pipe.send("ready")
        while True:
            _serve(pipe)


def _end_before_others() -> None:
    with suppress(OSError), open("/proc/self/oom_score_adj", "w", encoding="ascii") as score:
        score.write(FIRST_TO_GO)


def _end_with_parent() -> None:
    """Has the system end this process with its worker, be it in the middle of a long document."""
    with suppress(AttributeError, OSError):
        ctypes.CDLL(None).prctl(PR_SET_PDEATHSIG, int(signal.SIGKILL))


def _serve(pipe: Connection) -> None:
    request = pipe.recv_bytes()
    try:
        job, documents, singly = pickle.loads(request)
        registry = meta_models.registry_of(job.meta)
    except (kr0.Error, OSError) as problem:
        pipe.send(CorpusError(f"the meta models cannot be loaded: {problem}"))
        return
    except Exception as problem:  # whatever a function of the caller's needs and is not here
        pipe.send(CorpusError(f"{type(problem).__name__}: {problem}"))
        return
    done, sent = [], time.monotonic()
    for document in documents:
        done.append(run_one(job, registry, document))
        if singly or time.monotonic() > sent + BATCH_SECONDS:
            pipe.send(done)
            done, sent = [], time.monotonic()
    if done:
        pipe.send(done)


if __name__ == "__main__":
    main(int(sys.argv[1]))
