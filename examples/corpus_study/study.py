"""Asks a folder of documents what is in them, and which features of the meta model nobody uses."""

import argparse
import sys
from collections.abc import Iterator

import kr0
import kr0.corpus
import pandas


def features_of(registry: kr0.Registry) -> Iterator[tuple[str, str]]:
    """Every stored feature of every class that can have instances, inherited ones too."""
    for type_ in registry.types:
        if isinstance(type_, kr0.Class) and not type_.is_abstract:
            for feature in type_.properties:
                if feature.is_stored:
                    yield type_.qualified_name, feature.name


def print_table(title: str, table: pandas.DataFrame) -> None:
    print(title)
    print(table.to_string() if len(table) else "none")
    print()


def main() -> int:
    arguments = argparse.ArgumentParser(description=__doc__)
    arguments.add_argument("documents", help="a pattern, such as 'models/**/*.xmi'")
    arguments.add_argument("-m", "--meta", action="append", required=True, help="an .ecore file")
    arguments.add_argument("-o", "--output", help="a .csv file for the figures of each document")
    options = arguments.parse_args()

    # Each table is worked out by several processes, document by document. A document that cannot be read is a row
    # with an error and nothing else.
    corpus = kr0.corpus.open(options.documents, meta=options.meta)
    figures = corpus.stats()
    features = corpus.features()
    if options.output:
        figures.to_csv(options.output, index=False)

    good = figures[figures["error"].isna()]
    print(f"{len(good)} of {len(figures)} documents read, {int(good['elements'].sum())} elements\n")
    print_table("not read:", figures[figures["error"].notna()].set_index("document")[["code"]])

    use = features[features["error"].isna()].groupby(["type", "property"])["set"].sum()
    print_table("most used features:", use.sort_values(ascending=False, kind="stable").head(5).astype(int).to_frame())

    registry = kr0.Registry.from_ecore(*options.meta)
    print("features that nobody uses:")
    for owner, feature in features_of(registry):
        if (owner, feature) not in use.index:
            print(f"  {owner}.{feature}")
    return 0 if len(good) else 1


if __name__ == "__main__":
    sys.exit(main())
