#!/usr/bin/env python3
"""Makes one results file, one table and one chart of what the benchmark programs measured.

    report.py --peers=FILE [--real=FILE] [--limits=FILE] [--out=FILE] [--chart=FILE] [--page=FILE]
              [--real-page=FILE]

--peers: what kr0_bench_peers wrote. --real: what kr0_bench_real wrote. --limits: what kr0_bench --limits printed. --out: all figures with their ratios. --chart: an SVG of the 100,000 elements. --page and
--real-page: the tables in Markdown, put between the two marks of that page.
"""
import argparse
import json
import math
import os
import platform
import time

OURS = "kr0 direct"
SMALL, LARGE = "library, 10,000", "library, 1,000,000"
FLAT, DEEP = "library, 100,000", "deep, 100,000 levels"


def machine():
    name = platform.processor() or platform.machine()
    try:
        with open("/proc/cpuinfo", encoding="utf-8") as info:
            name = next(line.split(":", 1)[1].strip() for line in info if line.startswith("model name"))
    except (OSError, StopIteration):
        pass
    return f"{name}, {os.cpu_count()} CPUs"


def quotients(results, name, above, below):
    """Rows that divide a system's time for one workload by its time for another."""
    found = {(r["workload"], r["system"], r["operation"]): r for r in results}
    rows = []
    for (workload, system, operation), large in found.items():
        small = found.get((below, system, operation))
        if workload == above and small and operation in ("write", "read") and small["value"] > 0:
            rows.append({**large, "workload": name, "value": large["value"] / small["value"],
                         "least": large["least"] / small["most"], "most": large["most"] / small["least"],
                         "unit": "ratio"})
    return rows


def add_ratios(results):
    ours = {(r["workload"], r["operation"]): r["value"] for r in results
            if r["system"] in (OURS, "kr0 tagged events")}
    for result in results:
        own = ours.get((result["workload"], result["operation"]))
        result["ratio_to_kr0"] = result["value"] / own if own else None


def ordered(results, key):
    return list(dict.fromkeys(r[key] for r in results))


def cells(results, workload):
    """System, mark and the figures of its operations, for one workload."""
    of = [r for r in results if r["workload"] == workload]
    for system in sorted(ordered(of, "system"), key=lambda name: name.startswith("floor")):
        yield system, {r["operation"]: r for r in of if r["system"] == system}


def mark(figures):
    any_of = next(iter(figures.values()))
    if not any_of["keeps_what_it_reads"]:
        return "-"
    return "yes" if any_of["references_resolved"] else "no"


def figure(result, with_spread):
    if not result:
        return ""
    digits = 2 if result["unit"] in ("ratio", "ms") else 0
    text = f"{result['value']:,.{digits}f}"
    if with_spread and result["most"] > result["least"]:
        text += f" ({result['least']:,.{digits}f}..{result['most']:,.{digits}f})"
    if result["ratio_to_kr0"] is not None and result["unit"] != "ratio":
        text += f"  {result['ratio_to_kr0']:.2f}"
    return text


def print_table(report):
    results = report["results"]
    print(f"{report['machine']}; load {report['load']}; {report['compiler']}; {report['date']}")
    print("median (least..most)  ratio to kr0: above 1 the other one takes more")
    for workload in ordered(results, "workload"):
        of = [r for r in results if r["workload"] == workload]
        units = " / ".join(ordered(of, "unit"))
        operations = [o for o in ("write", "read", "memory", "bytes") if any(r["operation"] == o for r in of)]
        print(f"\n{workload}  [{units}]")
        print(f"  {'':34}{'refs':5}" + "".join(f"{o:>32}" for o in operations))
        for system, figures in cells(results, workload):
            print(f"  {system:34}{mark(figures):5}" + "".join(
                f"{figure(figures.get(o), True):>32}" for o in operations))
    print("\nrefs: whether a reference that was read leads to its target without a lookup; - where nothing is"
          " kept of what is read")
    for line in report["skipped"]:
        print("left out: " + line)


def markdown(report):
    results = report["results"]
    lines = [f"{report['date']}; {report['machine']}; load average {report['load']} when the run began and"
             f" ended; g++ {report['compiler']}.", ""]
    for workload in ordered(results, "workload"):
        of = [r for r in results if r["workload"] == workload]
        operations = [o for o in ("write", "read", "memory", "bytes") if any(r["operation"] == o for r in of)]
        units = {o: next(r["unit"] for r in of if r["operation"] == o) for o in operations}
        lines += [f"### {workload[0].upper() + workload[1:]}", "",
                  "| | refs | " + " | ".join(f"{o}, {units[o]} | /kr0" for o in operations) + " |",
                  "|---|---" + "|---:|---:" * len(operations) + "|"]
        for system, figures in cells(results, workload):
            row = [system, mark(figures)]
            for operation in operations:
                found = figures.get(operation)
                row += [figure({**found, "ratio_to_kr0": None}, found["most"] > found["least"]) if found else "",
                        f"{found['ratio_to_kr0']:.2f}" if found and found["ratio_to_kr0"] is not None else ""]
            lines.append("| " + " | ".join(row) + " |")
        lines.append("")
    return "\n".join(lines + ["Left out: " + "; ".join(report["skipped"]) + "."])


