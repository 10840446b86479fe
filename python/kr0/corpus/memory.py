"""How much memory one document may take.

The process is given so much more data than it has when the document begins, and its old limit back
afterwards. A request beyond it fails like any other for which there is no memory, and both the
library and Python come out of that in good order. The kernel keeps the account, so nothing is
slower. It is one of the whole process, so no other thread may need memory meanwhile.

RLIMIT_DATA is taken and not RLIMIT_AS: that one also counts what is mapped without being used, such
as the 64 MiB that the C library reserves for each thread, and would be wrong by as much.
"""

from __future__ import annotations

import os
from collections.abc import Iterator
from contextlib import contextmanager

try:
    import resource
except ImportError:  # a system without such limits
    resource = None  # type: ignore[assignment]

#: Less than that Python itself may need while it tells of an error.
LEAST = 16 * 1000 * 1000


def in_bytes(size: str | int | None) -> int | None:
    """A size as number of bytes. Raises ValueError for what is none.

    >>> in_bytes("512 MB"), in_bytes("1 GiB"), in_bytes(7), in_bytes(None)
    (512000000, 1073741824, 7, None)
    """
    from dask.utils import parse_bytes

    if size is None:
        return None
    try:
        return int(parse_bytes(size))
    except (ValueError, TypeError):
        raise ValueError(f'"{size}" is no number of bytes; say "512 MB", for instance') from None


def limit_in_bytes(limit: str | int | None) -> int | None:
    """A limit for documents as number of bytes. Raises ValueError for too little to work with.

    >>> limit_in_bytes("1 MB")
    Traceback (most recent call last):
    ValueError: a document needs a limit of 16 MB or more, and "1 MB" is less
    """
    size = in_bytes(limit)
    if size is not None and size < LEAST:
        raise ValueError(f'a document needs a limit of 16 MB or more, and "{limit}" is less')
    if size is not None and resource is None:
        raise ValueError("this system cannot limit the memory of a document")
    return size


def readable(size: int) -> str:
    """An amount of memory for people.

    >>> readable(512_000_000)
    '512 MB'
    """
    return f"{size / 1e6:g} MB"


@contextmanager
def at_most(limit: int | None) -> Iterator[None]:
    """Lets the process take `limit` bytes more than it has; None: as many as there are."""
    if limit is None:
        yield
        return
    soft, hard = resource.getrlimit(resource.RLIMIT_DATA)
    resource.setrlimit(resource.RLIMIT_DATA, (_within(_data() + limit, soft, hard), hard))
    try:
        yield
    finally:
        resource.setrlimit(resource.RLIMIT_DATA, (soft, hard))


def _within(wanted: int, soft: int, hard: int) -> int:
    """What is wanted, but no more than what the process was allowed before."""
    allowed = [each for each in (soft, hard) if each != resource.RLIM_INFINITY]
    return min([wanted, *allowed])


def _data() -> int:
    """What the kernel counts as data of this process now, in bytes."""
    with open("/proc/self/statm", encoding="ascii") as figures:
        return int(figures.read().split()[5]) * os.sysconf("SC_PAGE_SIZE")
