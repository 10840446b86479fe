"""Sphinx's configuration for the site. scripts/site.sh lays out the sources and says by KR0_SITE_* where things are."""

import logging
import os
import re
from typing import Any

from sphinx.application import Sphinx
from sphinx.util.nodes import make_refnode

project = "kr0"
release = version = os.environ["KR0_SITE_VERSION"]
html_title = f"kr0 {release}"
html_theme = "furo"
html_static_path = ["static"]
html_css_files = ["site.css"]
html_copy_source = False
html_show_copyright = False
extensions = ["myst_parser", "breathe", "sphinx.ext.autodoc"]

# The source folder has links into the tree: pages are these, and nothing else that lies there.
include_patterns = ["index.md", "*.md", "docs/*.md", "docs/guide/*.md", "docs/formats/*.md", "docs/benchmarks/*.md",
                    "examples/README.md", "examples/*/README.md", "fuzz/README.md", "reference/**"]
exclude_patterns = ["README.md"]

# As forges name the anchors of headings.
myst_heading_anchors = 4
myst_enable_extensions = ["deflist"]
highlight_language = "none"
smartquotes = False  # "--" stays what is typed

breathe_projects = {"kr0": os.environ["KR0_SITE_XML"]}
breathe_default_project = "kr0"
breathe_show_include = False
autodoc_member_order = "bysource"
autodoc_typehints = "signature"

# Types in signatures are of the standard library, of pandas and the like, or parameters of templates.
nitpick_ignore_regex = [("cpp:.*", ".*"), ("py:.*", ".*")]

LINK = re.compile(r"\]\(([\w./-]+\.md)\)")
FOLDER = re.compile(r"\]\((\w+)\)")


def add_contents(app: Sphinx, docname: str, source: list[str]) -> None:
    """The pages that the README.md of a folder lists stand below it, in the order of the list."""
    if docname == "examples/README":
        listed = dict.fromkeys(f"{folder}/README" for folder in FOLDER.findall(source[0]))
    elif docname in ("docs/guide/README", "docs/formats/README", "docs/benchmarks/README"):
        listed = dict.fromkeys(page for page in LINK.findall(source[0]) if "/" not in page)
    else:
        return
    source[0] += "\n```{toctree}\n:hidden:\n\n" + "\n".join(listed) + "\n```\n"


def page_of_header(env: Any, id_in_xml: str) -> str | None:
    """The page of a header, whose comments others name by Doxygen's id."""
    return next((name for name, said in env.metadata.items() if said.get("doxygen") == id_in_xml), None)


def page_of_file(env: Any, node: Any) -> str | None:
    """The front page of the site is README.md, and that of a folder the README.md in it."""
    target = os.path.normpath(os.path.join(os.path.dirname(node["refdoc"]), node["reftarget"]))
    if target == "README.md":
        return "index"
    return f"{target}/README" if f"{target}/README" in env.found_docs else None


def resolve(app: Sphinx, env: Any, node: Any, content: Any) -> Any:
    """Where links lead that Sphinx has no answer for."""
    target = None
    if node["reftype"] == "ref" and node["reftarget"].endswith("_8h"):
        target = page_of_header(env, node["reftarget"])
        if not target:
            return content  # a header that has no page, for it declares nothing
    elif node["reftype"] == "any":
        target = page_of_file(env, node)
    return make_refnode(app.builder, node["refdoc"], target, "", content) if target else None


def is_no_namespace(record: logging.LogRecord) -> bool:
    """Namespaces are declared on the page of each header that has a part of them, as they are in the headers."""
    return not re.search(r"Duplicate C\+\+ declaration.*\n.*cpp:type:: [\w:]+'", record.getMessage())


def setup(app: Sphinx) -> None:
    app.connect("source-read", add_contents)
    app.connect("missing-reference", resolve)
    logging.getLogger("sphinx.sphinx.domains.cpp").addFilter(is_no_namespace)
