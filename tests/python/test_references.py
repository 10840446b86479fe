"""No operation keeps or gives away a reference too many: objects that everything shares keep their counts, and
memory does not grow."""

import datetime
import gc
import resource
import sys
import uuid

import kr0
import pytest


def operations(model, library, moby, emma, melville):
    genre = model.registry["library.Genre"].python
    tags = moby.tags
    zone = datetime.timezone.utc

    def attempt(work):
        try:
            work()
        except (kr0.Error, TypeError, AttributeError, KeyError, IndexError, ValueError):
            pass

    return {
        "read a text": lambda: moby.title,
        "read a number": lambda: moby.pages,
        "read nothing": lambda: emma.weight,
        "read a default": lambda: moby.language,
        "read an enumeration": lambda: moby.genre,
        "read by name and position": lambda: (moby["title"], moby[0], "title" in moby),
        "write a text": lambda: setattr(moby, "title", "Moby Dick"),
        "write an enumeration": lambda: setattr(moby, "genre", genre.novel),
        "write a time": lambda: setattr(moby, "published", datetime.datetime(2000, 1, 1, tzinfo=zone)),
        "read a time": lambda: moby.published,
        "write a text of a time": lambda: setattr(emma, "published", "2000-01-01"),
        "read a text of a time": lambda: emma.published,
        "write a UUID": lambda: setattr(moby, "code", uuid.UUID(int=7)),
        "read a UUID": lambda: moby.code,
        "an unknown attribute": lambda: hasattr(moby, "colour"),
        "a wrong value": lambda: attempt(lambda: setattr(moby, "pages", "x")),
        "a refused value": lambda: attempt(lambda: setattr(moby, "pages", 2**40)),
        "a wrong key": lambda: attempt(lambda: moby["colour"]),
        "a wrong item": lambda: attempt(lambda: tags[99]),
        "a wrong list": lambda: attempt(lambda: setattr(moby, "tags", ["a", 3])),
        "an empty value": lambda: setattr(moby, "isbn", None),
        "an unset value": lambda: moby.__delattr__("isbn"),
        "a list": lambda: (tags[0], tags[::2], list(tags), tags == ["a"], "x" in tags, repr(tags)),
        "a changed list": lambda: (tags.append("x"), tags.insert(0, "y"), tags.pop(), tags.remove("y"), tags.reverse()),
        "a replaced list": lambda: setattr(moby, "tags", ["whale", "sea"]),
        "references": lambda: (setattr(melville, "books", [moby, emma]), melville.books[0], moby.authors[0]),
        "an unresolved reference": lambda: (setattr(emma, "sequel", kr0.Unresolved("library.Book", "a", "b")), emma.sequel),
        "a datatype": lambda: (setattr(moby, "size", {"width": 1.0}), moby.size.width),
        "members": lambda: (moby.type, moby.model, moby.container, moby.containing_property, moby.path, moby.identity),
        "an identity": lambda: setattr(moby, "identity", ("a", "b")),
        "walks": lambda: (list(model), list(library.descendants()), library.children(), moby.referrers(), next(iter(model))),
        "types": lambda: (moby.type.properties, moby.type["title"].owner, model.registry["library.Genre"].literals),
        "states": lambda: (moby.state("pages"), moby.items(), dir(moby)),
        "a model": lambda: (model.copy(), model.digest(), model.validate(), model.statistics()),
        "documents": lambda: kr0.loads(model.to_bytes("krb"), model.registry),
        "a bad document": lambda: attempt(lambda: kr0.loads(b"\0\1\2", model.registry)),
        "a difference": lambda: model.diff(kr0.loads(model.to_bytes(), model.registry)),
        "a child": lambda: library["items"].create("library.Book", title="x").remove(),
        "a child that fails": lambda: attempt(lambda: library.create("items", "library.Book", pages="x")),
        "columns": lambda: (model.column("library.Book", "pages"), model.column("library.Book", "title")),
    }


NAMES = list(operations(*[type("Any", (), {"__getattr__": lambda s, n: s, "__getitem__": lambda s, n: s})()] * 5))


@pytest.mark.parametrize("name", NAMES)
def test_shared_objects_keep_their_counts(model, library, moby, emma, melville, name):
    if name == "columns":
        pytest.importorskip("numpy")
    work = operations(model, library, moby, emma, melville)[name]
    shared = [None, True, False, moby, model, model.registry, kr0.Element, kr0.Values, kr0.Error, kr0.State.value,
              datetime.timezone.utc, 0, 1, ""]
    for _ in range(3):
        work()
    gc.collect()
    before = [sys.getrefcount(each) for each in shared]
    for _ in range(200):
        work()
    gc.collect()
    after = [sys.getrefcount(each) for each in shared]
    # Python's own caches keep some of them now and then, but not one for each of two hundred calls.
    assert [a - b for a, b in zip(after, before) if abs(a - b) >= 100] == []


def test_memory_does_not_grow(model, library, moby, emma, melville):
    # A model keeps the memory of values that were replaced until it goes, so each round has one of its own.
    def round_of_all():
        other = model.copy()
        root = other.roots[0]
        for work in operations(other, root, *root["items"][:3]).values():
            work()

    for _ in range(20):
        round_of_all()
    gc.collect()
    before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
    for _ in range(200):
        round_of_all()
    assert resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before < 8_000
