"""Whole models: what is in them, what differs, what they say, and models carried over."""

import copy

import kr0
import pytest

from library_package import library_package


def test_a_model_is_walked_in_document_order(model, library, moby, emma, melville):
    assert list(model) == list(model.elements()) == [library, moby, emma, melville]
    assert len(model) == 4 and model.roots == [library] and moby in model
    assert bool(kr0.Model(model.registry)) and len(kr0.Model(model.registry)) == 0


def test_elements_of_a_class_are_those_that_inherit_from_it(model, moby, emma, melville, registry):
    assert list(model.elements("library.Book")) == [moby, emma]
    assert list(model.elements(registry["library.Item"])) == [moby, emma, melville]
    with pytest.raises(KeyError, match="library.Film"):
        model.elements("library.Film")
    with pytest.raises(TypeError, match="no class"):
        model.elements("library.Genre")


def test_a_type_of_another_registry_is_refused(model):
    other = kr0.Registry(library_package())
    with pytest.raises(ValueError, match="another registry"):
        model.elements(other["library.Book"])
    with pytest.raises(ValueError, match="another registry"):
        model.create(other["library.Library"])


def test_an_iterator_survives_changes(model, library, moby):
    walk = model.elements()
    next(walk)
    for _ in range(1_000):
        library.create("items", "library.Book", title="new")
    moby.remove()
    assert all(not e.is_removed or e == moby for e in walk)


def test_a_copy_is_a_model_of_its_own(model, moby):
    for other in (model.copy(), copy.copy(model), copy.deepcopy(model)):
        assert other.difference(model) is None and other.registry is model.registry
        other.roots[0]["items"][0].title = "x"
        assert moby.title == "Moby Dick" and moby not in other


def test_a_difference_is_told_as_a_sentence_and_as_data(model, moby, emma):
    other = model.copy()
    other.find(moby.path).pages = 636
    other.find(emma.path).remove()
    assert model.difference(other) == "/library.items: 3 values != 2 values"
    changed, removed = model.diff(other)
    assert (changed.kind, changed.before, changed.property) == ("changed", moby, "pages")
    assert (changed.value_before, changed.value_after) == ("635", "636")
    assert changed.after.model is other
    assert (removed.kind, removed.before, removed.after) == ("removed", emma, None)
    assert "Emma" in removed.sentence or removed.path_before == emma.path
    assert model.diff(model.copy()) == []


def test_versions_are_merged(model, moby, emma):
    ours, theirs = model.copy(), model.copy()
    ours.find(moby.path).pages = 1
    theirs.find(emma.path).pages = 2
    merged, conflicts = model.merge(ours, theirs)
    assert conflicts == [] and [b.pages for b in merged.elements("library.Book")] == [1, 2]
    theirs.find(moby.path).pages = 3
    merged, conflicts = model.merge(ours, theirs)
    assert len(conflicts) == 1 and merged.find(moby.path).pages == 1


def test_rules_that_do_not_hold_are_told(model, moby):
    assert model.validate() == []
    moby.sequel = kr0.Unresolved("library.Book", "isbn", "1")
    del moby.title
    found = model.validate()
    assert {(v.path, v.property, v.rule) for v in found} == {
        (moby.path, "title", "required"), (moby.path, "sequel", "resolved"),
    }
    assert len(model.validate(limit=1)) == 1


def test_a_digest_is_that_of_the_content(model, moby):
    digest = model.digest()
    assert len(digest) == 64 and model.copy().digest() == digest
    moby.pages = 1
    assert model.digest() != digest


def test_figures(model, emma, moby):
    emma.sequel = kr0.Unresolved("library.Book", "isbn", "1", "other.krb")
    figures = model.statistics()
    assert (figures.elements, figures.roots, figures.depths) == (4, 1, [1, 3])
    assert (figures.resolved, figures.unresolved, figures.outside) == (2, 0, 1)
    book = figures.types["library.Book"]
    assert book.instances == 2 and book.properties["tags"] == (1, 2)
    assert model.memory > 0


def test_a_model_is_carried_over(model, moby):
    package = library_package()
    newer = kr0.PackageBuilder("http://example.org/library", "library")
    newer.class_("Library").property("name", "String").property("items", "Book", many=True, composite=True)
    newer.class_("Book").property("title", "String").property("sheets", "Integer64")
    registry = kr0.Registry(newer)
    with pytest.raises(kr0.Error) as refused:
        model.migrate(registry)
    assert refused.value.code == "doesNotFit" and len(refused.value.problems) > 1
    rules = '{"kr0": 1, "rename": {"library.Book.pages": "sheets"}}'
    moved, report = model.migrate(registry, rules, allow_loss=True)
    assert [b.sheets for b in moved.elements("library.Book")] == [635, 474]
    assert moved.registry is registry and any("Author" in str(loss) for loss in report["losses"])
    same, report = model.migrate(kr0.Registry(package))
    assert same.digest() == model.digest()


def test_a_root_is_made_from_an_element(model, moby, library):
    model.move_to_top(moby)
    assert model.roots == [library, moby] and moby.container is None
    with pytest.raises(TypeError):
        model.move_to_top("Moby Dick")
