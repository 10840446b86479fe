"""Many documents at once: a corpus is a set of them, and a job does the same with each.

    import kr0.corpus

    corpus = kr0.corpus.open("models/**/*.xmi", meta=["library.ecore"])
    print(corpus.stats())

A job runs in worker processes of Dask: on this machine, or on a Dask cluster when the address of
its scheduler is given. Its result is a table with the documents in the order of the corpus. A
document that cannot be read is a row with its error; it never ends a job.
"""

from importlib.util import find_spec as _find_spec

_PACKAGES = {
    "dask": "python3-dask",
    "distributed": "python3-distributed",
    "pandas": "python3-pandas",
}
_missing = [package for module, package in _PACKAGES.items() if _find_spec(module) is None]
if _missing:
    raise ImportError(
        f"kr0.corpus works with Dask and pandas, and this Python has no {', '.join(_missing)} "
        "(the names are those of Debian's packages)"
    )

from kr0.corpus.corpus import Corpus, open  # noqa: E402
from kr0.corpus.documents import Document  # noqa: E402
from kr0.corpus.errors import CorpusError, NoWorkers, SchedulerLost  # noqa: E402

__all__ = ["Corpus", "CorpusError", "Document", "NoWorkers", "SchedulerLost", "open"]
