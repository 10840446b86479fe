"""The command kr0-corpus."""

import json
import signal
import subprocess
import sys

import psutil
import pytest
from corpus_support import ENVIRONMENT, wait_for
from kr0.corpus.__main__ import main


@pytest.fixture
def call(notes, meta, address, monkeypatch):
    """Calls the command in the folder of the notes, and returns its exit code."""
    monkeypatch.chdir(notes)

    def call(*arguments):
        return main([*arguments, "-m", str(meta[0]), "--scheduler", address])

    return call


def test_a_job_prints_its_table(call, capsys):
    assert call("stats", "0.krb", "1.krb") == 0
    lines = capsys.readouterr().out.splitlines()
    assert lines[0].split()[:3] == ["document", "bytes", "elements"]
    assert [line.split()[0] for line in lines[1:]] == ["0.krb", "1.krb"]


def test_bad_documents_make_exit_code_3(call, capsys):
    assert call("check", "*.krb") == 3
    out, err = capsys.readouterr()
    assert "damaged" in out
    assert err == "kr0-corpus: 2 documents with errors\n"


def test_a_result_is_written_to_a_file(call, notes, capsys):
    assert call("search", "--text", "top of 2", "**/*.krb", "-o", "found.ndjson") == 3
    first, *_ = (notes / "found.ndjson").read_text().splitlines()
    assert json.loads(first) == {
        "document": "2.krb", "path": "/note", "property": "text", "value": "top of 2"
    }
    assert capsys.readouterr().out == ""


def test_an_unknown_suffix_is_told_before_the_job(call, capsys):
    assert call("stats", "0.krb", "-o", "a.txt") == 1
    assert "a.txt: a result is written to names that end in" in capsys.readouterr().err


def test_a_job_that_cannot_be_done_makes_exit_code_1(call, capsys):
    assert call("stats", "*.xmi") == 1
    assert capsys.readouterr().err.startswith("kr0-corpus: no document matches ")


def test_a_wrong_call_makes_exit_code_2(call):
    with pytest.raises(SystemExit, match="2"):
        call("look", "*.krb")


def test_convert_writes_below_a_folder(call, notes):
    assert call("convert", "0.krb", "--to", "krt", "--into", "out", "-q") == 0
    assert (notes / "out" / "0.krt").stat().st_size > 0


def test_tables_go_into_a_database(call, notes):
    assert call("tables", "0.krb", "1.krb", "--into", "all.sqlite") == 0
    assert (notes / "all.sqlite").read_bytes().startswith(b"SQLite format 3")


def test_diff_takes_other_documents(call, notes, write_note, capsys):
    write_note(notes / "other" / "0.krb", text="x")
    assert call("diff", "0.krb", "--other", "other/*.krb") == 0
    assert "different" in capsys.readouterr().out


def test_map_calls_a_function_by_its_name(call, notes, capsys):
    assert call("map", "0.krb", "--function", "builtins:len") == 0
    assert capsys.readouterr().out.splitlines()[-1].split() == ["0.krb", "2"]
    assert call("map", "0.krb", "--function", "builtins:lenn") == 1
    assert "builtins:lenn is no function" in capsys.readouterr().err


def test_a_memory_limit_is_a_limit(call, capsys):
    assert call("stats", "0.krb", "--memory-limit", "little") == 1
    assert '"little" is no number of bytes' in capsys.readouterr().err


@pytest.mark.slow
def test_an_interrupt_ends_the_command_and_its_workers(notes, meta):
    (notes / "naps.py").write_text("import time\n\n\ndef nap(model):\n    time.sleep(60)\n")
    command = [sys.executable, "-m", "kr0.corpus", "map", "0.krb", "-m", str(meta[0])]
    process = subprocess.Popen(
        [*command, "--function", "naps:nap"], env=ENVIRONMENT, cwd=notes, stderr=subprocess.PIPE
    )
    top = psutil.Process(process.pid)
    workers = wait_for(lambda: [each for each in top.children(recursive=True) if is_reader(each)])
    workers += top.children(recursive=True)
    process.send_signal(signal.SIGINT)
    assert process.wait(30) == 130
    _, left = psutil.wait_procs(workers, 15)
    assert left == []
    assert b"Traceback" not in process.stderr.read()


def is_reader(process):
    return "kr0.corpus.serving" in process.cmdline()
