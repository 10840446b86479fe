"""A process that keeps a Dask cluster on this machine for as long as its standard input is open.

It prints the address of the scheduler. Not the multiprocessing scheduler of Dask: there a worker
that dies ends the whole job, while here its nanny starts another one and the scheduler gives it the
same task. It costs a second at the start, and a job runs the same way as on a cluster of many
machines.
"""

# mypy: allow-untyped-calls

from __future__ import annotations

import logging
import sys

import dask
from distributed import LocalCluster

#: A task gets a second worker. What takes that with it, too, is tried document by document.
SETTINGS = {"distributed.scheduler.allowed-failures": 1}


def main(workers: int | None) -> None:
    """Starts so many workers with one thread each, one for each processor by default, and waits for
    the end of the input."""
    with dask.config.set(SETTINGS), LocalCluster(
        n_workers=workers,
        threads_per_worker=1,
        host="127.0.0.1",
        dashboard_address="127.0.0.1:0",
        silence_logs=logging.CRITICAL,  # a worker that dies is told by the row of a document
    ) as cluster:
        print(cluster.scheduler_address, flush=True)
        sys.stdin.read()


if __name__ == "__main__":
    main(int(sys.argv[1]) if len(sys.argv) > 1 else None)
