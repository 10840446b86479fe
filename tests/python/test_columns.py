"""Columns, frames and graphs."""

import kr0
import pytest

numpy = pytest.importorskip("numpy")


@pytest.mark.parametrize(
    ("name", "values", "dtype"),
    [
        ("tiny", [-128, 127], "int8"), ("small", [0, 255], "uint8"), ("short", [-(2**15), 5], "int16"),
        ("pages", [-(2**31), 2**31 - 1], "int32"), ("natural", [0, 2**32 - 1], "uint32"),
        ("long", [-(2**63), 2**63 - 1], "int64"), ("huge", [0, 2**64 - 1], "uint64"),
        ("weight", [0.5, -1.25], "float64"), ("lent", [True, False], "bool"), ("genre", [1, 7], "int32"),
    ],
)
def test_a_column_has_the_type_of_its_numbers(model, moby, emma, name, values, dtype):
    moby[name], emma[name] = values
    column = model.column("library.Book", name)
    assert type(column) is numpy.ndarray and column.dtype == dtype and column.tolist() == values


def test_what_is_missing_is_masked(model, moby, emma):
    moby.weight = 1.5
    column = model.column("library.Book", "weight")
    assert isinstance(column, numpy.ma.MaskedArray) and column.tolist() == [1.5, None]
    emma.weight = None
    assert model.column("library.Book", "weight").tolist() == [1.5, None]


def test_what_is_unset_is_its_default(model, moby):
    moby.stars = 5
    assert model.column("library.Book", "stars").tolist() == [5, 3]
    moby.stars = None
    assert model.column("library.Book", "stars").tolist() == [None, 3]
    assert model.column("library.Book", "language").tolist() == ["en", "en"]


def test_a_column_of_texts_is_of_objects(model, emma):
    assert model.column("library.Item", "title").tolist() == ["Moby Dick", "Emma", "Herman Melville"]
    del emma.title
    assert model.column("library.Item", "title").tolist() == ["Moby Dick", None, "Herman Melville"]


def test_a_column_of_references_is_of_positions(model, moby, emma):
    emma.sequel = moby
    assert model.column("library.Book", "sequel").tolist() == [None, 1]
    moby.sequel = kr0.Unresolved("library.Book", "isbn", "1")
    assert model.column("library.Book", "sequel").tolist() == [None, 1]


def test_the_slot_of_a_property_differs_between_classes():
    package = kr0.PackageBuilder("u", "p")
    package.class_("A").property("a", "Integer")
    package.class_("B").property("b", "Integer")
    package.class_("AB", "A", "B")
    model = kr0.Model(kr0.Registry(package))
    model.create("p.B", b=1)
    model.create("p.AB", a=2, b=3)
    model.create("p.B", b=4)
    assert model.column("p.B", "b").tolist() == [1, 3, 4]
    assert [element.b for element in model.elements("p.B")] == [1, 3, 4]


def test_a_column_holds_its_numbers_after_the_model_is_gone(registry):
    model = kr0.Model(registry)
    for pages in range(1_000):
        model.create("library.Book", pages=pages)
    column = model.column("library.Book", "pages")
    del model
    assert int(column.sum()) == 499_500
    column[0] = 7
    assert column[0] == 7


def test_what_is_no_column_is_refused(model):
    for name, error in [("tags", TypeError), ("length", TypeError), ("colour", KeyError)]:
        with pytest.raises(error, match=name):
            model.column("library.Book", name)
    with pytest.raises(TypeError, match="no class"):
        model.column("library.Genre", "x")
    assert model.column("library.Shelf", "title").tolist() == []


def test_a_frame_has_a_row_for_each_element(model, moby, emma):
    pytest.importorskip("pandas")
    moby.weight = 0.5
    frame = model.to_pandas("library.Book", ["title", "pages", "genre", "weight", "isbn", "lent"])
    assert frame.index.tolist() == [1, 2]
    assert frame["title"].tolist() == ["Moby Dick", "Emma"] and frame["pages"].sum() == 1109
    assert frame["genre"].astype(object).tolist()[0] == "novel" and frame["genre"].isna().tolist() == [False, True]
    assert frame["isbn"].tolist() == [None, None] and frame["lent"].isna().all()
    assert frame["weight"].isna().tolist() == [False, True]
    everything = model.to_pandas(model.registry["library.Book"])
    assert "tags" not in everything and "sequel" in everything
    with pytest.raises(TypeError, match="no class"):
        model.to_pandas("library.Genre")


def test_a_graph_has_an_edge_for_each_reference(model, moby, emma):
    pytest.importorskip("networkx")
    emma.sequel = moby
    moby.sequel = kr0.Unresolved("library.Book", "isbn", "1")
    graph = model.to_networkx()
    assert graph.nodes[1]["type"] == "library.Book"
    assert sorted(graph.edges(data="property")) == [
        (0, 1, "items"), (0, 2, "items"), (0, 3, "items"), (1, 3, "authors"), (2, 1, "sequel"), (3, 1, "books"),
    ]
    assert graph.edges[0, 1, 0]["composite"] and not graph.edges[2, 1, 0]["composite"]
