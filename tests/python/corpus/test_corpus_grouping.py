"""Documents in groups, one for each task."""

from kr0.corpus.documents import Document
from kr0.corpus.grouping import HEAVIEST, group_weight, grouped, weight


def documents(*sizes):
    return [Document(place, f"{place}.krb", "", size) for place, size in enumerate(sizes)]


def heavy(group):
    return sum(map(weight, group))


def test_each_document_is_in_one_group():
    given = documents(*(n * 7919 % 100_000 for n in range(5000)))
    assert sorted(each for group in grouped(given) for each in group) == given


def test_groups_have_equal_bytes_and_not_equal_numbers():
    groups = grouped(documents(*[1000] * 2000, *[50_000] * 2000))
    assert max(map(heavy, groups[:-1])) < 1.2 * min(map(heavy, groups[:-1]))
    assert max(map(len, groups)) > 3 * min(map(len, groups[:-1]))


def test_no_group_of_several_is_heavier_than_wanted():
    given = documents(*(n * n * 100 for n in range(1000)))
    assert all(heavy(group) <= group_weight(given) for group in grouped(given) if len(group) > 1)


def test_a_large_document_is_alone_and_comes_first():
    groups = grouped(documents(10, HEAVIEST * 2, 10))
    assert [[document.place for document in group] for group in groups] == [[1], [0], [2]]


def test_documents_without_bytes_are_not_all_in_one_group():
    assert len(grouped(documents(*[0] * 10_000))) > 30


def test_a_group_has_neighbours():
    for group in grouped(documents(*[3000] * 500)):
        places = [document.place for document in group]
        assert places == list(range(places[0], places[0] + len(places)))


def test_groups_may_be_given_another_size():
    given = documents(*[3000] * 1000)
    assert len(grouped(given, 10 * weight(given[0]))) == 100


def test_no_document_gives_no_group():
    assert grouped([]) == []
