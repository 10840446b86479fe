"""Whether every block of the pages is run by a test, or stands in not_run.txt with a reason.

not_run.py PAGE...    pages whose blocks tests/pages/run.sh or another test runs
"""

import re
import sys
from collections import Counter
from collections.abc import Iterator
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
RUN = ("cpp", "python", "sh")
BLOCK = re.compile(r"^```(\w*)( \S+)?\n.*?^```$|\n\n((?: {4}[^\n]*\n)+)", re.MULTILINE | re.DOTALL)
ROW = re.compile(r"(\S+)\s+(\w+)\s+(\d+)\s+(\S.*)")


def pages() -> Iterator[Path]:
    yield from sorted(ROOT.glob("*.md"))
    yield from sorted(page for page in ROOT.glob("docs/**/*.md") if page.parent != ROOT / "docs" / "site")
    yield ROOT / "fuzz" / "README.md"


def not_run(page: Path, is_run: bool) -> Counter[str]:
    """How many blocks of each language nothing runs."""
    left: Counter[str] = Counter()
    before = ""
    for language, name, indented in BLOCK.findall(page.read_text(encoding="utf-8")):
        language = "indented" if indented else language or "plain"
        is_file_or_output = name or (language == "text" and before in RUN)
        if not (is_run and (language in RUN or is_file_or_output)):
            left[language] += 1
        before = language
    return left


def main() -> None:
    run = set(sys.argv[1:])
    rows = [ROW.fullmatch(line) for line in (ROOT / "tests/pages/not_run.txt").read_text().splitlines() if line[:1] not in ("#", "")]
    listed = {(row[1], row[2]): int(row[3]) for row in rows if row}
    found = {(name, language): count for page in pages()
             for name in [str(page.relative_to(ROOT))] for language, count in not_run(page, name in run).items()}
    wrong = [f"{page}: {found.get((page, language), 0)} blocks of {language} that no test runs, and not {listed.get((page, language), 0)}"
             for page, language in sorted(found.keys() | listed.keys())
             if found.get((page, language)) != listed.get((page, language))]
    if None in rows:
        wrong.append("not_run.txt: a line is not page, language, number, reason")
    if wrong:
        sys.exit("\n".join(wrong))
    print(f"{sum(found.values())} blocks are listed, all others run")


if __name__ == "__main__":
    main()
