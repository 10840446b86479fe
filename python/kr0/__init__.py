"""Models of kr0 in Python: typed elements, described by a meta model, kept in compact documents.

>>> model = kr0.load(folder / "library.krz")
>>> for book in model.elements("library.Book"):
...     print(book.title, book.pages)
Moby Dick 635
Emma 474
"""

from kr0._core import (
    Class,
    Datatype,
    Element,
    Enumeration,
    Model,
    PackageBuilder,
    PrimitiveType,
    Property,
    Registry,
    StructuredType,
    Type,
    TypeBuilder,
    Values,
    load,
    loads,
    save,
)
from kr0._core import version as __version__
from kr0._types import (
    DateTimeText,
    Difference,
    Error,
    State,
    Statistics,
    TypeStatistics,
    Unresolved,
    Violation,
)

Error.__module__ = "kr0"  # as tracebacks show it

__all__ = [
    "Class",
    "Datatype",
    "DateTimeText",
    "Difference",
    "Element",
    "Enumeration",
    "Error",
    "Model",
    "PackageBuilder",
    "PrimitiveType",
    "Property",
    "Registry",
    "State",
    "Statistics",
    "StructuredType",
    "Type",
    "TypeBuilder",
    "TypeStatistics",
    "Unresolved",
    "Values",
    "Violation",
    "__version__",
    "load",
    "loads",
    "save",
]
