#!/usr/bin/env python3
"""Holds what scripts/sbom.py says of a build against the build.

    tests/packages/sbom.py BUILD
"""

import hashlib
import json
import subprocess
import sys
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
BUILD = Path(sys.argv.pop())


class Sbom(unittest.TestCase):
    @classmethod
    def setUpClass(cls) -> None:
        said = subprocess.run([ROOT / "scripts/sbom.py", BUILD], capture_output=True, text=True, check=True).stdout
        cls.document = json.loads(said)
        cls.names = {each["SPDXID"]: each["name"] for each in cls.document["packages"]}

    def related(self, one: str, how: str) -> set[str]:
        """The names of what is related to a package of this name."""
        return {self.names[each["relatedSpdxElement"]] for each in self.document["relationships"]
                if self.names.get(each["spdxElementId"]) == one and each["relationshipType"] == how}

    def test_has_what_the_standard_asks_of_every_document(self) -> None:
        for member in ("spdxVersion", "dataLicense", "SPDXID", "name", "documentNamespace", "creationInfo"):
            self.assertIn(member, self.document)
        for package in self.document["packages"]:
            for member in ("SPDXID", "name", "downloadLocation", "licenseConcluded", "licenseDeclared", "copyrightText"):
                self.assertIn(member, package)
            self.assertRegex(package["SPDXID"], r"^SPDXRef-[A-Za-z0-9.-]+$")
        self.assertEqual(len(self.names), len(self.document["packages"]), "identities occur twice")

    def test_relates_only_what_it_describes(self) -> None:
        known = set(self.names) | {"SPDXRef-DOCUMENT"}
        for relation in self.document["relationships"]:
            self.assertIn(relation["spdxElementId"], known)
            self.assertIn(relation["relatedSpdxElement"], known)
        self.assertIn("DESCRIBES", {each["relationshipType"] for each in self.document["relationships"]})

    def test_tells_every_library_and_the_tool_with_their_digests(self) -> None:
        made = {path.resolve() for path in BUILD.rglob("libkr0_*.so.*")} | {BUILD.resolve() / "apps/kr0/kr0"}
        told = {each["packageFileName"]: {sum["algorithm"]: sum["checksumValue"] for sum in each["checksums"]}
                for each in self.document["packages"] if "packageFileName" in each}
        for path in made:
            self.assertEqual(told[path.name]["SHA256"], hashlib.sha256(path.read_bytes()).hexdigest(), path.name)

    def test_tells_what_is_loaded_and_what_is_compiled_in(self) -> None:
        self.assertIn("libpugixml1v5", self.related("target-kr0_ecore", "DYNAMIC_LINK"))
        self.assertTrue({"libzstd1", "libxxhash0", "zlib1g"} <= self.related("target-kr0_archive", "DYNAMIC_LINK"))
        self.assertIn("libutfcpp-dev", self.related("target-kr0_framework", "STATIC_LINK"))
        self.assertTrue({"libcli11-dev", "nlohmann-json3-dev"} <= self.related("target-kr0", "STATIC_LINK"))

    def test_tells_what_the_page_of_reports_is_made_of(self) -> None:
        page = BUILD / "report/report.html.gz"
        if not page.exists() or page.stat().st_size == 0:
            self.skipTest("the tool was built without the page")
        self.assertEqual(self.related("target-kr0", "CONTAINS"), {"npm-elkjs", "npm-d3-hierarchy"})

    def test_the_formats_need_nothing_but_boost_and_a_text_converter(self) -> None:
        for part in ("target-kr0_framework", "target-kr0_binary_io"):
            self.assertEqual(self.related(part, "DYNAMIC_LINK") - {"libc6", "libgcc-s1", "libstdc++6"}, set())
            others = {name for name in self.related(part, "STATIC_LINK") if not name.startswith("libboost")}
            self.assertLessEqual(others, {"libutfcpp-dev"})


if __name__ == "__main__":
    if subprocess.run(["sh", "-c", "command -v dpkg ninja readelf"], stdout=subprocess.DEVNULL).returncode != 0 \
            or not (BUILD / "build.ninja").exists():
        print("skipped: this needs dpkg, readelf and a build by Ninja")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1], verbosity=2)
