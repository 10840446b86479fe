#!/usr/bin/env python3
"""Makes a corpus to measure with: documents of a shelf of books, of very different sizes, some of
them damaged.

  benchmarks/corpus/generate.py FOLDER [--documents N] [--seed S] [--median BYTES] [--format krb]

Sizes follow a log-normal law: half the documents are smaller than the median, and few large ones
have most of the bytes, as in folders that people work in. One document in a hundred is damaged: cut
short, one bit flipped (which may leave a document that can be read), or emptied. The same seed
gives the same bytes. manifest.csv beside the documents tells what was made.
"""

import argparse
import csv
import math
import os
import random
from collections.abc import Iterator
from typing import NamedTuple

import kr0

META = os.path.join(os.path.dirname(os.path.abspath(__file__)), "shelf.ecore")
SIGMA = 1.5  # of the logarithm of the size: the largest 1 % are 33 times the median and more
LARGEST = 32 * 1024 * 1024
DAMAGED = 0.01
BYTES_PER_BOOK = 64  # about, in the direct format
IN_A_FOLDER = 500
WORDS = "ash bell chart dune elm fern gull harbour inlet jetty kelp lamp mast north oar".split()


class Made(NamedTuple):
    """A document that was made."""

    name: str
    bytes: int
    damage: str  #: "", "cut", "flipped" or "empty"


def generate(folder: str, documents: int, seed: int, median: int, format: str) -> list[Made]:
    """Makes the corpus below a folder, and its manifest."""
    made = list(_documents(folder, documents, random.Random(seed), median, format))
    with open(os.path.join(folder, "manifest.csv"), "w", encoding="utf-8", newline="") as manifest:
        writer = csv.writer(manifest)
        writer.writerow(Made._fields)
        writer.writerows(made)
    return made


def _documents(
    folder: str, documents: int, chance: random.Random, median: int, format: str
) -> Iterator[Made]:
    registry = kr0.Registry.from_ecore(META)
    for number in range(documents):
        name = f"{number // IN_A_FOLDER:04}/{number:07}.{format}"
        size = min(int(chance.lognormvariate(math.log(median), SIGMA)), LARGEST)
        data, damage = _damaged(_shelf(registry, size, chance).to_bytes(format), chance)
        path = os.path.join(folder, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as out:
            out.write(data)
        yield Made(name, len(data), damage)


def _shelf(registry: kr0.Registry, size: int, chance: random.Random) -> kr0.Model:
    """A model whose document has about this many bytes."""
    model = kr0.Model(registry)
    shelf = model.create("shelf.Shelf", place=" ".join(chance.choices(WORDS, k=2)))
    before = None
    for number in range(max(size // BYTES_PER_BOOK, 1)):
        title = " ".join(chance.choices(WORDS, k=4))
        price = chance.random() * 50
        book = shelf.create("books", title=title, pages=chance.randint(10, 900), price=price)
        book.keywords = chance.sample(WORDS, k=number % 4)
        if before is not None and number % 5 == 0:
            book.sequel = before
        before = book
    return model


def _damaged(data: bytes, chance: random.Random) -> tuple[bytes, str]:
    """The bytes as they are, or in one of a hundred cases damaged, and how."""
    if chance.random() >= DAMAGED:
        return data, ""
    kind = chance.choice(("cut", "flipped", "empty"))
    place = chance.randrange(len(data))
    if kind == "cut":
        return data[:place], kind
    if kind == "flipped":
        flipped = data[place] ^ 1 << chance.randrange(8)
        return data[:place] + bytes([flipped]) + data[place + 1 :], kind
    return b"", kind


def main() -> None:
    parser = argparse.ArgumentParser(description="Makes a corpus to measure with.")
    parser.add_argument("folder")
    parser.add_argument("--documents", type=int, default=1000)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--median", type=int, default=4096, help="bytes")
    parser.add_argument("--format", default="krb")
    given = parser.parse_args()
    made = generate(given.folder, given.documents, given.seed, given.median, given.format)
    sizes = sorted(one.bytes for one in made)
    damaged = sum(one.damage != "" for one in made)
    print(f"{len(made)} documents, {sum(sizes)} bytes, the largest {sizes[-1]}, {damaged} damaged")


if __name__ == "__main__":
    main()
