"""Models as pandas frames and networkx graphs. Both libraries are imported when they are asked for."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Sequence

from kr0._core import Class, Model, Property, StructuredType

if TYPE_CHECKING:
    import networkx
    import pandas

_REFERENCES = ("composition", "association")


def _class_of(model: Model, cls: str | Class) -> Class:
    found = model.registry[cls] if isinstance(cls, str) else cls
    if not isinstance(found, Class):
        raise TypeError(f"type {found.qualified_name} is no class and has no elements")
    return found


def _columns(cls: Class) -> list[str]:
    return [p.name for p in cls.properties if p.is_stored and not p.is_many]


def _series(model: Model, cls: Class, name: str) -> Any:
    import numpy
    import pandas

    values = model.column(cls, name)
    kind = cls[name].kind
    if kind == "enumeration":
        members = list(cls[name].type.python)  # type: ignore[attr-defined]
        numbers = [member.value for member in members]
        place = {number: at for at, number in enumerate(numbers)}
        filled = numpy.ma.filled(values, 0)
        missing = numpy.ma.getmaskarray(values)
        codes = [-1 if gone else place.get(int(n), -1) for n, gone in zip(filled, missing)]
        return pandas.Categorical.from_codes(codes, [member.name for member in members])
    if not isinstance(values, numpy.ma.MaskedArray):
        return values
    if values.dtype == object:
        return values.data  # None where there is none
    if values.dtype.kind == "f":
        return values.filled(numpy.nan)
    array = pandas.array(values.data, dtype=_nullable(values.dtype))
    array[numpy.ma.getmaskarray(values)] = pandas.NA
    return array


def _nullable(dtype: Any) -> str:
    if dtype.kind == "b":
        return "boolean"
    return ("UInt" if dtype.kind == "u" else "Int") + str(8 * dtype.itemsize)


def to_pandas(
    model: Model, cls: str | Class, properties: Sequence[str] | None = None
) -> pandas.DataFrame:
    """The elements of a class as a frame: a row for each, a column for each property of one value.

    References and children are positions among ``model.elements()``, which also tell the elements themselves: they
    are the index of the frame. Enumerations are categories. Missing numbers are <NA>.

    >>> kr0.to_pandas(model, "library.Book", ["title", "pages"])
            title  pages
    1  Moby Dick    635
    2       Emma    474
    """
    import pandas

    found = _class_of(model, cls)
    names = _columns(found) if properties is None else list(properties)
    return pandas.DataFrame({name: _series(model, found, name) for name in names}, index=model.positions(found))


def to_networkx(model: Model) -> networkx.MultiDiGraph:
    """The elements as a graph: nodes are positions among ``model.elements()``.

    A node has the attribute `type`, the qualified name of its class; an edge has `property` and `composite`, and
    leads from a container to a child and from an element to what it refers to.

    >>> graph = kr0.to_networkx(model)
    >>> sorted(graph.edges(data="property"))
    [(0, 1, 'books'), (0, 2, 'books')]
    """
    import networkx

    graph = networkx.MultiDiGraph()
    elements = list(model.elements())
    place = {element: at for at, element in enumerate(elements)}
    for element, at in place.items():
        graph.add_node(at, type=element.type.qualified_name)
    references: dict[StructuredType, list[Property]] = {}
    for element, at in place.items():
        cls = element.type
        if cls not in references:
            references[cls] = [p for p in cls.properties if p.kind in _REFERENCES]
        for prop in references[cls]:
            if prop.name not in element:
                continue
            held = element[prop.name]
            for target in held if prop.is_many else [held]:
                if target in place:
                    graph.add_edge(at, place[target], property=prop.name, composite=prop.is_composite)
    return graph
