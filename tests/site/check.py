"""Whether all that the site is to have is on it.

check.py ROOT SITE TOOL
"""

import html
import re
import subprocess
import sys
import xml.etree.ElementTree as ElementTree
from importlib import import_module
from pathlib import Path

from sphinx.util.inventory import InventoryFile

ROOT, SITE, TOOL = Path(sys.argv[1]), Path(sys.argv[2]), sys.argv[3]

# Words, and a page that is found by them.
SEARCHES = {
    "skippable frame": "docs/formats/archive.html",
    "retired": "docs/formats/lock.html",
    "keep-going": "reference/tool/kr0-convert.html",
    "createRoot": "reference/cpp/kr/zero/Model.h.html",
    "to_networkx": "reference/python/index.html",
    "NoWorkers": "reference/python/corpus.html",
}


def text_of(page: str) -> str:
    """What a reader sees of a page, without the list of all pages beside it."""
    source = (SITE / page).read_text(encoding="utf-8")
    article = re.search(r"<article.*?</article>", source, re.DOTALL)
    assert article, page
    return html.unescape(re.sub(r"<[^>]+>", "", article[0]))


def check_pages() -> int:
    """Each page of the guide and of the formats is in the list of its folder, and on the site in that order; so is each example."""
    pages = [ROOT / "docs" / name for name in ("architecture.md", "security.md", "generated-code.md")]
    for folder in ("guide", "formats"):
        listed = re.findall(r"\]\(([\w-]+\.md)\)", (ROOT / "docs" / folder / "README.md").read_text(encoding="utf-8"))
        there = {page.name for page in (ROOT / "docs" / folder).glob("*.md")} - {"README.md"}
        assert sorted(listed) == sorted(there), f"docs/{folder}/README.md lists other pages than there are: {there ^ set(listed)}"
        front = (SITE / "index.html").read_text(encoding="utf-8")
        found = re.findall(rf'class="reference internal" href="docs/{folder}/([\w-]+)\.html"', front)
        order = [name for name in dict.fromkeys(found) if name != "README"]
        assert order == [name.removesuffix(".md") for name in listed], (folder, order)
        pages += [ROOT / "docs" / folder / name for name in listed]
    examples = set(re.findall(r"\]\((\w+)\)", (ROOT / "examples/README.md").read_text(encoding="utf-8")))
    assert examples == {page.name for page in (ROOT / "examples").iterdir() if page.is_dir()}, examples
    pages += [ROOT / "examples" / name / "README.md" for name in sorted(examples)]
    for page in pages:
        title = page.read_text(encoding="utf-8").splitlines()[0].removeprefix("# ")
        on_site = text_of(str(page.relative_to(ROOT).with_suffix(".html")))
        assert title in on_site, page
    return len(pages)


def help_of(words: list[str]) -> str:
    return subprocess.run([TOOL, *words, "--help"], capture_output=True, text=True, check=True).stdout


def check_verbs() -> int:
    """Each verb that the tool's help lists has its page, with each option that its help tells."""
    waiting: list[list[str]] = [[]]
    count = 0
    for words in waiting:
        said = help_of(words)
        page = text_of("reference/tool/" + "-".join(["kr0", *words]) + ".html")
        for option in re.findall(r"^\s+(?:-\w,)?(--[\w-]+)", said, re.MULTILINE):
            assert option in page, (words, option)
        below = said.partition("Subcommands:\n")[2].partition("\n\n")[0]
        waiting += [[*words, name] for name in re.findall(r"^  (\w[\w-]*)", below, re.MULTILINE)]
        count += 1
    return count


def check_classes(inventory: dict[str, dict[str, object]]) -> int:
    """Each class that Doxygen finds in the headers is on the page of one."""
    index = ElementTree.parse(Path(f"{SITE}.work") / "xml" / "index.xml")
    classes = {compound.findtext("name") or "" for compound in index.iterfind("compound") if compound.get("kind") in ("class", "struct")}
    shown = {re.sub(r"<.*>", "", name) for name in inventory["cpp:class"]}
    missing = sorted(name for name in classes if re.sub(r"\s*<.*>", "", name) not in shown)
    assert not missing, f"not on the site: {missing}"
    return len(classes)


def check_python(inventory: dict[str, dict[str, object]]) -> int:
    """Each public name of the package is in the reference, and so is each attribute of its classes."""
    shown = {name for kind, names in inventory.items() if kind.startswith("py:") for name in names}
    count = 0
    for package in ("kr0", "kr0.corpus"):
        module = import_module(package)
        for name in set(module.__all__) - {"__version__"}:
            thing = getattr(module, name)
            of_it = [f"{package}.{name}"]
            if isinstance(thing, type) and thing.__module__.startswith("kr0"):
                of_it += [f"{package}.{name}.{below}" for below in vars(thing) if not below.startswith("_")]
            missing = sorted(set(of_it) - shown)
            assert not missing, f"not on the site: {missing}"
            count += len(of_it)
    return count


def check_search() -> int:
    """A browser that opens the file of the search page finds words."""
    for words, page in SEARCHES.items():
        address = f"{(SITE / 'search.html').as_uri()}?q={words.replace(' ', '+')}"
        browser = ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--virtual-time-budget=20000", "--dump-dom"]
        shown = subprocess.run([*browser, address], capture_output=True, text=True, check=True, timeout=120).stdout
        results = re.search(r'<ul class="search">.*?</ul>', shown, re.DOTALL)
        assert results and f'href="{page}' in results[0], f"{words} is not found on {page}"
    return len(SEARCHES)


def check_broken_links() -> int:
    """The check of links tells those that lead nowhere."""
    broken = SITE / "broken.html"
    broken.write_text('<a href="gone.html">x</a> <a href="index.html#gone">y</a> <a href="../gone">z</a> <a href="index.html">good</a>')
    ran = subprocess.run([sys.executable, ROOT / "docs/site/check_links.py", SITE], capture_output=True, text=True)
    broken.unlink()
    assert ran.returncode == 1 and ran.stdout.endswith(" 3 wrong\n"), ran.stdout
    assert "broken.html: index.html#gone: there is no such anchor" in ran.stderr, ran.stderr
    return 3


def main() -> None:
    with open(SITE / "objects.inv", "rb") as file:
        inventory = InventoryFile.load(file, "", lambda base, name: name)
    print(f"{check_pages()} pages, {check_verbs()} verbs, {check_classes(inventory)} classes, {check_python(inventory)} names of Python, "
          f"{check_search()} searches, {check_broken_links()} broken links told")


if __name__ == "__main__":
    main()
