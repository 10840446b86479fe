"""Pages of the site from Doxygen's XML: one for each library, and one for each of its headers.

header_pages.py ROOT XML OUT

What Breathe would not show well is changed in the XML before: namespaces in which a header declares nothing itself would stand
there empty, members with a comment in common would be "Unnamed Group", and classes that are only declared are in no header.
"""

import sys
import xml.etree.ElementTree as ElementTree
from pathlib import Path

# What is read beside a library's name, by the folder of its headers.
LIBRARIES = {
    "src/framework/include": ("framework", "Meta models, models and what goes through them"),
    "include": ("binary_io", "The binary formats"),
    "archive/include": ("archive", "Documents with their meta model"),
    "interop/ecore/include": ("ecore", "Ecore and XMI"),
    "interop/json/include": ("json", "Models as JSON"),
    "interop/tables/include": ("tables", "Tables and queries"),
    "study/include": ("study", "Figures and digests"),
    "compare/include": ("compare", "Differences and merges"),
    "inspect/include": ("inspect", "Bytes with their meaning, and damaged documents"),
    "evolution/include": ("evolution", "Meta models that change"),
}


def check_libraries(root: Path, xml: Path) -> None:
    """The table above has what Doxygen reads, which is all that is installed."""
    options = ElementTree.parse(xml / "Doxyfile.xml").getroot()
    read = {value.text.strip('"') for value in options.findall("option[@id='INPUT']/value") if value.text}
    known = {str(root / folder) for folder in LIBRARIES}
    if read != known:
        sys.exit(f"header_pages.py and Doxyfile.in name different folders: {sorted(read ^ known)}")


def declared_by_namespace(xml: Path) -> dict[str, set[str]]:
    """Headers that declare functions, types and the like in a namespace, by its id."""
    declared: dict[str, set[str]] = {}
    for file in xml.glob("namespace*.xml"):
        compound = ElementTree.parse(file).find("compounddef")
        assert compound is not None
        declared[compound.attrib["id"]] = {place.attrib["file"] for place in compound.iterfind("sectiondef/memberdef/location")}
    return declared


def name_groups(xml: Path) -> None:
    """Members with one comment in common are of the kind that the first of them is."""
    in_class = {"function": "public-func", "variable": "public-attrib", "typedef": "public-type"}
    in_namespace = {"function": "func", "variable": "var", "typedef": "typedef"}
    for file in xml.glob("*.xml"):
        document = ElementTree.parse(file)
        groups = document.findall("compounddef/sectiondef[@kind='user-defined']")
        for group in groups:
            first = group.find("memberdef")
            assert first is not None
            kinds = in_class if document.find("compounddef[@kind='namespace']") is None else in_namespace
            group.attrib["kind"] = kinds[first.attrib["kind"]]
        if groups:
            document.write(file, encoding="utf-8", xml_declaration=True)


def only_declared(xml: Path) -> dict[str, list[ElementTree.Element]]:
    """References to classes of which a header has no more than the name, by header."""
    found: dict[str, list[ElementTree.Element]] = {}
    for file in [*xml.glob("class*.xml"), *xml.glob("struct*.xml")]:
        compound = ElementTree.parse(file).find("compounddef")
        assert compound is not None
        if compound.find("location[@bodyend='-1']") is not None:
            reference = ElementTree.Element("innerclass", refid=compound.attrib["id"], prot="public")
            reference.text = compound.findtext("compoundname")
            found.setdefault(compound.find("location").attrib["file"], []).append(reference)  # type: ignore[union-attr]
    return found


def summary(compound: ElementTree.Element) -> str:
    """The first sentence of what a header says of itself, or else of the first class in it."""
    for kind in ("briefdescription", "detaileddescription"):
        paragraph = compound.find(f"{kind}/para")
        text = " ".join("".join(paragraph.itertext()).split()) if paragraph is not None else ""
        if text:
            return text.split(". ")[0].rstrip(".:") + "."
    return ""


def write_header(out: Path, path: str, id_in_xml: str) -> None:
    file = out / f"{path}.rst"
    file.parent.mkdir(parents=True, exist_ok=True)
    # Examples in comments are C++, and some leave out what does not matter.
    file.write_text(f":doxygen: {id_in_xml}\n\n.. highlight:: cpp\n   :force:\n\n{path}\n{'=' * len(path)}\n\n"
                    f"``#include <{path}>``\n\n.. doxygenfile:: {path}\n")


def main() -> None:
    root, xml, out = (Path(name) for name in sys.argv[1:])
    check_libraries(root, xml)
    name_groups(xml)
    declared, names_of_classes = declared_by_namespace(xml), only_declared(xml)
    out.mkdir(parents=True, exist_ok=True)
    summaries: dict[str, str] = {}
    for file in xml.glob("*_8h.xml"):
        document = ElementTree.parse(file)
        compound = document.find("compounddef")
        assert compound is not None
        path = compound.find("location").attrib["file"]  # type: ignore[union-attr]
        for namespace in compound.findall("innernamespace"):
            if path not in declared[namespace.attrib["refid"]]:
                compound.remove(namespace)
        compound.extend(names_of_classes.get(path, []))
        document.write(file, encoding="utf-8", xml_declaration=True)
        if all(compound.find(kind) is None for kind in ("innernamespace", "innerclass", "sectiondef")):
            continue  # nothing that a program names
        summaries[path] = summary(compound)
        write_header(out, path, compound.attrib["id"])
    for folder, (name, title) in LIBRARIES.items():
        headers = sorted(path for path in summaries if (root / folder / path).exists())
        lines = [f"# kr0::{name}", f"{title}.", "| header | |\n|---|---|"]
        lines[-1] += "".join(f"\n| [`{path}`]({path}.rst) | {summaries[path]} |" for path in headers)
        lines += ["```{toctree}\n:hidden:\n", *headers, "```"]
        (out / f"{name}.md").write_text("\n\n".join(lines[:3]) + "\n\n" + "\n".join(lines[3:]) + "\n")
    rows = "".join(f"\n| [`kr0::{name}`]({name}.md) | {title} |" for name, title in LIBRARIES.values())
    names = "\n".join(name for name, _ in LIBRARIES.values())
    (out / "index.md").write_text(
        "# C++\n\nEverything that is installed, by library; `#include <kr0/kr0.h>` brings what most programs need.\n\n"
        f"| library | |\n|---|---|{rows}\n\n```{{toctree}}\n:hidden:\n\n{names}\n```\n")


if __name__ == "__main__":
    main()
