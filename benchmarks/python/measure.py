"""The Python package beside C++, lxml and Python's protobuf.

    benchmarks/python/run.sh [SIZE]

The library is the benchmark's own: items of fourteen properties, in parts of parts. Figures are medians of CPU
time of this process; the limits are what the package promises.
"""

from __future__ import annotations

import argparse
import gc
import pathlib
import statistics
import subprocess
import sys
import time
from collections.abc import Callable
from typing import Any

import kr0

#: What the third figure of a row may be at most.
LIMITS = {"load": 1.2, "walk": 1 / 3, "column": 20.0, "messages": 1.0}


def median(work: Callable[[], Any], runs: int = 9) -> float:
    """Milliseconds of CPU time; what the work gives is dropped outside of what is measured."""
    times = []
    work()
    for _ in range(runs):
        gc.collect()
        start = time.process_time()
        made = work()
        times.append((time.process_time() - start) * 1e3)
        del made
    return statistics.median(times)


def walk_model(model: kr0.Model) -> None:
    for element in model.elements("library.Item"):
        element.title
        element.pages


def walk_document(root: Any) -> None:
    for element in root.iter():
        element.get("title")
        element.get("pages")


def touch_model(document: pathlib.Path, registry: kr0.Registry) -> int:
    count = 0
    for e in kr0.load(document, registry).elements("library.Item"):
        e.title, e.isbn, e.shelf, e.pages, e.sold, e.price, e.available, e.genre, e.acquired, e.original
        for value in e.ratings:
            count += 1
        for value in e.keywords:
            count += 1
        for value in e.related:
            count += 1
    return count


def touch_messages(document: pathlib.Path, catalog: Any) -> int:
    message = catalog()
    message.ParseFromString(document.read_bytes())
    count = 0
    pending = [message.items]
    while pending:
        for e in pending.pop():
            e.title, e.isbn, e.shelf, e.pages, e.sold, e.price, e.available, e.genre, e.acquired, e.original
            for value in e.ratings:
                count += 1
            for value in e.keywords:
                count += 1
            for value in e.related:
                count += 1
            if e.parts:
                pending.append(e.parts)
    return count


def numbers(count: int) -> kr0.Model:
    package = kr0.PackageBuilder("http://example.org/numbers", "numbers")
    package.class_("Number").property("value", "Integer")
    model = kr0.Model(kr0.Registry(package))
    for value in range(count):
        model.create("numbers.Number", value=value)
    return model


def show(name: str, ours: float, other: float | None, figure: float, unit: str) -> bool:
    fine = figure <= LIMITS[name]
    beside = "" if other is None else f"{other:10.2f}"
    print(f"{name:<10}{ours:10.2f}{beside:>10}{figure:10.2f} {unit:<3} at most {LIMITS[name]:.2f}"
          f"{'' if fine else '   <-- TOO MUCH'}")
    return fine


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("folder", type=pathlib.Path, help="what kr0_bench_files and protoc wrote")
    parser.add_argument("files", help="the program kr0_bench_files")
    parser.add_argument("size", help="how many items there are")
    arguments = parser.parse_args()
    sys.path.insert(0, str(arguments.folder))
    from google.protobuf.internal import api_implementation
    from lxml import etree

    import items_pb2

    folder = arguments.folder
    native = float(subprocess.run([arguments.files, arguments.size, folder], check=True,
                                  capture_output=True, text=True).stdout)
    registry = kr0.Registry.from_ecore(folder / "library.ecore")
    model = kr0.load(folder / "library.krb", registry)
    kr0.save(model, folder / "library.xmi")
    root = etree.parse(str(folder / "library.xmi")).getroot()
    assert touch_model(folder / "library.krb", registry) == touch_messages(folder / "library.pb", items_pb2.Catalog)

    print(f"{len(model):,} elements; milliseconds of CPU time, medians of 9")
    print(f"protobuf's backend: {api_implementation.Type()}")
    print(f"{'':<10}{'kr0':>10}{'other':>10}{'ratio':>10}")
    fine = []
    ours = median(lambda: kr0.load(folder / "library.krb", registry))
    fine.append(show("load", ours, native, ours / native, "x"))
    ours, other = median(lambda: walk_model(model)), median(lambda: walk_document(root))
    fine.append(show("walk", ours, other, ours / other, "x"))
    ours = median(lambda: touch_model(folder / "library.krb", registry))
    other = median(lambda: touch_messages(folder / "library.pb", items_pb2.Catalog))
    fine.append(show("messages", ours, other, ours / other, "x"))
    million = numbers(1_000_000)
    ours = median(lambda: million.column("numbers.Number", "value"))
    fine.append(show("column", ours, None, ours, "ms"))
    return 0 if all(fine) else 1


if __name__ == "__main__":
    sys.exit(main())
