"""Documents in groups, one for each task: by bytes, so that each takes about as long.

A task costs client, scheduler and worker about five milliseconds together, in which a worker reads
some hundred kilobytes. So one for each small document would be most of the work, while a fixed
number of documents would put a hundred large ones into one task. Groups follow from the corpus
alone and not from the workers there are, for more may come while a job runs.
"""

from __future__ import annotations

from collections.abc import Sequence

from kr0.corpus.documents import Document

#: What opening a document and telling of it costs, in bytes that are read in that time.
DOCUMENT_WEIGHT = 16 * 1024

#: So many groups keep many workers busy; a group is at least and at most so heavy whatever the
#: corpus is.
GROUPS = 32
LIGHTEST = 1024 * 1024
HEAVIEST = 16 * 1024 * 1024


def weight(document: Document) -> int:
    """What a document costs, in bytes.

    >>> weight(Document(0, "a.krb", "/a.krb", 1000))
    17384
    """
    return document.size + DOCUMENT_WEIGHT


def group_weight(documents: Sequence[Document]) -> int:
    """How heavy the groups of these documents are to be.

    >>> group_weight([]) == LIGHTEST
    True
    """
    total = sum(weight(document) for document in documents)
    return min(max(total // GROUPS, LIGHTEST), HEAVIEST)


def grouped(documents: Sequence[Document], most: int | None = None) -> list[tuple[Document, ...]]:
    """Neighbours in groups of about `most` bytes, group_weight() by default; the heaviest first.

    A document that is heavier than that is a group of its own. It comes first, for what takes
    longest must not be begun last.

    >>> [len(group) for group in grouped([Document(i, "", "", i * 3_000_000) for i in range(3)])]
    [1, 1, 1]
    >>> [len(group) for group in grouped([Document(i, "", "", 1000) for i in range(80)])]
    [60, 20]
    """
    most = most or group_weight(documents)
    groups: list[list[Document]] = []
    last = most
    for document in documents:
        heavy = weight(document)
        if last + heavy > most:
            groups.append([])
            last = 0
        groups[-1].append(document)
        last += heavy
    return sorted((tuple(group) for group in groups), key=lambda group: -sum(map(weight, group)))