LARGE_DOCUMENT = 1000000  # bytes of the XMI document
ARCHIVE, GZIP, FILE, EMF = "kr0 archive", "XMI, gzip -6", "kr0 file", "EMF binary 1.1"
OF_ARCHIVES = (ARCHIVE, ARCHIVE + ", level 3", GZIP, FILE)  # in a table of their own


def real_rows(figures, workload):
    """Cells of a table for one real model: name, elements, system, figures, and ours over theirs."""
    operations = ("bytes", "read", "write")
    for system in ordered(figures, "system"):
        of = {f["operation"]: f for f in figures if f["system"] == system and f["workload"] == workload}
        if not of or system in OF_ARCHIVES:
            continue
        ours = system == OURS
        name = [workload, f"{int(next(iter(of.values()))['elements']):,}"] if ours else ["", ""]
        values = [f"{of[o]['value']:,.{0 if o == 'bytes' else 2}f}" if o in of else "" for o in operations]
        ratios = ["" if ours or o not in of else f"{1 / of[o]['ratio_to_kr0']:.2f}" for o in operations]
        yield name + [f"**{system}**" if ours else system] + values + ratios


def real_markdown(figures, about):
    large = {f["workload"] for f in figures
             if f["system"] == "kr0 XMI" and f["operation"] == "bytes" and f["value"] >= LARGE_DOCUMENT}
    lines = [about, ""]
    for title, is_large in (("The models of 1 MB and more", True), ("The others", False)):
        lines += [f"### {title}", "", "| model | elements | system | bytes | read, ms | write, ms | bytes, o/t |"
                  " read, o/t | write, o/t |", "|---|---:|---|---:|---:|---:|---:|---:|---:|"]
        for workload in ordered(figures, "workload"):
            if (workload in large) == is_large:
                lines += ["| " + " | ".join(row) + " |" for row in real_rows(figures, workload)]
        lines.append("")
    return "\n".join(lines[:-1])


def mean(ratios):
    return math.exp(sum(map(math.log, ratios)) / len(ratios)) if ratios else float("nan")


def archive_markdown(figures, about):
    """Sizes and times of archives, a row for each real model."""
    of = {(f["workload"], f["system"], f["operation"]): f["value"] for f in figures}
    names = [name for name in ordered(figures, "workload") if (name, ARCHIVE, "bytes") in of]

    def table(title, columns, ratios):
        lines = ["", f"### {title}", "", "| model | " + " | ".join(head for head, _, _ in columns) + " | " +
                 " | ".join(head for head, _, _ in ratios) + " |",
                 "|---" + "|---:" * (len(columns) + len(ratios)) + "|"]
        found = {head: [] for head, _, _ in ratios}
        for name in names:
            cells = []
            for _, key, digits in columns:
                value = of.get((name, *key))
                cells.append("" if value is None else f"{value:,.{digits}f}")
            for head, above, below in ratios:
                if (name, *above) in of and (name, *below) in of:
                    found[head].append(of[(name, *above)] / of[(name, *below)])
                    cells.append(f"{found[head][-1]:.2f}")
                else:
                    cells.append("")
            lines.append(f"| {name} | " + " | ".join(cells) + " |")
        return lines + ["| geometric mean" + " |" * len(columns) + " | " +
                        " | ".join(f"{mean(found[head]):.2f}" for head, _, _ in ratios) + " |"]

    krz, gz = (ARCHIVE, "bytes"), (GZIP, "bytes")
    fast = ARCHIVE + ", level 3"
    lines = [about]
    lines += table("Bytes", [("XMI", ("kr0 XMI", "bytes"), 0), ("gzip -6", gz, 0), (".krb", (OURS, "bytes"), 0),
                             (".krt", ("kr0 tagged", "bytes"), 0), (".krz", krz, 0),
                             ("document in it", (ARCHIVE, "document bytes"), 0),
                             (".krz, level 3", (fast, "bytes"), 0), (EMF, (EMF, "bytes"), 0)],
                   [(".krz / gzip", krz, gz), ("document / gzip", (ARCHIVE, "document bytes"), gz),
                    (".krz / EMF", krz, (EMF, "bytes"))])
    lines += table("Saving, ms", [("gzip -6", (GZIP, "write"), 2), (".krb", (FILE, "write"), 2),
                                  (".krz", (ARCHIVE, "write"), 2), (".krz, level 3", (fast, "write"), 2),
                                  (".krb, wall", (FILE, "write, wall"), 2), (".krz, wall", (ARCHIVE, "write, wall"), 2)],
                   [(".krz / gzip", (ARCHIVE, "write"), (GZIP, "write")),
                    ("level 3 / gzip", (fast, "write"), (GZIP, "write"))])
    lines += table("Loading, ms", [(".krb", (FILE, "read"), 2), (".krz", (ARCHIVE, "read"), 2),
                                   (".krz, own meta model", (ARCHIVE, "read alone"), 2)],
                   [(".krz / .krb", (ARCHIVE, "read"), (FILE, "read"))])
    return "\n".join(lines)


