#!/usr/bin/env python3
"""What the shared libraries of a build export: holds it against the lists in tests/surface, and each name against the
public headers.

  scripts/check_surface.py BUILD_FOLDER [--renew]   --renew writes the lists anew

What a compiler emits where it likes, as it does inline functions, is in no list; it must be declared all the same.
Ends with "N passed, M failed": a library each.
"""

import glob
import os
import re
import subprocess
import sys

ROOT = os.path.realpath(os.path.join(os.path.dirname(__file__), ".."))
LISTS = os.path.join(ROOT, "tests", "surface")
PREFIXES = re.compile(r"^(typeinfo name for|typeinfo for|vtable for|VTT for|guard variable for|(non-)?virtual thunk to) ")


def public_words():
    """Every word of every public header, comments aside."""
    words = set()
    for folder in ("include", "src/framework/include", "*/include", "interop/*/include"):
        for path in glob.glob(os.path.join(ROOT, folder, "**", "*.h"), recursive=True):
            code = re.sub(r"//[^\n]*|/\*.*?\*/", "", open(path, encoding="utf-8").read(), flags=re.S)
            words.update(re.findall(r"[A-Za-z_]\w*", code))
    return words


def exported(library):
    """(name, is it for the compiler to say?) of all that a library exports."""
    lines = subprocess.run(["nm", "-DC", "--defined-only", library], check=True, capture_output=True, text=True).stdout
    for line in lines.splitlines():
        kind, name = line[17:].split(" ", 1) if line[0] != " " else line.split(None, 1)
        bare = PREFIXES.sub("", name)
        if kind != "A" and "{lambda" not in name and not bare.startswith(("std::", "__gnu_cxx::")):
            yield name.replace("std::__cxx11::", "std::").replace("[abi:cxx11]", ""), kind in "Wu"


def identifiers(name):
    """The words of a qualified name, without what stands in brackets and before it."""
    name = PREFIXES.sub("", name).replace("(anonymous namespace)", "anonymous_namespace")
    name = re.sub(r"\boperator\s*(\(\)|[^\w\s(]+)", "operator", name)
    shorter = None
    while shorter != name:
        shorter, name = name, re.sub(r"<[^<>]*>|\([^()]*\)|\{[^{}]*\}", "", name)
    words = re.sub(r" (const|&)", "", name).split()
    return [word.strip("~*&") for word in words[-1].split("::")] if words else []


def main(arguments):
    if not arguments:
        raise SystemExit(__doc__)
    libraries = sorted(glob.glob(os.path.join(arguments[0], "**", "libkr0_*.so.*.*.*"), recursive=True))
    renew, words = "--renew" in arguments, public_words()
    passed = failed = 0
    for library in libraries:
        name = os.path.basename(library).split(".")[0][len("lib") :]
        path = os.path.join(LISTS, name + ".txt")
        found = sorted(set(exported(library)))
        problems = [f"no public header declares {n}" for n, _ in found if not all(w in words for w in identifiers(n))]
        names = sorted({n for n, free in found if not free})
        if renew:
            os.makedirs(LISTS, exist_ok=True)
            open(path, "w", encoding="utf-8").write("".join(n + "\n" for n in names))
        listed = open(path, encoding="utf-8").read().splitlines() if os.path.exists(path) else []
        problems += [f"is not in the list: {n}" for n in names if n not in listed]
        problems += [f"is gone: {n}" for n in listed if n not in names]
        for problem in problems:
            print(f"{name}: {problem}")
        passed, failed = passed + (not problems), failed + bool(problems)
    if not libraries:
        print(f"there are no libraries in {arguments[0]}")
        failed += 1
    elif failed:
        print("where that is meant: scripts/check_surface.py", arguments[0], "--renew")
    print(f"{passed} passed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
