"""Recipe for Conan 2: builds and packs what the options ask for."""

import os
import re

from conan import ConanFile
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy
from conan.tools.gnu import PkgConfigDeps

# By option: the options of CMake that it sets, what it needs of other packages, and of other options.
PARTS = {
    "ecore": (["KR0_BUILD_ECORE"], ["pugixml/1.14"], []),
    "json": (["KR0_BUILD_JSON"], ["nlohmann_json/3.11.3"], []),
    "tables": (["KR0_BUILD_TABLES"], ["sqlite3/3.45.3"], []),
    "study": (["KR0_BUILD_STUDY"], ["openssl/3.3.2"], []),
    "archive": (["KR0_BUILD_ARCHIVE", "KR0_BUILD_EVOLUTION"],
                ["nlohmann_json/3.11.3", "zstd/1.5.6", "xxhash/0.8.2", "zlib/1.3.1"], ["ecore"]),
    "tool": (["KR0_BUILD_TOOL"], ["cli11/2.4.2"], ["archive", "json", "study"]),
}


class Kr0Conan(ConanFile):
    name = "kr0"
    description = "Compact binary storage for models and the meta models that describe them"
    license = "Apache-2.0"
    topics = ("model", "meta-model", "serialization", "binary")
    package_type = "shared-library"
    settings = "os", "arch", "compiler", "build_type"
    options = {part: [True, False] for part in PARTS}
    default_options = {"ecore": True, "json": True, "tables": False, "study": False, "archive": True, "tool": False,
                       "boost/*:header_only": True}

    def set_version(self):
        # It stands in CMakeLists.txt alone; a recipe that was exported has it already.
        lists = os.path.join(self.recipe_folder, "..", "..", "CMakeLists.txt")
        if not self.version and os.path.exists(lists):
            with open(lists, encoding="utf-8") as file:
                self.version = re.search(r"^project\(kr0 VERSION ([0-9.]+)", file.read(), re.M)[1]

    def export_sources(self):
        root = os.path.join(self.recipe_folder, "..", "..")
        for pattern in ("CMakeLists.txt", "CMakePresets.json", "LICENSE", "README.md", "CHANGELOG.md", "cmake/*", "docs/*",
                        "include/*", "src/*",
                        "interop/*", "archive/*", "compare/*", "evolution/*", "inspect/*", "study/*", "apps/*", "web/*"):
            copy(self, pattern, root, self.export_sources_folder)

    def configure(self):
        # A part brings those that it is built on.
        for part in reversed(list(PARTS)):
            if self.options.get_safe(part):
                for other in PARTS[part][2]:
                    setattr(self.options, other, True)

    def requirements(self):
        self.requires("boost/1.84.0", transitive_headers=True)
        needed = {"utfcpp/4.0.5"}
        for part, (_, packages, _) in PARTS.items():
            if self.options.get_safe(part):
                needed.update(packages)
        for package in sorted(needed):
            self.requires(package)

    def layout(self):
        cmake_layout(self)

    def generate(self):
        CMakeDeps(self).generate()
        PkgConfigDeps(self).generate()
        toolchain = CMakeToolchain(self)
        for name in ("KR0_BUILD_TESTS", "KR0_BUILD_PYTHON"):
            toolchain.cache_variables[name] = False
        for part, (switches, _, _) in PARTS.items():
            for switch in switches:
                toolchain.cache_variables[switch] = bool(self.options.get_safe(part))
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        copy(self, "LICENSE", self.source_folder, os.path.join(self.package_folder, "licenses"))
        CMake(self).install()

    def package_info(self):
        # The package's own files for CMake are used, not ones that Conan would make up.
        self.cpp_info.set_property("cmake_find_mode", "none")
        self.cpp_info.builddirs = [os.path.join("lib", "cmake", "kr0")]
