"""Workers and schedulers that come and go."""

import os
import signal
import threading
import time

import kr0
import kr0.corpus
import pytest
from distributed import Client
from kr0.corpus import NoWorkers, SchedulerLost, watch

MANY = 10_000


@pytest.fixture(scope="module")
def many(tmp_path_factory, write_note):
    """Ten thousand small documents, every hundredth of them cut short."""
    folder = tmp_path_factory.mktemp("many")
    (folder / "whole").mkdir()
    write_note(folder / "whole.krb", "a", "b", text="top")
    whole = (folder / "whole.krb").read_bytes()
    for number in range(MANY):
        length = len(whole) - 9 * (number % 100 == 0)
        (folder / "whole" / f"{number:05}.krb").write_bytes(whole[:length])
    return folder / "whole"


def size_slowly(model):
    """So that 10,000 documents take some seconds."""
    time.sleep(0.001)
    return len(model)


def kill_worker_for_seven(model):
    """Kills the worker, and not only its process for documents."""
    if model.roots[0].number == 7:
        os.kill(os.getppid(), signal.SIGKILL)
        time.sleep(5)
    return model.roots[0].number


def expect_all(table):
    assert list(table["document"]) == [f"{number:05}.krb" for number in range(MANY)]
    damaged = table["document"][table["code"] == "damaged"]
    assert [int(name[:5]) for name in damaged] == list(range(0, MANY, 100))
    assert set(table["value"].dropna()) == {3}
    assert set(table["code"].dropna()) == {"damaged"}


def later(seconds, function):
    thread = threading.Timer(seconds, function)
    thread.start()
    return thread


def worker_processes(client):
    return client.run(os.getpid)


@pytest.mark.slow
def test_a_worker_killed_in_the_middle_costs_no_result(many, meta, start_cluster):
    cluster = start_cluster(2)
    killed = []
    with Client(cluster.address, set_as_default=False) as client:
        client.wait_for_workers(2)
        before = set(worker_processes(client).values())

        def kill():
            killed.append(min(before))
            os.kill(killed[0], signal.SIGKILL)

        later(2, kill)
        begin = time.monotonic()
        expect_all(kr0.corpus.open(f"{many}/*.krb", meta=meta, scheduler=client).map(size_slowly))
        assert killed and time.monotonic() - begin > 2
        client.wait_for_workers(2)
        assert killed[0] not in worker_processes(client).values()


@pytest.mark.slow
def test_a_worker_that_joins_late_gets_work(many, meta, start_cluster):
    cluster = start_cluster(1)
    with Client(cluster.address, set_as_default=False) as client:
        client.wait_for_workers(1)
        (first,) = worker_processes(client).values()
        later(0.5, cluster.add_worker)
        corpus = kr0.corpus.open(f"{many}/*.krb", meta=meta, scheduler=client)
        workers = corpus.map(lambda model: time.sleep(0.001) or os.getppid())["value"].dropna()
    assert len(set(workers)) == 2
    assert (workers != first).sum() > MANY / 10


def test_a_document_that_takes_all_memory_is_a_row(tmp_path, meta, address, registry, write_note):
    for number in range(5):
        write_note(tmp_path / f"{number}.krb", text="small")
    model = kr0.Model(registry)
    top = model.create("notes.Note", text="large")
    for number in range(40):
        top.create("below", text=chr(ord("A") + number) * 1_000_000)
    kr0.save(model, tmp_path / "2.krb")
    (tmp_path / "3.krb").write_bytes(b"")
    corpus = kr0.corpus.open(f"{tmp_path}/*.krb", meta=meta, scheduler=address)
    assert list(corpus.stats()["elements"].dropna()) == [1, 1, 41, 1]
    table = corpus.using(memory_limit="16 MB").stats()
    codes = list(table["code"])
    assert (codes[:3], codes[4]) == ([None, None, "outOfMemory"], None)
    assert codes[3] not in (None, "outOfMemory")
    assert table["error"][2] == f"{tmp_path}/2.krb: takes more than 16 MB of memory"
    assert list(table["elements"].dropna()) == [1, 1, 1]


