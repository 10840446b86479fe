"""The columns of results beside `document`, `error` and `code`, with their types in pandas.

"Int64" is the type of whole numbers of which some are missing, "object" takes anything.
"""

from __future__ import annotations

from kr0.corpus.jobs import DIFFERENCE
from kr0.corpus.results import Columns

_FIGURES = (
    "bytes elements roots types depth resolved unresolved outside "
    "texts text_bytes different_texts memory"
).split()

#: By verb.
COLUMNS: dict[str, Columns] = {
    "stats": dict.fromkeys(_FIGURES, "Int64"),
    "features": {
        **dict.fromkeys(("type", "property"), "object"),
        **dict.fromkeys(("instances", "set", "values"), "Int64"),
    },
    "check": {"violations": "Int64", "first": "object"},
    "search": dict.fromkeys(("path", "property", "value"), "object"),
    "convert": {"output": "object", "bytes": "Int64"},
    "tables": {"elements": "Int64"},
    "diff": {"state": "object", "differences": "Int64", "first": "object"},
}

#: Of verbs that can tell each finding on a row of its own.
EACH: dict[str, Columns] = {
    "check": dict.fromkeys(("path", "property", "rule", "text"), "object"),
    "diff": dict.fromkeys(DIFFERENCE, "object"),
}
