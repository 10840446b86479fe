#!/usr/bin/env python3
"""What the tests reach, by folder: reads what `llvm-cov export -skip-functions` prints, and holds it against
tests/coverage.txt, which says how much each folder must reach and which lines need not.

  scripts/coverage.py EXPORT.json [--missing FOLDER]...   --missing lists what is not reached below a folder

A line counts as reached where some region that begins on it or covers it ran; a branch, where its condition was both
true and false, in any instance of a template. Ends with "N passed, M failed": one for each folder.
"""

import json
import os
import sys

ROOT = os.path.realpath(os.path.join(os.path.dirname(__file__), ".."))
RULES = os.path.join(ROOT, "tests", "coverage.txt")
MOST_EXCLUDED = 10
NOT_COUNTED = ("tests/", "examples/", "benchmarks/", "fuzz/", "build/", "../")


def read_rules():
    """Folders with what they must reach (lines and branches, in per cent), and the lines that need not be."""
    folders, excluded = {}, {}
    for line in open(RULES, encoding="utf-8"):
        words = line.split("#")[0].split()
        if words[:1] == ["folder"]:
            folders[words[1]] = (float(words[2]), float(words[3]))
        elif line.startswith("line "):
            path, text, reason = (part.strip() for part in line[len("line ") :].split(" | "))
            if not reason:
                raise SystemExit(f"{RULES}: no reason for {text}")
            excluded[(path, text)] = 0
    return folders, excluded


def count_lines(segments):
    """Line number -> how often it ran, of the lines with code."""
    lines, at, before = {}, 0, None
    if not segments:
        return lines
    for number in range(segments[0][0], segments[-1][0] + 1):
        here = []
        while at < len(segments) and segments[at][0] == number:
            here.append(segments[at])
            at += 1
        starts = [s[2] for s in here if s[3] and s[4] and not s[5]]
        skipped = bool(here) and not here[0][3] and here[0][4]
        wrapped = before is not None and before[3]
        if not skipped and (wrapped or starts):
            lines[number] = max([before[2] if wrapped else 0] + starts)
        if here:
            before = here[-1]
    return lines


class File:
    def __init__(self):
        self.lines, self.branches = {}, {}

    def add(self, entry):
        for number, count in count_lines(entry["segments"]).items():
            self.lines[number] = max(self.lines.get(number, 0), count)
        for branch in entry["branches"]:
            place = tuple(branch[:4])
            true, false = self.branches.get(place, (0, 0))
            self.branches[place] = (true + branch[4], false + branch[5])

    def forget_unasked(self):
        """Conditions that were never asked: constants, or what stands behind a line or condition that is missing."""
        self.branches = {place: counts for place, counts in self.branches.items() if counts != (0, 0)}

    def missing(self):
        """Line number -> what was not reached there."""
        found = {number: "line" for number, count in self.lines.items() if count == 0}
        for (number, column, *_), (true, false) in self.branches.items():
            if number in found and found[number] == "line":
                continue
            if true == 0 or false == 0:
                what = "never true" if true == 0 else "never false"
                found[number] = found.get(number, "branch") + f" {column}: {what}"
        return found


def read_export(path):
    files = {}
    for data in json.load(open(path, encoding="utf-8"))["data"]:
        for entry in data["files"]:
            name = os.path.relpath(os.path.realpath(entry["filename"]), ROOT)
            if not name.startswith(NOT_COUNTED):
                files.setdefault(name, File()).add(entry)
    for name, file in files.items():
        file.forget_unasked()
        # Between "switch (x) {" and its first case nothing runs, and a directive may stand there.
        texts = open(os.path.join(ROOT, name), encoding="utf-8").read().split("\n")
        file.lines = {n: count for n, count in file.lines.items() if not texts[n - 1].lstrip().startswith("#")}
    return files


def take_out(files, excluded):
    """Leaves out what is excluded; each exclusion must meet something that is not reached."""
    for name, file in files.items():
        texts = open(os.path.join(ROOT, name), encoding="utf-8").read().split("\n")
        for number in file.missing():
            key = (name, texts[number - 1].strip())
            if key not in excluded:
                continue
            excluded[key] += 1
            file.lines.pop(number, None)
            file.branches = {place: c for place, c in file.branches.items() if place[0] != number}


def share(reached, all_of_them):
    return 100.0 if all_of_them == 0 else 100.0 * reached / all_of_them


def main(arguments):
    if not arguments:
        raise SystemExit(__doc__)
    files = read_export(arguments[0])
    shown = [arguments[i + 1] for i, word in enumerate(arguments) if word == "--missing"]
    folders, excluded = read_rules()
    take_out(files, excluded)
    sums = {folder: [0, 0, 0, 0] for folder in folders}
    strays = []
    for name, file in sorted(files.items()):
        fitting = [folder for folder in folders if name.startswith(folder + "/")]
        if not fitting:
            strays.append(name)
            continue
        total = sums[max(fitting, key=len)]
        total[0] += sum(count != 0 for count in file.lines.values())
        total[1] += len(file.lines)
        total[2] += sum((true != 0) + (false != 0) for true, false in file.branches.values())
        total[3] += 2 * len(file.branches)
    passed = failed = 0
    print(f"{'folder':<22} {'lines':>15} {'%':>7} {'bar':>5}   {'branches':>15} {'%':>7} {'bar':>5}")
    for folder, (lines, all_lines, branches, all_branches) in sums.items():
        lines_bar, branches_bar = folders[folder]
        figures = share(lines, all_lines), share(branches, all_branches)
        good = all_lines > 0 and figures[0] >= lines_bar and figures[1] >= branches_bar
        passed, failed = passed + good, failed + (not good)
        print(
            f"{folder:<22} {lines:>7}/{all_lines:<7} {figures[0]:>7.2f} {lines_bar:>5g}   "
            f"{branches:>7}/{all_branches:<7} {figures[1]:>7.2f} {branches_bar:>5g}{'' if good else '   <- too few'}"
        )
        if not good and lines_bar == 100:
            shown.append(folder)
    for name, file in sorted(files.items()):
        if any(name.startswith(folder) for folder in shown):
            texts = open(os.path.join(ROOT, name), encoding="utf-8").read().split("\n")
            for number, what in sorted(file.missing().items()):
                print(f"{name}:{number}: {what}: {texts[number - 1].strip()}")
    for (path, text), count in excluded.items():
        if count == 0:
            print(f"{path}: is excluded but reached, or gone: {text}")
            failed += 1
    if len(excluded) > MOST_EXCLUDED:
        print(f"{len(excluded)} lines are excluded, {MOST_EXCLUDED} may be")
        failed += 1
    if strays:
        print(f"no folder of {RULES} holds {', '.join(strays)}")
        failed += 1
    print(f"{passed} passed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
