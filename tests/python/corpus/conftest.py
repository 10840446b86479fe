"""Small documents, and clusters on the loopback interface."""

import json
import os
import subprocess
import sys
import time
from pathlib import Path

import kr0
import pytest
from kr0.corpus import cluster as local

META = Path(__file__).with_name("notes.ecore")
ENVIRONMENT = {**os.environ, "PYTHONPATH": os.pathsep.join(sys.path)}
START_SECONDS = 30


def pytest_configure(config):
    config.addinivalue_line("markers", "slow: takes more than a few seconds")


@pytest.fixture(scope="session")
def registry():
    return kr0.Registry.from_ecore(META)


@pytest.fixture(scope="session")
def meta():
    return [META]


@pytest.fixture(scope="session")
def write_note(registry):
    """Writes a document with one note, and below it one for each text."""

    def write(path, *texts, **values):
        path.parent.mkdir(parents=True, exist_ok=True)
        model = kr0.Model(registry)
        top = model.create("notes.Note", **values)
        for text in texts:
            top.create("below", text=text)
        kr0.save(model, path)

    return write


@pytest.fixture
def notes(tmp_path, write_note):
    """Nine documents: the fifth is damaged, the sixth empty, and the seventh breaks a rule."""
    for number in range(7):
        path = tmp_path / f"{number}.krb"
        write_note(path, f"first of {number}", text=f"top of {number}", number=number)
    write_note(tmp_path / "more" / "7.krb", text="Ärger", tags=["a", "first"], mood="glad")
    write_note(tmp_path / "more" / "8.krb", text="last")
    cut = tmp_path / "4.krb"
    cut.write_bytes(cut.read_bytes()[:-9])
    (tmp_path / "5.krb").write_bytes(b"")
    write_note(tmp_path / "6.krb", number=6)
    return tmp_path


@pytest.fixture(scope="session")
def address():
    """The scheduler of two workers that serve many tests."""
    with local.local_cluster(2) as address:
        yield address


class Cluster:
    """A scheduler and workers, each a process of its own, as they are on many machines."""

    def __init__(self, folder, workers):
        self._processes = []
        self._file = folder / "scheduler.json"
        command = ["scheduler", "--host", "127.0.0.1", "--port", "0", "--no-dashboard"]
        self.scheduler = self._start(*command, "--scheduler-file", str(self._file))
        self.address = self._wait_for_address()
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

    def _wait_for_address(self):
        end = time.monotonic() + START_SECONDS
        while time.monotonic() < end:
            try:
                return json.loads(self._file.read_text())["address"]
            except (OSError, ValueError):
                time.sleep(0.02)
        raise AssertionError("the scheduler did not start")


@pytest.fixture
def start_cluster(tmp_path_factory):
    """Starts clusters that end with the test."""
    started = []

    def start(workers):
        started.append(Cluster(tmp_path_factory.mktemp("cluster"), workers))
        return started[-1]

    yield start
    for cluster in started:
        cluster.stop()