def put_into_page(path, part, text):
    """Puts a text between the two marks of a page's part."""
    begin, end = f"<!-- {part}: begin -->", f"<!-- {part}: end -->"
    with open(path, encoding="utf-8") as page:
        before, rest = page.read().split(begin)
    with open(path, "w", encoding="utf-8") as page:
        page.write(before + begin + "\n" + text.rstrip() + "\n" + end + rest.split(end)[1])


def chart(results):
    """Bars for writing and reading the library of 100,000 elements."""
    of = [r for r in results if r["workload"] == FLAT and not r["system"].startswith("floor")]
    systems = ordered(of, "system")
    times = {(r["system"], r["operation"]): r for r in of}
    longest = max(r["value"] for r in of if r["operation"] in ("write", "read"))
    left, width, row, top = 260, 520, 40, 64
    scale = width / longest
    height = top + row * len(systems) + 40
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 900 {height}" font-family="sans-serif"'
           ' font-size="13">', f'<rect width="900" height="{height}" fill="#ffffff"/>',
           '<text x="20" y="26" font-size="16">100,000 elements: CPU time per element, ns (median, spread)</text>']
    for x, colour, word in ((20, "#2f6f9f", "write"), (100, "#d98a29", "read")):
        out += [f'<rect x="{x}" y="38" width="12" height="12" fill="{colour}"/>',
                f'<text x="{x + 18}" y="49">{word}</text>']
    for index, system in enumerate(systems):
        y = top + index * row
        weight = ' font-weight="bold"' if system.startswith("kr0") else ""
        star = "" if times.get((system, "memory")) else " *"
        name = system.replace("&", "&amp;")
        out.append(f'<text x="{left - 10}" y="{y + 20}" text-anchor="end"{weight}>{name}{star}</text>')
        for line, (operation, colour) in enumerate((("write", "#2f6f9f"), ("read", "#d98a29"))):
            found = times.get((system, operation))
            if not found:
                continue
            bar, at = found["value"] * scale, y + 3 + line * 15
            out += [f'<rect x="{left}" y="{at}" width="{bar:.1f}" height="13" fill="{colour}"/>',
                    f'<line x1="{left + found["least"] * scale:.1f}" x2="{left + min(found["most"], longest) * scale:.1f}"'
                    f' y1="{at + 6.5}" y2="{at + 6.5}" stroke="#222222"/>',
                    f'<text x="{left + bar + 8:.1f}" y="{at + 11}" font-size="11">{found["value"]:,.0f}</text>']
    out += [f'<text x="20" y="{height - 14}" font-size="12">* visits what it reads and keeps nothing of it</text>',
            "</svg>"]
    return "\n".join(out) + "\n"


def load_json(path):
    with open(path, encoding="utf-8") as file:
        return json.load(file)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    for option in ("--peers", "--real", "--limits", "--out", "--chart", "--page", "--real-page", "--load"):
        parser.add_argument(option, required=option == "--peers")
    options = parser.parse_args()
    peers = load_json(options.peers)
    results = peers["results"]
    results += quotients(results, "growth, 1,000,000 over 10,000 elements", LARGE, SMALL)
    results += quotients(results, "depth, 100,000 levels over flat", DEEP, FLAT)
    add_ratios(results)
    load = f"{os.getloadavg()[0]:.1f}"
    report = {"results": results, "skipped": peers["skipped"], "machine": machine(), "compiler": peers["compiler"],
              "load": f"{options.load}, {load}" if options.load else load, "date": time.strftime("%Y-%m-%d")}
    print_table(report)
    real = load_json(options.real) if options.real else []
    if options.out:
        about = {key: report[key] for key in ("machine", "compiler", "load", "date")}
        with open(options.out, "w", encoding="utf-8") as out:
            json.dump([{**result, **about} for result in results + real], out, indent=1)
            out.write("\n")
    if options.chart:
        with open(options.chart, "w", encoding="utf-8") as out:
            out.write(chart(results))
    if options.page:
        put_into_page(options.page, "figures", markdown(report))
    if options.page and options.limits:
        with open(options.limits, encoding="utf-8") as limits:
            put_into_page(options.page, "limits", limits.read())
    if options.real_page and real:
        put_into_page(options.real_page, "figures", real_markdown(
            real, f"{report['date']}; {report['machine']}; load average {report['load']}; g++ {report['compiler']}."))
        put_into_page(options.real_page, "archives", archive_markdown(
            real, f"{report['date']}; {report['machine']}; load average {report['load']}; g++ {report['compiler']}."))


if __name__ == "__main__":
    main()
