#!/usr/bin/env python3
"""Writes what a build is made of, as an SPDX 2.3 document (JSON).

    scripts/sbom.py build/packages -o kr0-0.1.0.spdx.json

Nothing in it is told by hand. What the build made (libraries, tool, Python module) is told with its digest. What each of these
took from the system comes from two places: the libraries that the linker wrote into it, and the headers that the compiler
read for it (Ninja keeps them). dpkg says which package, and which version of it, a file belongs to; where there is no dpkg, the
file itself is told. Of the page that the tool holds, the lock file of web/report says what went into it.

Licences of other packages are those that their own copyright files declare in the form that machines read; of the
others the document says NOASSERTION.
"""

import argparse
import hashlib
import json
import os
import re
import shutil
import subprocess
import sys
from collections import defaultdict
from datetime import datetime, timezone
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent


def output_of(*command: object) -> str:
    """What a command prints; a command that fails ends the program with its words."""
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(f"sbom.py: {command[0]} failed: {done.stderr.strip() or done.stdout.strip()}")
    return done.stdout


def version() -> str:
    """The version, which stands in CMakeLists.txt alone."""
    return re.search(r"^project\(kr0 VERSION ([0-9.]+)", (ROOT / "CMakeLists.txt").read_text(), re.M)[1]


def created() -> str:
    """When: told by SOURCE_DATE_EPOCH where documents must have the same bytes each time."""
    seconds = os.environ.get("SOURCE_DATE_EPOCH")
    when = datetime.fromtimestamp(int(seconds), timezone.utc) if seconds else datetime.now(timezone.utc)
    return when.strftime("%Y-%m-%dT%H:%M:%SZ")


# --- What the build made


def artefacts(build: Path) -> dict[str, Path]:
    """Libraries, the tool and the Python module, by the name of their target."""
    found = {path.name.split(".")[0].removeprefix("lib"): path.resolve()
             for path in sorted(build.rglob("libkr0_*.so.*")) if not path.is_symlink()}
    found.update({"kr0": path for path in build.glob("apps/kr0/kr0")})
    found.update({"kr0_python": path for path in build.glob("python/kr0/_core.*.so")})
    if not found:
        sys.exit(f"sbom.py: {build} holds no libraries; build first")
    return found


def headers_by_target(build: Path) -> dict[str, set[Path]]:
    """The headers of the system that the compiler read, by target."""
    headers: dict[str, set[Path]] = defaultdict(set)
    target = None
    for line in output_of("ninja", "-C", build, "-t", "deps").splitlines():
        if not line.startswith(" "):
            match = re.search(r"CMakeFiles/([^/]+)\.dir/", line)
            target = match[1].removesuffix("_objects") if match else None
            target = "kr0" if target == "kr0_cpp" else target  # a part of the tool
        elif target:
            path = Path(os.path.normpath(build / line.strip()))
            if not path.is_relative_to(ROOT) and not path.is_relative_to(build):
                headers[target].add(path)
    return headers


def compiler_of(build: Path) -> Path:
    """The compiler itself, and not what leads to it."""
    named = re.search(r"^CMAKE_CXX_COMPILER:\w+=(.+)$", (build / "CMakeCache.txt").read_text(), re.M)
    if not named:
        sys.exit(f"sbom.py: {build} has no compiler for C++")
    # A preset that gives a name without a folder leaves it so.
    return Path(os.path.realpath(shutil.which(named[1]) or named[1]))


def linked_libraries(artefact: Path) -> set[Path]:
    """The libraries of the system that the loader gives to an artefact, by what is written into the artefact alone."""
    needed = set(re.findall(r"\(NEEDED\).*\[(.+)\]", output_of("readelf", "-d", artefact)))
    found = re.findall(r"^\s*(\S+) => (/\S+)", output_of("ldd", artefact), re.M)
    return {Path(os.path.realpath(path)) for name, path in found if name in needed and not name.startswith("libkr0_")}


# --- Whose a file is


