"""A small meta model and a model of it, for the tests of this folder."""

import kr0
import pytest
from library_package import library_package


@pytest.fixture(scope="session")
def registry() -> kr0.Registry:
    return kr0.Registry(library_package())


@pytest.fixture
def model(registry: kr0.Registry) -> kr0.Model:
    """A library with Moby Dick, Emma and an author, in this order."""
    model = kr0.Model(registry)
    library = model.create("library.Library", name="City")
    moby = library.create("items", "library.Book", title="Moby Dick", pages=635, genre="novel", tags=["whale", "sea"])
    library.create("items", "library.Book", title="Emma", pages=474)
    author = library.create("items", "library.Author", title="Herman Melville")
    moby.authors.append(author)
    return model


@pytest.fixture
def library(model: kr0.Model) -> kr0.Element:
    return model.roots[0]


@pytest.fixture
def moby(library: kr0.Element) -> kr0.Element:
    return library["items"][0]


@pytest.fixture
def emma(library: kr0.Element) -> kr0.Element:
    return library["items"][1]


@pytest.fixture
def melville(library: kr0.Element) -> kr0.Element:
    return library["items"][2]
