"""The process that documents are read in, and what becomes of a group when it dies."""

import os
import pickle
import signal

import pytest
from kr0.corpus import CorpusError, documents, reading
from kr0.corpus.reading import run_group
from kr0.corpus.tasks import Job


@pytest.fixture
def group(tmp_path, write_note):
    """Six documents with the numbers 0 to 5."""
    for number in range(6):
        write_note(tmp_path / f"{number}.krb", text="a", number=number)
    return documents.find(f"{tmp_path}/*.krb").documents


@pytest.fixture
def job(meta):
    return lambda function: Job("map", (str(meta[0]),), None, {"function": function})


def codes(outcomes):
    return [outcome.code for outcome in outcomes]


def test_documents_of_a_group_have_outcomes_in_their_order(group, job):
    outcomes = run_group(job(len), group)
    assert [outcome.place for outcome in outcomes] == [0, 1, 2, 3, 4, 5]
    assert codes(outcomes) == [None] * 6


def test_a_group_is_read_in_a_process_of_its_own_that_stays(group, job):
    rows = [row for _ in range(2) for outcome in run_group(job(pid), group) for row in outcome.rows]
    processes = {pickle.loads(row["pickled"]) for row in rows}
    assert len(processes) == 1
    assert processes != {os.getpid()}


def test_a_document_that_kills_its_process_is_told_and_no_other_one(group, job):
    outcomes = run_group(job(kill_for(2)), group)
    assert codes(outcomes) == [None, None, "workerDied", None, None, None]
    assert outcomes[2].error == (
        f"{group[2].path}: the process that worked on it died, and so did another (signal 9)"
    )


def test_each_of_several_such_documents_is_told(group, job):
    found = codes(run_group(job(kill_for(0, 1, 5)), group))
    assert [place for place, code in enumerate(found) if code == "workerDied"] == [0, 1, 5]
    assert found[2:5] == [None] * 3


def test_a_document_that_kills_once_is_done_by_the_next_process(group, job, tmp_path):
    def kill_once(model):
        mark = tmp_path / "killed"
        if not mark.exists():
            mark.touch()
            os.kill(os.getpid(), signal.SIGKILL)
        return model.roots[0].number

    assert codes(run_group(job(kill_once), group)) == [None] * 6


def test_a_process_that_ends_itself_died(group, job):
    outcomes = run_group(job(lambda model: os._exit(4)), group[:1])
    assert outcomes[0].error.endswith("and so did another (exit code 4)")


def test_a_meta_model_that_is_not_there_ends_the_group(group):
    with pytest.raises(CorpusError, match="No such file or directory: '/gone.ecore'"):
        run_group(Job("stats", ("/gone.ecore",)), group)


def test_the_process_goes_on_after_a_group_that_it_could_not_do(group, job):
    with pytest.raises(CorpusError):
        run_group(Job("stats", ("/gone.ecore",)), group)
    assert codes(run_group(job(len), group)) == [None] * 6


def test_the_system_is_to_end_this_process_first(group, job):
    def score(model):
        with open("/proc/self/oom_score_adj", encoding="ascii") as score:
            assert score.read() == "1000\n"

    assert codes(run_group(job(score), group[:1])) == [None]


def test_a_process_that_cannot_be_started_ends_the_job(group, job, monkeypatch):
    monkeypatch.setattr(reading.sys, "executable", "/bin/true")
    with pytest.raises(CorpusError, match="a process that reads documents cannot be started"):
        reading.Process()


def pid(_):
    return os.getpid()


def kill_for(*numbers):
    def kill(model):
        if model.roots[0].number in numbers:
            os.kill(os.getpid(), signal.SIGKILL)

    return kill
