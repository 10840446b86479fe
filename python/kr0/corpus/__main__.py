"""The command kr0-corpus: a job with many documents, from the shell.

Exit codes: 0 done, 1 the job could not be done, 2 the call is wrong, 3 some documents had errors.
"""

from __future__ import annotations

import argparse
import importlib
import logging
import sys
from collections.abc import Callable, Sequence
from typing import TYPE_CHECKING, Any

import kr0.corpus
from kr0.corpus import results

if TYPE_CHECKING:
    import pandas

DONE, IMPOSSIBLE, SOME_ERRORS, INTERRUPTED = 0, 1, 3, 130

Given = argparse.Namespace
Verb = Callable[[kr0.corpus.Corpus, Given], "pandas.DataFrame"]


def _search(corpus: kr0.corpus.Corpus, given: Given) -> pandas.DataFrame:
    return corpus.search(given.text, regex=given.regex, ignore_case=given.ignore_case)


def _diff(corpus: kr0.corpus.Corpus, given: Given) -> pandas.DataFrame:
    return corpus.diff(_corpus(given, given.other), given.each)


#: What each verb does in a few words, and in fact.
VERBS: dict[str, tuple[str, Verb]] = {
    "stats": ("tell each document in figures", lambda corpus, _: corpus.stats()),
    "features": ("tell which properties are used", lambda corpus, _: corpus.features()),
    "check": (
        "tell whether documents keep the rules of their meta model",
        lambda corpus, given: corpus.check(given.each),
    ),
    "search": ("find texts", _search),
    "convert": (
        "write documents in another format",
        lambda corpus, given: corpus.convert(given.to, given.into),
    ),
    "tables": (
        "write the elements of all documents as tables",
        lambda corpus, given: corpus.tables(given.into),
    ),
    "diff": ("compare with documents of the same names", _diff),
    "map": (
        "call a function of Python with each model",
        lambda corpus, given: corpus.map(_function(given.function)),
    ),
}


def main(arguments: Sequence[str] | None = None) -> int:
    """Does what the command line says, and returns the exit code."""
    given = parser().parse_args(arguments)
    logging.getLogger("distributed").setLevel(logging.CRITICAL)  # it tells of lost connections, too
    try:
        table = VERBS[given.verb][1](_corpus(given, given.documents), given)
        _show(table, given.output)
    except (kr0.corpus.CorpusError, OSError, ValueError) as problem:
        print(f"kr0-corpus: {problem}", file=sys.stderr)
        return IMPOSSIBLE
    except KeyboardInterrupt:
        return INTERRUPTED
    return _told(table)


def parser() -> argparse.ArgumentParser:
    """The options of all verbs."""
    top = argparse.ArgumentParser(prog="kr0-corpus", description=__doc__)
    verbs = top.add_subparsers(dest="verb", required=True, metavar="VERB")
    for verb, (help_, _) in VERBS.items():
        one = verbs.add_parser(verb, help=help_, description=f"{help_[0].upper()}{help_[1:]}.")
        _add_own(one, verb)
        _add_common(one)
    return top


def _add_own(parser: argparse.ArgumentParser, verb: str) -> None:
    """The options of one verb."""

    def need(name: str, metavar: str, help: str) -> None:
        parser.add_argument(name, required=True, metavar=metavar, help=help)

    def may(name: str, help: str) -> None:
        parser.add_argument(name, action="store_true", help=help)

    if verb == "search":
        need("--text", "TEXT", "what to look for")
        may("--regex", "it is a regular expression")
        may("--ignore-case", "small and capital letters are the same")
    if verb == "convert":
        need("--to", "FORMAT", "krb, krt, krz, xmi or json")
        need("--into", "FOLDER", "where the documents go")
    if verb == "tables":
        need("--into", "OUT", "a name that ends in .sqlite, .csv or .ndjson")
    if verb == "diff":
        need("--other", "GLOB", "the documents to compare with")
    if verb == "map":
        need("--function", "MODULE:NAME", "takes a model and returns a value")
    if verb in ("check", "diff"):
        may("--each", "a row for each finding")


def _add_common(parser: argparse.ArgumentParser) -> None:
    """The options of all verbs."""

    def may(*names: str, help: str, **more: Any) -> None:
        parser.add_argument(*names, help=help, **more)

    may("documents", nargs="+", metavar="GLOB", help="such as 'models/**/*.krz'")
    may("-m", "--meta", action="append", default=[], help="an .ecore file; may come several times")
    may("-o", "--output", metavar="OUT", help="result as .csv, .ndjson or .sqlite; else printed")
    may("--scheduler", metavar="ADDRESS", help="of a Dask cluster; else processes of this machine")
    may("--workers", type=int, metavar="N", help="how many processes of this machine")
    may("--memory-limit", metavar="SIZE", help="what a document may take, such as '512 MB'")
    may("-q", "--quiet", action="store_true", help="no progress bar")


def _corpus(given: Given, patterns: str | Sequence[str]) -> kr0.corpus.Corpus:
    if given.output:
        results.refuse_suffix(given.output)
    return kr0.corpus.open(
        patterns,
        meta=given.meta,
        scheduler=given.scheduler,
        workers=given.workers,
        memory_limit=given.memory_limit,
        progress=False if given.quiet else None,
    )


def _function(name: str) -> Callable[[kr0.Model], Any]:
    """The function MODULE:NAME. Raises ValueError where there is none."""
    module, _, attribute = name.partition(":")
    sys.path.insert(0, "")  # modules of the folder that the command is called in
    try:
        function = getattr(importlib.import_module(module), attribute)
    except (ImportError, AttributeError, ValueError) as problem:
        raise ValueError(f"{name} is no function: {problem}") from problem
    if not callable(function):
        raise ValueError(f"{name} is no function")
    return function  # type: ignore[no-any-return]


def _show(table: pandas.DataFrame, output: str | None) -> None:
    if output:
        results.write(table, output)
    elif len(table):
        print(results.text(table))


def _told(table: pandas.DataFrame) -> int:
    """The exit code of a job that was done; a word on standard error tells of bad documents."""
    bad = int(table["error"].notna().sum())
    if not bad:
        return DONE
    print(f"kr0-corpus: {bad} document{'s' if bad > 1 else ''} with errors", file=sys.stderr)
    return SOME_ERRORS


if __name__ == "__main__":
    sys.exit(main())
