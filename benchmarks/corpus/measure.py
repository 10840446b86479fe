#!/usr/bin/env python3
"""How many documents a second kr0.corpus does, with what overhead, and how far one scheduler goes.

  benchmarks/corpus/measure.py FOLDER [--runs N]      FOLDER: made by generate.py

Prints a page of Markdown. Workers are started before the clock, but where that is what is measured.
Each figure is the median of the runs, with the least and the most. The plain loop is one process
that loads the documents and asks for the same figures, one after another, with no Dask.
"""

import argparse
import contextlib
import os
import statistics
import time
from collections.abc import Callable, Iterator

import kr0.corpus
import psutil
from distributed import Client, as_completed
from kr0.corpus import cluster, grouping, running
from kr0.corpus.tasks import Job, run_one

META = os.path.join(os.path.dirname(os.path.abspath(__file__)), "shelf.ecore")
TASKS = 5_000
MEGABYTE = 1e6


class Figure:
    """Seconds of several runs, and of the processors in them."""

    def __init__(self, seconds: list[float], processor_seconds: list[float]) -> None:
        self.seconds = sorted(seconds)
        self.median = statistics.median(seconds)
        self.processors = statistics.median(processor_seconds)

    def __str__(self) -> str:
        return f"{self.median:.3f} s ({self.seconds[0]:.3f} to {self.seconds[-1]:.3f})"


def timed(runs: int, work: Callable[[], object]) -> Figure:
    """The seconds that work takes, each time."""
    seconds, processors = [], []
    for _ in range(runs):
        begin, before = time.perf_counter(), processor_seconds()
        work()
        seconds.append(time.perf_counter() - begin)
        processors.append(processor_seconds() - before)
    return Figure(seconds, processors)


def processor_seconds() -> float:
    """What this process and those below it have used, whatever else the machine does."""
    here = psutil.Process()
    times = [process.cpu_times() for process in (here, *here.children(recursive=True))]
    return float(sum(each.user + each.system for each in times))


@contextlib.contextmanager
def workers(number: int) -> Iterator[Client]:
    """A client with so many workers that have loaded what they need."""
    with cluster.connected(None, number) as client:
        client.wait_for_workers(number)
        yield client


def plain_loop(corpus: kr0.corpus.Corpus) -> None:
    registry = kr0.Registry.from_ecore(*corpus.meta)
    job = Job("stats")
    for document in corpus:
        run_one(job, registry, document)


def first_result(client: Client, corpus: kr0.corpus.Corpus) -> None:
    outcomes = running.outcomes(client, Job("stats", corpus.meta), corpus.documents)
    next(outcomes)
    outcomes.close()


def nothing(number: int) -> int:
    return number


def scheduler_alone(client: Client) -> None:
    """Tasks that do nothing: what is left is what a task costs scheduler, client and worker."""
    futures = client.map(nothing, range(TASKS), pure=False)
    for _ in as_completed(futures, loop=client.loop):
        pass


def report_speed(corpus: kr0.corpus.Corpus, runs: int) -> tuple[float, float]:
    """Prints the speed; returns bytes per second of one worker, and tasks per second of the
    scheduler."""
    size = sum(document.size for document in corpus)
    loop = timed(runs, lambda: plain_loop(corpus))
    figures, firsts = {}, {}
    for number in (1, 2):
        with workers(number) as client:
            there = corpus.using(scheduler=client, progress=False)
            there.stats()  # meta models and code are loaded from here on
            figures[number] = timed(runs, lambda: there.stats())
            firsts[number] = timed(runs, lambda: first_result(client, there))
            if number == 2:
                tasks = timed(1, lambda: scheduler_alone(client))
    cold = timed(1, lambda: corpus.using(workers=2, progress=False).stats())

    groups = len(grouping.grouped(corpus.documents))
    print(f"{len(corpus)} documents, {size / MEGABYTE:.1f} MB, in {groups} tasks\n")
    print("| | seconds | of processors | documents/s | MB/s |\n|---|---|---|---|---|")
    rows = {"plain loop": loop, "1 worker": figures[1], "2 workers": figures[2]}
    for name, figure in rows.items():
        rate = len(corpus) / figure.median, size / MEGABYTE / figure.median
        used = f"{figure.processors:.2f} s"
        print(f"| {name} | {figure} | {used} | {rate[0]:.0f} | {rate[1]:.1f} |")
    overhead = (figures[1].median - loop.median) / len(corpus) * 1000
    used = (figures[1].processors - loop.processors) / len(corpus) * 1000
    print(f"\n- 2 workers to 1: {figures[1].median / figures[2].median:.2f} times")
    print(f"- overhead of a document: {overhead:.3f} ms (1 worker less plain loop, by documents)")
    print(f"- in time of processors: {used:.3f} ms")
    print(f"- first result after {firsts[2]} with 2 workers that are there")
    print(f"- the whole job after {cold} with 2 workers that are started for it")
    return size / figures[1].median, TASKS / tasks.median


def report_scheduler(bytes_per_second: float, tasks_per_second: float) -> None:
    """What many workers would ask of one scheduler: computed from what was measured."""
    seconds = grouping.HEAVIEST / bytes_per_second
    speed = f"{bytes_per_second / MEGABYTE:.1f} MB/s"
    print(f"""
One scheduler with one client did {tasks_per_second:.0f} tasks a second that do nothing.
A full group has {grouping.HEAVIEST} bytes, and a worker does {speed}:
{seconds:.3f} s for a group. W workers ask for W / {seconds:.3f} tasks a second.

| workers | tasks/s asked for | of what it can | bytes in a group that would make it half |
|---|---|---|---|""")
    for number in (10, 100, 1000):
        wanted = number / seconds
        part = 100 * wanted / tasks_per_second
        group = number * bytes_per_second / (tasks_per_second / 2) / MEGABYTE
        print(f"| {number} | {wanted:.0f} | {part:.0f} % | {group:.1f} MB |")


def main() -> None:
    parser = argparse.ArgumentParser(description="Measures kr0.corpus.")
    parser.add_argument("folder")
    parser.add_argument("--runs", type=int, default=5)
    given = parser.parse_args()
    corpus = kr0.corpus.open(os.path.join(given.folder, "**", "*.kr?"), meta=[META])
    print(f"load of the machine before: {os.getloadavg()[0]:.2f}, processors: {os.cpu_count()}\n")
    report_scheduler(*report_speed(corpus, given.runs))


if __name__ == "__main__":
    main()
