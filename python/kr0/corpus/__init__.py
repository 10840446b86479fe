"""Many documents at once: a corpus is a set of them, and a job does the same with each::

    import kr0.corpus

    corpus = kr0.corpus.open("models/**/*.xmi", meta=["library.ecore"])
    print(corpus.stats())

A job runs in worker processes of Dask: on this machine, or on a Dask cluster when the address of
its scheduler is given. Its result is a table with the documents in the order of the corpus. A
document that cannot be read is a row with its error; it never ends a job.
"""

from importlib import import_module as _import_module
from importlib.util import find_spec as _find_spec
from typing import TYPE_CHECKING

from kr0.corpus.documents import Document
from kr0.corpus.errors import CorpusError, NoWorkers, SchedulerLost

if TYPE_CHECKING:
    from kr0.corpus.corpus import Corpus, open

__all__ = ["Corpus", "CorpusError", "Document", "NoWorkers", "SchedulerLost", "open"]

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


def __getattr__(name: str) -> object:
    """Processes that only read documents have no use for Dask, whose import takes half a second."""
    if name in ("Corpus", "open"):
        return getattr(_import_module("kr0.corpus.corpus"), name)
    raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
