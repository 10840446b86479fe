"""Pages of the site from the manual pages of the tool, which it prints itself: a page per verb.

tool_pages.py MANUAL_PAGES OUT

Knows what apps/kr0/ManPage.cpp writes of the macros of man(7), and refuses everything else.
"""

import re
import sys
from pathlib import Path
from typing import NoReturn


def fail(page: str, line: str) -> NoReturn:
    sys.exit(f"{page}: not known in manual pages: {line}")


def literal(text: str) -> str:
    """Text as it is, of what roff spells its own way."""
    return text.removeprefix("\\&").replace("\\-", "-").replace("\\e", "\\")


def escaped(text: str) -> str:
    return re.sub(r"([\\`*_{}\[\]<>#|])", r"\\\1", literal(text))


def inline(text: str) -> str:
    """What is bold is typed as it stands there, what is italic stands for something."""
    out = ""
    for bold, italic, plain in re.findall(r"\\fB(.*?)\\fR|\\fI(.*?)\\fR|((?:(?!\\f[BI]).)+)", text):
        out += f"`{literal(bold)}`" if bold else f"*{escaped(italic)}*" if italic else escaped(plain)
    return out


class Page:
    """What is to be written of one manual page."""

    def __init__(self, name: str, text: str) -> None:
        self.name = name
        # Of the words of the call, for a verb may have a dash in it.
        synopsis = re.search(r"^\.SH SYNOPSIS\n\\fB(.*?)\\fR", text, re.MULTILINE)
        if not synopsis:
            fail(name, "no synopsis")
        self.title = literal(synopsis[1])
        self.lines: list[str] = []
        self.read(text.splitlines())

    def read(self, lines: list[str]) -> None:
        section, is_literal, term = "", False, 0
        for line in lines:
            if line == ".nf" or line == ".fi":
                is_literal = line == ".nf"
                self.lines.append("```text" if is_literal else "```\n")
            elif is_literal:
                self.lines.append(literal(line))
            elif line.startswith(".SH "):
                section = line[4:]
                if section not in ("NAME", "NOTES"):
                    self.lines.append(f"\n## {section.capitalize()}\n")
            elif line == ".TP":
                term = 2
            elif line.startswith("."):
                if not line.startswith(".TH "):
                    fail(self.name, line)
            elif section == "NAME":
                deed = line.partition(" \\- ")[2]
                self.lines.append(f"# {self.title}\n\n{inline(deed)}.")
            else:
                term -= 1
                # A term, and what it means, as a definition list.
                self.lines.append(f"\n{inline(line)}" if term == 1 else f": {inline(line)}" if term == 0 else inline(line))

    def link_verbs(self, files: dict[str, str]) -> None:
        """Verbs below this one, which stand in its list, lead to their pages."""
        below = [title for title in files if title.rpartition(" ")[0] == self.title]
        for title in below:
            self.lines[self.lines.index(f"\n`{title}`")] = f"\n[`{title}`]({files[title]}.md)"
        if below:
            self.lines += ["\n```{toctree}\n:hidden:\n", *(files[title] for title in below), "```"]


def main() -> None:
    manual, out = Path(sys.argv[1]), Path(sys.argv[2])
    out.mkdir(parents=True, exist_ok=True)
    pages = [Page(file.stem, file.read_text()) for file in sorted(manual.glob("*.1"))]
    files = {page.title: page.name for page in pages}
    for page in pages:
        page.link_verbs(files)
        (out / f"{page.name}.md").write_text("\n".join(page.lines) + "\n")


if __name__ == "__main__":
    main()
