#!/usr/bin/env python3
"""Holds the recipes in packaging/ against what CMake builds and looks for. Neither package manager is run."""

import ast
import json
import re
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
CMAKE = (ROOT / "CMakeLists.txt").read_text()
OPTIONS = set(re.findall(r"^option\((KR0_\w+)", CMAKE, re.M))
VERSION = re.search(r"^project\(kr0 VERSION ([0-9.]+)", CMAKE, re.M)[1]

# Where each part is built, and the names that vcpkg and Conan have for what CMake looks for there.
FOLDERS = {"ecore": ["interop/ecore"], "json": ["interop/json"], "tables": ["interop/tables"], "study": ["study"],
           "archive": ["archive", "evolution"], "tool": ["apps/kr0"]}
NAMES = {"pugixml": ("pugixml", "pugixml"), "nlohmann_json": ("nlohmann-json", "nlohmann_json"),
         "SQLite3": ("sqlite3", "sqlite3"), "ZLIB": ("zlib", "zlib"), "libzstd": ("zstd", "zstd"),
         "libxxhash": ("xxhash", "xxhash"), "libcrypto": ("openssl", "openssl"), "CLI11": ("cli11", "cli11")}
OF_THE_SYSTEM = {"PkgConfig", "Threads"}


def looked_for(text: str) -> set[str]:
    """What CMake code looks for beside what every system has."""
    names = set(re.findall(r"find_package\((\w+)", text))
    names |= set(re.findall(r"pkg_check_modules\(\w+ .*?(lib\w+)\)", text))
    return names - OF_THE_SYSTEM


def needs(part: str) -> set[str]:
    """What the code of a part looks for, by CMake's names. The main file looks for what Ecore needs."""
    found = set().union(*(looked_for((ROOT / folder / "CMakeLists.txt").read_text()) for folder in FOLDERS[part]))
    return found | ({"pugixml"} if part == "ecore" else set())


def boost_libraries() -> set[str]:
    """The parts of Boost whose headers are included."""
    found = set()
    for folder in ("include", "src", "interop", "archive", "compare", "evolution", "inspect", "study", "apps"):
        for file in (ROOT / folder).rglob("*.[hc]*"):
            found |= set(re.findall(r"#include <boost/(\w+)", file.read_text(errors="replace")))
    return found


class Vcpkg(unittest.TestCase):
    folder = ROOT / "packaging/vcpkg/ports/kr0"
    manifest = json.loads((folder / "vcpkg.json").read_text())
    portfile = (folder / "portfile.cmake").read_text()

    @staticmethod
    def plain(dependencies: list) -> set[str]:
        return {each for each in dependencies if isinstance(each, str)}

    def test_has_the_version_of_the_project(self) -> None:
        self.assertEqual(self.manifest["version"], VERSION)

    def test_sets_only_options_that_are_there(self) -> None:
        used = set(re.findall(r"\bKR0_BUILD_\w+", self.portfile))
        self.assertTrue(used)
        self.assertLessEqual(used, OPTIONS)

    def test_every_feature_switches_something(self) -> None:
        switched = set(re.findall(r"^    (\w+) KR0_BUILD_", self.portfile, re.M))
        self.assertEqual(switched, set(self.manifest["features"]))

    def test_names_a_package_for_each_library(self) -> None:
        for part, feature in self.manifest["features"].items():
            self.assertEqual(self.plain(feature["dependencies"]), {NAMES[name][0] for name in needs(part)} - self.brought(part), part)

    def brought(self, part: str) -> set[str]:
        """What the features bring that a feature asks for."""
        found = set()
        for dependency in self.manifest["features"][part]["dependencies"]:
            if isinstance(dependency, dict):
                for other in dependency["features"]:
                    found |= self.plain(self.manifest["features"][other]["dependencies"]) | self.brought(other)
        return found

    def test_names_the_parts_of_boost_that_are_included(self) -> None:
        named = {each.removeprefix("boost-") for each in self.plain(self.manifest["dependencies"]) if each.startswith("boost-")}
        self.assertEqual(named, boost_libraries())

    def test_the_base_needs_nothing_else(self) -> None:
        others = {each for each in self.plain(self.manifest["dependencies"]) if not each.startswith("boost-")}
        self.assertEqual(others, {"utfcpp"})


class Conan(unittest.TestCase):
    folder = ROOT / "packaging/conan"
    tree = ast.parse((folder / "conanfile.py").read_text())

    def value(self, name: str) -> object:
        """What is assigned to a name, in the file or in its class."""
        for node in ast.walk(self.tree):
            if isinstance(node, ast.Assign) and [getattr(target, "id", None) for target in node.targets] == [name]:
                return ast.literal_eval(node.value)
        self.fail(f"there is no {name}")

    def test_sets_only_options_that_are_there(self) -> None:
        switches = {switch for part in self.value("PARTS").values() for switch in part[0]}
        self.assertTrue(switches)
        self.assertLessEqual(switches, OPTIONS)

    def test_names_a_package_for_each_library(self) -> None:
        parts = self.value("PARTS")
        for part, (_, packages, others) in parts.items():
            named = {package.partition("/")[0] for package in packages}
            brought = {package.partition("/")[0] for other in others for package in parts[other][1]}
            self.assertEqual(named | brought, {NAMES[name][1] for name in needs(part)} | brought, part)

    def test_every_part_has_its_default(self) -> None:
        defaults = {name for name in self.value("default_options") if ":" not in name}
        self.assertEqual(defaults, set(self.value("PARTS")))

    def test_takes_all_folders_that_a_build_reads(self) -> None:
        taken = next(node for node in ast.walk(self.tree) if isinstance(node, ast.FunctionDef) and node.name == "export_sources")
        patterns = {node.value.rstrip("/*") for node in ast.walk(taken) if isinstance(node, ast.Constant)}
        read = {match.split("/")[0] for match in re.findall(r"add_subdirectory\(([\w/]+)\)", CMAKE)}
        for folder in read - {"tests", "examples", "benchmarks", "fuzz", "python"}:
            self.assertIn(folder, patterns)

    def test_the_program_of_the_test_is_well_formed(self) -> None:
        ast.parse((self.folder / "test_package/conanfile.py").read_text())
        self.assertIn("kr0::binary_io", (self.folder / "test_package/CMakeLists.txt").read_text())


if __name__ == "__main__":
    unittest.main(verbosity=1)
