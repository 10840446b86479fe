"""How much memory one document may take."""

import resource

import pytest
from kr0.corpus import memory

MB = 1_000_000


def test_a_request_beyond_the_limit_fails():
    with pytest.raises(MemoryError), memory.at_most(50 * MB):
        bytearray(60 * MB)


def test_a_request_within_the_limit_is_met():
    with memory.at_most(50 * MB):
        assert len(bytearray(40 * MB)) == 40 * MB


def test_the_limit_holds_for_one_document_and_not_for_all():
    for _ in range(20):
        with memory.at_most(50 * MB):
            bytearray(40 * MB)


@pytest.mark.parametrize("fails", (False, True))
def test_the_old_limit_comes_back(fails):
    before = resource.getrlimit(resource.RLIMIT_DATA)
    try:
        with memory.at_most(50 * MB):
            assert resource.getrlimit(resource.RLIMIT_DATA)[0] != before[0]
            assert not fails
    except AssertionError:
        assert fails
    assert resource.getrlimit(resource.RLIMIT_DATA) == before


def test_no_limit_changes_nothing():
    before = resource.getrlimit(resource.RLIMIT_DATA)
    with memory.at_most(None):
        assert resource.getrlimit(resource.RLIMIT_DATA) == before


SIZES = (("512 MB", 512 * MB), ("1 GiB", 2**30), (20 * MB, 20 * MB), (None, None))


@pytest.mark.parametrize("text, size", SIZES)
def test_limits_are_given_as_texts_or_bytes(text, size):
    assert memory.limit_in_bytes(text) == size


def test_what_is_no_amount_is_refused():
    with pytest.raises(ValueError, match='"much" is no number of bytes; say "512 MB"'):
        memory.limit_in_bytes("much")