class Packages:
    """Packages of the system, by the files that belong to them."""

    def __init__(self, files: set[Path]) -> None:
        self.owners = self._owners(files)
        self.known = {owner: self._fields(owner) for owner in sorted(set(self.owners.values()))}

    @staticmethod
    def _owners(files: set[Path]) -> dict[Path, str]:
        # Where /lib leads to /usr/lib, dpkg knows a file by either name.
        names = {str(file) for file in files}
        names |= {name.removeprefix("/usr") for name in names if name.startswith("/usr/lib")}
        owners = {}
        try:
            said = subprocess.run(["dpkg", "--search", *sorted(names)], capture_output=True, text=True).stdout
        except FileNotFoundError:
            said = ""
        for line in said.splitlines():
            owner, _, path = line.partition(": ")
            if not line.startswith("diversion"):
                owners[Path(path)] = owners[Path("/usr" + path)] = owner.split(",")[0]
        return {file: owners.get(file, str(file)) for file in files}

    @staticmethod
    def _fields(owner: str) -> dict[str, str]:
        if owner.startswith("/"):
            return {"name": owner, "version": "", "source": owner}
        said = output_of("dpkg-query", "-W", "-f", "${Package}\n${Version}\n${source:Package}\n${Architecture}\n", owner)
        name, number, source, machine = said.split("\n")[:4]
        return {"name": name, "version": number, "source": source, "architecture": machine}

    def of(self, files: set[Path]) -> set[str]:
        return {self.owners[file] for file in files}


def declared_licence(package: str) -> str:
    """What a package declares for all of it that has no rule of its own, where that is the name of a licence."""
    try:
        text = Path(f"/usr/share/doc/{package}/copyright").read_text(errors="replace")
    except OSError:
        return "NOASSERTION"
    match = re.search(r"^Files:\s*\*\s*\n(?:.+\n)*?License:\s*(\S+)\s*$", text, re.M)
    names = {"Expat": "MIT", "BSL-1.0": "BSL-1.0", "Boost-1.0": "BSL-1.0", "zlib": "Zlib", "Zlib": "Zlib",
             "Apache-2.0": "Apache-2.0", "BSD-3-clause": "BSD-3-Clause", "BSD-3-Clause": "BSD-3-Clause",
             "BSD-2-clause": "BSD-2-Clause", "BSD-2-Clause": "BSD-2-Clause", "MIT": "MIT", "ISC": "ISC"}
    return names.get(match[1], "NOASSERTION") if match else "NOASSERTION"


# --- The document


class Document:
    """An SPDX document that grows."""

    def __init__(self) -> None:
        self.packages: dict[str, dict] = {}
        self.relations: list[dict] = []

    @staticmethod
    def identity(name: str) -> str:
        return "SPDXRef-" + re.sub(r"[^A-Za-z0-9.-]", "-", name)

    def add(self, name: str, number: str = "", licence: str = "NOASSERTION", purl: str = "", **more: object) -> str:
        identity = self.identity(f"{name}-{number}" if number else name)
        package = {"SPDXID": identity, "name": name, "downloadLocation": "NOASSERTION", "filesAnalyzed": False,
                   "licenseConcluded": "NOASSERTION", "licenseDeclared": licence, "copyrightText": "NOASSERTION"}
        if number:
            package["versionInfo"] = number
        if purl:
            package["externalRefs"] = [{"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl",
                                        "referenceLocator": purl}]
        self.packages[identity] = {**package, **more}
        return identity

    def relate(self, one: str, how: str, other: str, why: str = "") -> None:
        relation = {"spdxElementId": one, "relationshipType": how, "relatedSpdxElement": other}
        self.relations.append({**relation, "comment": why} if why else relation)

    def text(self) -> str:
        name = f"kr0-{version()}"
        content = {"packages": sorted(self.packages.values(), key=lambda each: each["SPDXID"]),
                   "relationships": sorted(self.relations, key=lambda each: list(map(str, each.values())))}
        digest = hashlib.sha256(json.dumps(content, sort_keys=True).encode()).hexdigest()
        return json.dumps({
            "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT", "name": name,
            "documentNamespace": f"https://spdx.org/spdxdocs/{name}-{digest[:32]}",
            "creationInfo": {"created": created(), "creators": ["Tool: kr0-sbom"]}, **content}, indent=1) + "\n"