def test_documents_at_their_limit_leave_workers_alone(tmp_path, meta, address, registry):
    """Also where it is a small request that fails, of which there are thousands."""
    model = kr0.Model(registry)
    top = model.create("notes.Note", text="large")
    for number in range(40_000):
        top.create("below", text=f"{number:0400}")
    for number in range(6):
        kr0.save(model, tmp_path / f"{number}.krb")
    corpus = kr0.corpus.open(f"{tmp_path}/*.krb", meta=meta, scheduler=address)
    processes = corpus.map(lambda model: os.getpid())["value"]
    table = corpus.using(memory_limit="20 MB").stats()
    assert set(table["code"]) == {"outOfMemory"}
    assert set(corpus.map(lambda model: os.getpid())["value"]) == set(processes)


def test_memory_that_a_function_takes_counts(notes, meta, address):
    corpus = kr0.corpus.open(notes / "0.krb", meta=meta, scheduler=address, memory_limit="30 MB")
    assert list(corpus.map(lambda model: len(bytes(20_000_000)))["value"]) == [20_000_000]
    assert list(corpus.map(lambda model: len(bytes(40_000_000)))["code"]) == ["outOfMemory"]


@pytest.mark.slow
def test_a_document_that_takes_its_workers_with_it_is_found(tmp_path, meta, write_note):
    for number in range(60):
        write_note(tmp_path / f"{number:02}.krb", text="a", number=number)
    corpus = kr0.corpus.open(f"{tmp_path}/*.krb", meta=meta, workers=2)
    table = corpus.map(kill_worker_for_seven)
    assert list(table["document"]) == [f"{number:02}.krb" for number in range(60)]
    (guilty,) = table.index[table["code"].notna()]
    assert (guilty, table["code"][guilty]) == (7, "workerDied")
    assert "07.krb: the workers that it was given to died, each time" in table["error"][guilty]
    assert list(table["value"].dropna()) == [number for number in range(60) if number != 7]


@pytest.mark.slow
@pytest.mark.parametrize("how", (signal.SIGTERM, signal.SIGKILL, signal.SIGSTOP))
def test_a_scheduler_that_goes_away_is_told(many, meta, start_cluster, how, monkeypatch):
    monkeypatch.setattr(watch, "ANSWER_SECONDS", 4.0)
    cluster = start_cluster(1)
    corpus = kr0.corpus.open(f"{many}/*.krb", meta=meta, scheduler=cluster.address)
    went = []
    later(3, lambda: (went.append(time.monotonic()), cluster.scheduler.send_signal(how)))
    with pytest.raises(SchedulerLost, match=f"the scheduler at {cluster.address} went away"):
        corpus.map(lambda model: time.sleep(0.01))
    assert time.monotonic() - went[0] < 15


def test_nobody_at_an_address_is_told(notes, meta, monkeypatch):
    monkeypatch.setattr("kr0.corpus.cluster.CONNECT_SECONDS", 0.5)
    corpus = kr0.corpus.open(f"{notes}/*.krb", meta=meta, scheduler="tcp://127.0.0.1:9")
    with pytest.raises(SchedulerLost, match="no scheduler answers at tcp://127.0.0.1:9"):
        corpus.stats()


def test_a_cluster_without_workers_is_told(notes, meta, start_cluster, monkeypatch):
    monkeypatch.setattr(watch, "WORKER_SECONDS", 0.2)
    monkeypatch.setattr(watch, "ASK_SECONDS", 0.1)
    corpus = kr0.corpus.open(f"{notes}/*.krb", meta=meta, scheduler=start_cluster(0).address)
    with pytest.raises(NoWorkers, match="has had no worker for"):
        corpus.stats()


@pytest.mark.slow
def test_results_are_the_same_for_1_2_and_5_workers(many, meta):
    corpus = kr0.corpus.open(f"{many}/*.krb", meta=meta)
    tables = [corpus.using(workers=number).stats() for number in (1, 2, 5)]
    assert len(tables[0]) == MANY and tables[0]["error"].notna().sum() == MANY // 100
    assert tables[1].equals(tables[0]) and tables[2].equals(tables[0])
