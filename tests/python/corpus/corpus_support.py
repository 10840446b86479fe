"""A cluster of processes, as they are started by hand."""

import json
import os
import subprocess
import sys
import time
from pathlib import Path

META = Path(__file__).with_name("notes.ecore")
ENVIRONMENT = {**os.environ, "PYTHONPATH": os.pathsep.join(sys.path)}
START_SECONDS = 30


def wait_for(condition):
    """The first value of a function that is true."""
    end = time.monotonic() + START_SECONDS
    while time.monotonic() < end:
        value = condition()
        if value:
            return value
        time.sleep(0.02)
    raise AssertionError("this did not come to be")


class Cluster:
    """A scheduler and workers, each a process of its own, as they are on many machines."""

    def __init__(self, folder, workers):
        self._processes = []
        self._file = folder / "scheduler.json"
        command = ["scheduler", "--host", "127.0.0.1", "--port", "0", "--no-dashboard"]
        self.scheduler = self._start(*command, "--scheduler-file", str(self._file))
        self.address = wait_for(self._read_address)
        self.workers = [self.add_worker() for _ in range(workers)]

    def add_worker(self):
        """A nanny and its worker; the process is that of the nanny."""
        return self._start("worker", self.address, "--nthreads", "1", "--no-dashboard")

    def stop(self):
        for process in reversed(self._processes):
            process.kill()
        for process in self._processes:
            process.wait()

    def _start(self, what, *arguments):
        process = subprocess.Popen(
            [sys.executable, "-m", f"distributed.cli.dask_{what}", *arguments],
            env=ENVIRONMENT,
            cwd=self._file.parent,
            stderr=subprocess.DEVNULL,
        )
        self._processes.append(process)
        return process

    def _read_address(self):
        try:
            return json.loads(self._file.read_text())["address"]
        except (OSError, ValueError):
            return None