def digests(path: Path) -> list[dict[str, str]]:
    return [{"algorithm": name, "checksumValue": hashlib.new(name, path.read_bytes()).hexdigest()} for name in ("SHA1", "SHA256")]


def add_system_packages(document: Document, packages: Packages) -> dict[str, str]:
    """Their identities in the document, by owner."""
    release = {}
    if Path("/etc/os-release").exists():
        release = dict(re.findall(r'^(\w+)="?([^"\n]*)', Path("/etc/os-release").read_text(), re.M))
    identities = {}
    for owner, fields in packages.known.items():
        name, number = fields["name"], fields["version"]
        purl = ""
        if number:
            purl = f"pkg:deb/{release.get('ID', 'debian')}/{name}@{number}?arch={fields['architecture']}"
        identities[owner] = document.add(name, number, declared_licence(name), purl)
    return identities


def add_page(document: Document, tool: str) -> None:
    """What the page of `kr0 report` is made of."""
    lock = ROOT / "web/report/package-lock.json"
    for place, package in json.loads(lock.read_text())["packages"].items():
        if place and not package.get("dev"):
            name = place.rpartition("node_modules/")[2]
            number = package["version"]
            purl = f"pkg:npm/{name.replace('@', '%40')}@{number}"
            identity = document.add(f"npm-{name}", number, package.get("license", "NOASSERTION"), purl)
            document.relate(tool, "CONTAINS", identity, "in the page that kr0 report fills in")


def describe(build: Path) -> Document:
    made = artefacts(build)
    headers = headers_by_target(build)
    linked = {name: linked_libraries(path) for name, path in made.items()}
    compiler = compiler_of(build)
    packages = Packages({file for name in made for file in headers[name] | linked[name]} | {compiler})
    # Whatever is compiled here takes headers of the kernel, and of the compiler itself.
    everywhere = {"linux", packages.known[packages.owners[compiler]]["source"]}

    document = Document()
    whole = document.add("kr0", version(), "Apache-2.0", f"pkg:generic/kr0@{version()}",
                         primaryPackagePurpose="LIBRARY")
    document.relate("SPDXRef-DOCUMENT", "DESCRIBES", whole)
    identities = add_system_packages(document, packages)
    document.relate(identities[packages.owners[compiler]], "BUILD_TOOL_OF", whole)
    for name, path in made.items():
        # The tool has the name of the whole.
        part = document.add(f"target-{name}", version(), "Apache-2.0", packageFileName=path.name, checksums=digests(path))
        document.relate(whole, "CONTAINS", part)
        loaded = packages.of(linked[name])
        for owner in loaded:
            document.relate(part, "DYNAMIC_LINK", identities[owner])
        sources = {packages.known[owner]["source"] for owner in loaded} | everywhere
        for owner in packages.of(headers[name]) - loaded:
            if packages.known[owner]["source"] in sources:
                document.relate(identities[owner], "BUILD_DEPENDENCY_OF", part, "headers of what is there when it runs")
            else:
                document.relate(part, "STATIC_LINK", identities[owner], "compiled in from headers")
    page = build / "report/report.html.gz"
    if page.exists() and page.stat().st_size > 0:
        add_page(document, Document.identity(f"target-kr0-{version()}"))
    return document


def main() -> None:
    arguments = argparse.ArgumentParser(description="Writes what a build is made of, as an SPDX document.")
    arguments.add_argument("build", type=Path, help="folder of a build by Ninja")
    arguments.add_argument("-o", "--output", type=Path, help="file to write; else it is printed")
    options = arguments.parse_args()
    text = describe(options.build.resolve()).text()
    if options.output:
        options.output.write_text(text)
    else:
        sys.stdout.write(text)


if __name__ == "__main__":
    main()
