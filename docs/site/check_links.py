"""Whether each link of the site leads somewhere: to a file of it, and to an anchor that is in there.

check_links.py [--external] SITE

Links that lead out of the site are listed, and followed with --external.
"""

import argparse
import sys
import urllib.error
import urllib.request
from html.parser import HTMLParser
from pathlib import Path
from urllib.parse import unquote, urlsplit

# Where pages name other files.
LINKING = {"a": "href", "link": "href", "img": "src", "script": "src", "source": "src"}


class Page(HTMLParser):
    """Links and anchors of a page."""

    def __init__(self, file: Path) -> None:
        super().__init__()
        self.links: set[str] = set()
        self.anchors: set[str] = {""}
        self.feed(file.read_text(encoding="utf-8"))

    def handle_starttag(self, tag: str, attributes: list[tuple[str, str | None]]) -> None:
        values = dict(attributes)
        self.anchors.update(value for name in ("id", "name") if (value := values.get(name)))
        if link := values.get(LINKING.get(tag, "")):
            self.links.add(link)


def check_inside(site: Path, pages: dict[Path, Page]) -> list[str]:
    """A sentence for each link that leads nowhere."""
    wrong = []
    for file, page in pages.items():
        for link in sorted(page.links):
            parts = urlsplit(link)
            if parts.scheme or parts.netloc:
                continue
            target = (file.parent / unquote(parts.path)).resolve() if parts.path else file
            place = f"{file.relative_to(site)}: {link}"
            if not target.is_relative_to(site):
                wrong.append(f"{place} leads out of the site")
            elif not target.is_file():
                wrong.append(f"{place} leads nowhere")
            elif target in pages and unquote(parts.fragment) not in pages[target].anchors:
                wrong.append(f"{place}: there is no such anchor")
    return wrong


def check_outside(link: str) -> str | None:
    """What is wrong with a link that leads out of the site."""
    request = urllib.request.Request(link, headers={"User-Agent": "Mozilla/5.0"})
    try:
        with urllib.request.urlopen(request, timeout=30):
            return None
    except (urllib.error.URLError, OSError) as error:
        return f"{link}: {error}"


def main() -> None:
    parser = argparse.ArgumentParser()
    parser.add_argument("--external", action="store_true")
    parser.add_argument("site", type=Path)
    options = parser.parse_args()
    site = options.site.resolve()
    pages = {file: Page(file) for file in sorted(site.rglob("*.html"))}
    wrong = check_inside(site, pages)
    outside = sorted({link for page in pages.values() for link in page.links if urlsplit(link).scheme in ("http", "https")})
    if options.external:
        wrong += [said for link in outside if (said := check_outside(link))]
    else:
        print("\n".join(f"not followed: {link}" for link in outside))
    if not pages:
        wrong = ["there are no pages"]
    print("\n".join(wrong), file=sys.stderr, end="\n" if wrong else "")
    print(f"{len(pages)} pages, {sum(len(page.links) for page in pages.values())} links, {len(wrong)} wrong")
    sys.exit(1 if wrong else 0)


if __name__ == "__main__":
    main()
