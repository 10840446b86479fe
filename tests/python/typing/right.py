"""A program of a user who has types checked. It runs, too."""

from pathlib import Path
from typing import Any, assert_type

import numpy.typing

import kr0


def shelf() -> kr0.Registry:
    package = kr0.PackageBuilder("http://www.example.org/shelf", "shelf")
    package.enumeration("Binding", ["soft", "hard"])
    book = package.class_("Book")
    book.property("title", "String").property("pages", "Integer").property("binding", "Binding")
    package.class_("Shelf").property("books", "Book", many=True, composite=True)
    return kr0.Registry(package)


def titles(model: kr0.Model) -> list[str]:
    return [book.title for book in model.elements("shelf.Book")]


def kinds(registry: kr0.Registry) -> dict[str, list[str]]:
    found: dict[str, list[str]] = {}
    for type in registry.types:
        if isinstance(type, kr0.Class):
            found[type.qualified_name] = [property.name for property in type.properties]
    return found


def main(folder: Path) -> None:
    registry = shelf()
    assert kinds(registry)["shelf.Book"] == ["title", "pages", "binding"]
    model = kr0.Model(registry)
    root = assert_type(model.create("shelf.Shelf"), kr0.Element)
    first = root.create("books", title="Emma", pages=474)
    assert_type(first.container, kr0.Element | None)
    assert_type(first.state("binding"), kr0.State)
    root["books"].create("shelf.Book", title="Persuasion")
    kr0.save(model, folder / "shelf.krb")
    try:
        again = kr0.load(folder / "shelf.krb", registry)
    except kr0.Error as error:
        raise SystemExit(f"{error.code}: {error.problem} (byte {error.byte_offset})") from None
    assert titles(again) == ["Emma", "Persuasion"]
    assert_type(again.difference(model), str | None)
    pages = assert_type(again.column("shelf.Book", "pages"), numpy.typing.NDArray[Any])
    assert len(pages) == 2
    for violation in again.validate():
        print(violation.path, violation.rule)
    statistics = again.statistics()
    assert statistics.elements == 3 and statistics.types["shelf.Book"].instances == 2


if __name__ == "__main__":
    main(Path.cwd())
