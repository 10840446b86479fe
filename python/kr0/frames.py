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
    """Model.to_pandas."""
    import pandas

    found = _class_of(model, cls)
    names = _columns(found) if properties is None else list(properties)
    return pandas.DataFrame({name: _series(model, found, name) for name in names}, index=model.positions(found))


def to_networkx(model: Model) -> networkx.MultiDiGraph:
    """Model.to_networkx."""
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
