"""Collections of elements behave as lists do, and change the model."""

import random
from collections.abc import MutableSequence

import kr0
import pytest

TEXTS = ["whale", "sea", "ship", "sea"]


@pytest.fixture
def tags(moby):
    moby.tags = TEXTS
    return moby.tags


def test_a_collection_is_a_mutable_sequence(tags):
    assert isinstance(tags, MutableSequence)
    assert len(tags) == 4 and list(tags) == TEXTS
    assert "ship" in tags and "boat" not in tags
    assert tags.index("sea") == 1 and tags.index("sea", 2) == 3 and tags.count("sea") == 2
    assert list(reversed(tags)) == TEXTS[::-1]
    assert repr(tags) == repr(TEXTS)
    with pytest.raises(ValueError):
        tags.index("boat")
    with pytest.raises(TypeError):
        hash(tags)


def test_equality_is_that_of_lists(tags, emma):
    assert tags == TEXTS and tags != TEXTS[:2] and tags == tuple(TEXTS)
    emma.tags = TEXTS
    assert tags == emma.tags
    assert tags != "whale" and tags < ["x"]


@pytest.mark.parametrize("start", [None, -5, -2, 0, 1, 4, 9])
@pytest.mark.parametrize("stop", [None, -5, -1, 0, 2, 4, 9])
@pytest.mark.parametrize("step", [None, 1, 2, -1, -2])
def test_slices_are_those_of_lists(moby, start, stop, step):
    part = slice(start, stop, step)
    moby.tags = TEXTS
    wanted = list(TEXTS)
    assert moby.tags[part] == wanted[part]
    given = [f"new{i}" for i in range(len(wanted[part]))]
    moby.tags[part] = given
    wanted[part] = given
    assert moby.tags == wanted
    del moby.tags[part], wanted[part]
    assert moby.tags == wanted


def test_an_index_out_of_range_is_an_index_error(tags):
    for index in (4, -5, 2**80):
        with pytest.raises(IndexError):
            tags[index]
        with pytest.raises(IndexError):
            tags[index] = "x"
        with pytest.raises(IndexError):
            del tags[index]
    with pytest.raises(TypeError, match="int or slices"):
        tags["first"]
    assert tags == TEXTS


def test_random_changes_are_those_of_a_list(moby):
    chance = random.Random(1)
    moby.years = []
    wanted = []
    for _ in range(3_000):
        place, number = chance.randrange(-9, 9), chance.randrange(5)
        change = chance.choice(["append", "insert", "pop", "remove", "set", "delete", "extend", "reverse", "sort", "slice"])
        outcomes = []
        for values in (wanted, moby.years):
            try:
                if change == "append":
                    values.append(number)
                elif change == "insert":
                    values.insert(place, number)
                elif change == "pop":
                    outcomes.append(values.pop(place))
                elif change == "remove":
                    values.remove(number)
                elif change == "set":
                    values[place] = number
                elif change == "delete":
                    del values[place]
                elif change == "extend":
                    values.extend(range(number))
                elif change == "reverse":
                    values.reverse()
                elif change == "sort":
                    values.sort(key=lambda n: -n)
                else:
                    values[place : place + number] = [number] * (number - 1)
            except (IndexError, ValueError) as error:
                outcomes.append(type(error))
        assert moby.years == wanted and len(set(outcomes)) < 2, change
        if len(wanted) > 20:
            del wanted[5:], moby.years[5:]


def test_a_value_of_the_wrong_sort_changes_nothing(tags):
    for change in (
        lambda: tags.append(3),
        lambda: tags.extend(["a", 3]),
        lambda: tags.__setitem__(slice(0, 2), ["a", None]),
        lambda: tags.insert(0, b"x"),
        lambda: tags.__setitem__(0, 5),
        lambda: tags.extend("no list but a text"),
    ):
        with pytest.raises(TypeError):
            change()
        assert tags == TEXTS


def test_assigning_a_list_to_itself_keeps_it(moby, tags):
    moby.tags = moby.tags
    assert moby.tags == TEXTS
    moby.tags = reversed(moby.tags)
    assert moby.tags == TEXTS[::-1]
    moby.tags += ["more"]
    assert moby.tags[-1] == "more" and len(moby.tags) == 5


def test_a_list_that_changes_while_it_is_replaced_is_refused(moby, tags):
    def shrinking():
        yield "a"
        moby.tags.clear()

    with pytest.raises(RuntimeError, match="changed"):
        moby.tags[2:4] = shrinking()
    assert moby.tags == []


def test_enumerations_and_datatypes_stand_in_lists(moby, registry):
    genre = registry["library.Genre"].python
    moby.genres = ["poetry", 0]
    assert moby.genres == [genre.poetry, genre.novel]
    moby.sizes = [{"width": 1.0}, {"width": 2.0}]
    moby.sizes.append(moby.sizes[0])
    assert [size.width for size in moby.sizes] == [1.0, 2.0, 1.0]
    moby.sizes.reverse()
    del moby.sizes[1]
    assert [size.width for size in moby.sizes] == [1.0, 1.0]
    moby.sizes.clear()
    assert len(moby.sizes) == 0


def test_children_that_leave_a_list_are_removed(library, moby, emma, melville):
    library["items"] = [emma, melville]
    assert moby.is_removed and library.children() == [emma, melville]
    library["items"].remove(emma)
    assert emma.is_removed
    library["items"].clear()
    assert melville.is_removed and library.state("items") is kr0.State.unset


def test_children_are_put_into_another_order(library, moby, emma, melville):
    library["items"].sort(key=lambda item: item.title)
    assert library.children() == [emma, melville, moby]
    library["items"][0:2] = [melville, emma]
    assert library.children() == [melville, emma, moby]
    library["items"].insert(0, moby)
    assert library.children() == [moby, melville, emma]
    assert [e for e in library.descendants()] == library.children()


def test_children_move_between_lists(model, library, moby, emma):
    other = model.create("library.Library", name="Branch")
    other["items"].append(moby)
    assert moby.container == other and library["items"][0] == emma
    other["items"] = [emma, moby]
    assert other.children() == [emma, moby] and len(library["items"]) == 1


def test_a_child_stands_in_one_place_only(library, moby, emma):
    with pytest.raises(kr0.Error, match="given twice"):
        library["items"] = [moby, emma, moby]
    assert len(library["items"]) == 3


def test_children_are_not_popped(library, moby):
    with pytest.raises(TypeError, match="cannot be popped"):
        library["items"].pop()
    assert len(library["items"]) == 3


def test_a_wrong_child_changes_nothing(model, library, moby, emma):
    before = model.digest()
    for wrong in ([emma, library], [emma, "Moby Dick"], [model.copy().roots[0]["items"][0]]):
        with pytest.raises((kr0.Error, TypeError)):
            library["items"] = wrong
        assert model.digest() == before


def test_many_children_are_removed_at_once(registry):
    library = kr0.Model(registry).create("library.Library")
    for i in range(20_000):
        library.create("items", "library.Book", title=str(i))
    library["items"] = [book for i, book in enumerate(library["items"]) if i % 2]
    assert len(library["items"]) == 10_000 and library["items"][1].title == "3"
    del library["items"][10:]
    assert len(library.model) == 11


def test_references_stay_in_step_through_slices(moby, emma, melville):
    melville.books = [moby, emma, moby]
    del melville.books[0]
    assert melville.books == [emma, moby]
    melville.books[0:1] = []
    assert emma.authors == []
