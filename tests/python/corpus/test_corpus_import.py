"""What an import needs and brings."""

import subprocess
import sys

from corpus_support import ENVIRONMENT


def run(program):
    return subprocess.run(
        [sys.executable, "-c", program], env=ENVIRONMENT, capture_output=True, text=True
    )


def test_kr0_alone_imports_neither_dask_nor_pandas():
    done = run("import kr0, sys; print({'dask', 'distributed', 'pandas'} & set(sys.modules))")
    assert done.stdout == "set()\n"


def test_what_is_missing_is_said_in_one_sentence():
    missing = "sys.modules['dask'] = sys.modules['distributed'] = None"
    done = run(f"import sys; {missing}; import kr0.corpus")
    assert done.returncode == 1
    assert done.stderr.splitlines()[-1] == (
        "ImportError: kr0.corpus works with Dask and pandas, and this Python has no python3-dask, "
        "python3-distributed (the names are those of Debian's packages)"
    )


def test_the_process_that_reads_documents_does_without_dask():
    done = run("import kr0.corpus.serving, sys; print('distributed' in sys.modules)")
    assert done.stdout == "False\n"


def test_an_unknown_name_is_told():
    done = run("import kr0.corpus; kr0.corpus.opne")
    assert done.stderr.splitlines()[-1] == (
        "AttributeError: module 'kr0.corpus' has no attribute 'opne'"
    )
