#!/usr/bin/env python3
"""Reads what scripts/growth.sh counted, prints how much more each doubling costs, and judges the last one."""
import pathlib
import re
import sys

MOST = 2.2  # 2 is in proportion, 4 the square


def counted(path):
    """Instructions in one file of the profiler."""
    found = re.search(r"^(?:totals|summary): (\d+)", path.read_text(), re.MULTILINE)
    return int(found.group(1)) if found else 0


def measured(folder):
    """By case: its sizes and the instructions for each."""
    cases = {}
    for part in sorted(folder.iterdir()):
        for number, line in enumerate((part / "calls").read_text().splitlines(), 1):
            name, size, _ = line.rsplit(" ", 2)
            cases.setdefault(name, []).append((int(size), counted(part / f"counts.{number}")))
    return cases


def main(folder):
    cases = measured(folder)
    bad = 0
    print(f"{'case':<42}{'n':>7}{'instructions':>15}{'2n':>7}{'4n':>7}{'8n':>7}")
    for name, points in sorted(cases.items()):
        costs = [cost for _, cost in points]
        ratios = [after / before if before else float("inf") for before, after in zip(costs, costs[1:])]
        whole = len(points) == 4 and min(costs) > 0
        fine = whole and ratios[-1] <= MOST
        bad += not fine
        shown = "".join(f"{ratio:7.2f}" for ratio in ratios)
        print(f"{name:<42}{points[0][0]:>7}{costs[0]:>15}{shown}{'' if fine else '   <-- TOO MUCH' if whole else '   <-- NOT COUNTED'}")
    for part in sorted(folder.iterdir()):
        if (part / "failed").exists():
            bad += 1
            print((part / "messages").read_text()[-2000:])
    if not cases:
        bad += 1
    print(f"{len(cases) - min(bad, len(cases))} passed, {bad} failed")
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1])))
