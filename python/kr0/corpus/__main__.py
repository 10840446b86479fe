"""The command kr0-corpus: a job with many documents, from the shell.

Exit codes: 0 done, 1 the job could not be done, 2 the call is wrong, 3 done, and some documents had errors.
"""

from __future__ import annotations

import argparse
import importlib
import logging
import sys
from collections.abc import Callable, Sequence
from typing import TYPE_CHECKING, Any, Optional

import kr0.corpus
from kr0.corpus import results

if TYPE_CHECKING:
    import pandas

DONE, IMPOSSIBLE, SOME_ERRORS = 0, 1, 3

#: What each verb does, and the result that it has for these options.
VERBS: dict[str, tuple[str, Callable[[kr0.corpus.Corpus, argparse.Namespace], Any]]] = {
    "stats": ("tell each document in figures", lambda corpus, given: corpus.stats()),
    "features": ("tell which properties are used", lambda corpus, given: corpus.features()),
    "check": ("tell whether documents keep the rules of their meta model", lambda corpus, given: corpus.check(given.each)),
    "search": (
        "find texts",
        lambda corpus, given: corpus.search(given.text, regex=given.regex, ignore_case=given.ignore_case),
    ),
    "convert": ("write documents in another format", lambda corpus, given: corpus.convert(given.to, given.into)),
    "tables": ("write the elements of all documents as tables", lambda corpus, given: corpus.tables(given.into)),
    "diff": ("compare with documents of the same names", lambda corpus, given: corpus.diff(_other(given), given.each)),
    "map": ("call a function of Python with each model", lambda corpus, given: corpus.map(_function(given.function))),
}


def main(arguments: Optional[Sequence[str]] = None) -> int:
    """Does what the command line says, and returns the exit code."""
    given = parser().parse_args(arguments)
    logging.getLogger("distributed").setLevel(logging.CRITICAL)  # workers that come and go are no news here
    try:
        table = VERBS[given.verb][1](_corpus(given, given.documents), given)
        _show(table, given.output)
    except (kr0.corpus.CorpusError, OSError, ValueError) as problem:
        print(f"kr0-corpus: {problem}", file=sys.stderr)
        return IMPOSSIBLE
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
    if verb == "search":
        parser.add_argument("--text", required=True, help="what to look for")
        parser.add_argument("--regex", action="store_true", help="it is a regular expression")
        parser.add_argument("--ignore-case", action="store_true", help="small and capital letters are the same")
    if verb == "convert":
        parser.add_argument("--to", required=True, metavar="FORMAT", help="krb, krt, krz, xmi or json")
        parser.add_argument("--into", required=True, metavar="FOLDER", help="where the documents go")
    if verb == "tables":
        parser.add_argument("--into", required=True, metavar="OUT", help="a name that ends in .sqlite, .csv or .ndjson")
    if verb == "diff":
        parser.add_argument("--other", required=True, action="append", metavar="GLOB", help="the other documents")
    if verb == "map":
        parser.add_argument("--function", required=True, metavar="MODULE:NAME", help="takes a model, returns a value")
    if verb in ("check", "diff"):
        parser.add_argument("--each", action="store_true", help="a row for each finding")


def _add_common(parser: argparse.ArgumentParser) -> None:
    """The options of all verbs."""
    parser.add_argument("documents", nargs="+", metavar="GLOB", help="such as 'models/**/*.krz'")
    parser.add_argument("-m", "--meta", action="append", default=[], help="an .ecore file; may come several times")
    parser.add_argument("-o", "--output", metavar="OUT", help="the result as .csv, .ndjson or .sqlite; else it is printed")
    parser.add_argument("--scheduler", metavar="ADDRESS", help="of a Dask cluster; else processes of this machine")
    parser.add_argument("--workers", type=int, metavar="N", help="how many processes of this machine")
    parser.add_argument("--memory-limit", metavar="SIZE", help="what one document may take, such as '512 MB'")
    parser.add_argument("-q", "--quiet", action="store_true", help="no progress bar")


def _corpus(given: argparse.Namespace, patterns: Sequence[str]) -> kr0.corpus.Corpus:
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


def _other(given: argparse.Namespace) -> kr0.corpus.Corpus:
    return _corpus(given, given.other)


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


def _show(table: pandas.DataFrame, output: Optional[str]) -> None:
    if output:
        results.write(table, output)
    elif len(table):
        print(results.text(table))


def _told(table: pandas.DataFrame) -> int:
    """The exit code of a job that was done, and a word on standard error where documents had errors."""
    bad = int(table["error"].notna().sum())
    if not bad:
        return DONE
    print(f"kr0-corpus: {bad} document{'s' if bad > 1 else ''} with errors", file=sys.stderr)
    return SOME_ERRORS


if __name__ == "__main__":
    sys.exit(main())
