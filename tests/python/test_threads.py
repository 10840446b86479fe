"""Threads: reading goes on while a model is read or written elsewhere, and changing waits its turn with an error."""

import sys
import threading

import kr0
import pytest


@pytest.fixture
def large(registry):
    model = kr0.Model(registry)
    library = model.create("library.Library")
    for i in range(30_000):
        library.create("items", "library.Book", title=f"Book {i}", pages=i)
    return model


def together(*works):
    failures = []

    def run(work):
        try:
            work()
        except BaseException as error:
            failures.append(error)

    threads = [threading.Thread(target=run, args=(work,)) for work in works]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    return failures


def test_a_model_is_read_by_many_threads(large):
    digest = large.digest()

    def read():
        assert sum(book.pages for book in large.elements("library.Book")) == 30_000 * 29_999 // 2
        assert large.digest() == digest
        assert kr0.loads(large.to_bytes("krb"), large.registry).digest() == digest

    assert together(*[read] * 4) == []


def test_other_threads_run_while_a_model_is_written(large):
    done = threading.Event()
    counts = []

    def count():
        while not done.is_set():
            counts.append(len(large))

    def write():
        for _ in range(5):
            large.to_bytes("krz")
        done.set()

    interval = sys.getswitchinterval()
    sys.setswitchinterval(1e-5)
    try:
        assert together(count, write) == []
    finally:
        sys.setswitchinterval(interval)
    assert len(counts) > 5


def test_a_model_is_not_changed_while_it_is_written(large):
    book = next(large.elements("library.Book"))
    done = threading.Event()
    refused = []

    def change():
        while not done.is_set():
            try:
                book.pages = 0
            except kr0.Error as error:
                refused.append(error)

    def write():
        try:
            for _ in range(100):
                kr0.loads(large.to_bytes("krb"), large.registry)
                if refused:
                    break
        finally:
            done.set()

    assert together(change, write) == []
    assert refused and all(error.code == "misuse" and "read by another thread" in str(error) for error in refused)
    book.pages = 1
    assert book.pages == 1


def test_models_are_loaded_side_by_side(large, tmp_path):
    path = tmp_path / "large.krz"
    kr0.save(large, path)
    digest = large.digest()
    loaded = []
    assert together(*[lambda: loaded.append(kr0.load(path).digest())] * 4) == []
    assert loaded == [digest] * 4
