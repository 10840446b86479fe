"""Registries: types and properties, made in Python or by .ecore files."""

import enum

import kr0
import pytest

ECORE = """<?xml version="1.0" encoding="UTF-8"?>
<ecore:EPackage xmi:version="2.0" xmlns:xmi="http://www.omg.org/XMI" xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"
    xmlns:ecore="http://www.eclipse.org/emf/2002/Ecore" name="shop" nsURI="http://example.org/shop" nsPrefix="shop">
  <eClassifiers xsi:type="ecore:EClass" name="Shop">
    <eStructuralFeatures xsi:type="ecore:EReference" name="goods" upperBound="-1" eType="#//Good" containment="true"/>
  </eClassifiers>
  <eClassifiers xsi:type="ecore:EClass" name="Good">
    <eStructuralFeatures xsi:type="ecore:EAttribute" name="price" eType="ecore:EDataType http://www.eclipse.org/emf/2002/Ecore#//EInt"/>
  </eClassifiers>
</ecore:EPackage>
"""


@pytest.fixture
def shop(tmp_path):
    path = tmp_path / "shop.ecore"
    path.write_text(ECORE)
    return path


def test_a_registry_is_made_from_ecore(shop):
    registry = kr0.Registry.from_ecore(shop)
    assert registry.packages == {"http://example.org/shop": "shop"}
    assert [t.qualified_name for t in registry.types] == ["shop.Shop", "shop.Good"]
    model = kr0.Model(registry)
    model.create("shop.Shop").create("goods", price=3)
    assert [good.price for good in model.elements("shop.Good")] == [3]


def test_a_file_that_is_no_meta_model_is_refused(tmp_path):
    path = tmp_path / "bad.ecore"
    path.write_text("<ecore")
    with pytest.raises(kr0.Error, match="bad.ecore"):
        kr0.Registry.from_ecore(path)
    with pytest.raises(kr0.Error) as refused:
        kr0.Registry.from_ecore(str(tmp_path / "missing.ecore"))
    assert refused.value.code == "unreadable"
    with pytest.raises(TypeError):
        kr0.Registry.from_ecore()


def test_a_package_is_written_as_ecore(registry, tmp_path):
    path = tmp_path / "library.ecore"
    path.write_text(registry.to_ecore("http://example.org/library"))
    again = kr0.Registry.from_ecore(path)
    uri = "http://example.org/library"
    assert again.fingerprint(uri) == registry.fingerprint(uri) and len(registry.fingerprint(uri)) == 32
    with pytest.raises(kr0.Error):
        registry.fingerprint("http://example.org/nothing")


def test_types_are_found_by_name(registry):
    assert "library.Book" in registry and "library.Film" not in registry and 3 not in registry
    with pytest.raises(KeyError, match="library.Film"):
        registry["library.Film"]
    for name, kind in [
        ("library.Book", kr0.Class), ("library.Size", kr0.Datatype), ("library.Genre", kr0.Enumeration),
        ("library.Isbn", kr0.PrimitiveType), ("Integer", kr0.PrimitiveType),
    ]:
        assert type(registry[name]) is kind and registry[name].qualified_name == name
    assert registry["library.Book"] == registry["library.Book"] != registry["library.Author"]
    assert len({registry["library.Book"], registry["library.Book"]}) == 1
    assert repr(registry["library.Book"]) == "<Class library.Book>"
    assert registry["library.Book"].package_uri == "http://example.org/library"
    assert registry["library.Book"].registry is registry


def test_a_class_tells_what_it_inherits(registry):
    book, item = registry["library.Book"], registry["library.Item"]
    assert book.supertypes == (item,) and book.conforms_to(item) and not item.conforms_to(book)
    assert item.is_abstract and not book.is_abstract
    assert book.properties[0].owner == item and [p.name for p in item.own_properties] == ["title"]
    assert "title" in book and "colour" not in book
    with pytest.raises(KeyError, match="colour"):
        book["colour"]


def test_a_property_tells_all_about_itself(registry):
    book = registry["library.Book"]
    authors = book["authors"]
    assert (authors.kind, authors.lower, authors.upper, authors.is_many) == ("association", 0, None, True)
    assert authors.opposite == registry["library.Author"]["books"] and authors.type == registry["library.Author"]
    assert book["title"].lower == 1 and book["title"].upper == 1 and book["title"].default is None
    assert book["language"].default == "en" and book["length"].is_derived and not book["length"].is_stored
    assert registry["library.Library"]["items"].is_composite and not book["years"].is_unique
    assert book["title"].id > 0 and book["length"].id == 0 and book["title"].is_ordered
    assert not book["title"].is_static and not book["title"].is_transient
    kinds = {p.name: p.kind for p in book.properties}
    assert [kinds[n] for n in ("pages", "lent", "genre", "isbn", "code", "published", "size", "length")] == [
        "number", "number", "enumeration", "text", "uuid", "datetime", "datatype", "none",
    ]
    assert repr(authors) == "<property library.Book.authors>"


def test_an_enumeration_is_made_of_names_numbers_or_an_enum():
    class Colour(enum.Enum):
        red = 3
        green = 5

    package = kr0.PackageBuilder("u", "p")
    package.enumeration("A", ["x", "y"])
    package.enumeration("B", {"x": 5, "y": 2})
    package.enumeration("C", Colour)
    registry = kr0.Registry(package)
    values = {t.name: [(m.name, m.value) for m in t.python] for t in registry.types}
    assert values == {"A": [("x", 0), ("y", 1)], "B": [("x", 5), ("y", 2)], "C": [("red", 3), ("green", 5)]}
    assert registry["p.A"].literals == ("x", "y")


def test_bounds_and_numbers_are_as_given():
    package = kr0.PackageBuilder("u", "p")
    kind = package.class_("C")
    kind.property("a", "Integer", lower=2, upper=4).property("b", "Integer", many=True, required=True, id=77)
    kind.property("c", "Integer", upper=-1)
    inner = package.package("u/inner", "inner")
    inner.class_("D", "p.C", abstract=True)
    registry = kr0.Registry(package)
    a, b, c = registry["p.C"].properties
    assert [(p.lower, p.upper) for p in (a, b, c)] == [(2, 4), (1, None), (0, None)]
    assert b.id == 77 and registry["p.inner.D"].is_abstract
    assert registry.packages == {"u": "p", "u/inner": "p.inner"}


def test_a_meta_model_that_contradicts_itself_is_refused():
    package = kr0.PackageBuilder("u", "p")
    package.class_("C").property("x", "Nothing")
    with pytest.raises(kr0.Error, match="Nothing") as refused:
        kr0.Registry(package)
    assert refused.value.code == "badMetaModel"
    with pytest.raises(TypeError, match="PackageBuilder"):
        kr0.Registry("library.ecore")


def test_packages_of_one_registry_refer_to_each_other(registry):
    first, second = kr0.PackageBuilder("a", "a"), kr0.PackageBuilder("b", "b")
    first.class_("A").property("b", "b.B")
    second.class_("B").property("a", "a.A")
    registry = kr0.Registry(first, second)
    assert registry["a.A"]["b"].type == registry["b.B"]
