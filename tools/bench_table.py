#!/usr/bin/env python3
"""bench_table.py DIR [EARLIER]: the part of bench.sh that reads, prints and compares figures."""
import json
import os
import sys

# What is compared between runs, with the share by which it may grow: times by themselves are those of a
# machine and a moment, so only what was formed beside a reference in the same run counts.
RATIO, EXACT, SIZE = 1.05, 1.0, 1.01
TOLERANCES = (
    ("x_", RATIO),
    ("percent_", RATIO),
    ("alloc", EXACT),
    ("KiB_", 1.1),
    ("bytes", SIZE),
)
BOOKKEEPING = {
    "family_index", "per_family_instance_index", "repetitions", "repetition_index", "threads",
    "iterations", "real_time", "cpu_time",
}


def figures_of(runs):
    """{(benchmark, counter): [values of its repetitions]}"""
    figures = {}
    for run in runs["benchmarks"]:
        if run.get("error_occurred"):
            sys.exit(f"bench.sh: {run['name']}: {run['error_message']}")
        if run["run_type"] != "iteration":
            continue
        counters = {k: v for k, v in run.items()
                    if isinstance(v, (int, float)) and k not in BOOKKEEPING and not isinstance(v, bool)}
        if run["name"].startswith(("encode/", "decode/")):
            counters["ns"] = run["real_time"]
        for counter, value in counters.items():
            figures.setdefault((run["run_name"], counter), []).append(value)
    return figures


def sizes_of(directory):
    figures = {("libquarlo.so, stripped", "bytes"): [os.path.getsize(f"{directory}/libquarlo.so")]}
    with open(f"{directory}/size.txt", encoding="utf-8") as lines:
        for line in lines:
            words = line.split()
            if len(words) == 3 and words[0].startswith(".") and int(words[1]) >= 4096:
                figures[("libquarlo.so, stripped", f"bytes{words[0]}")] = [int(words[1])]
    return figures


def short(name):
    for tail in ("/manual_time", "/iterations:"):
        name = name.split(tail)[0]
    return name


def table_of(figures):
    rows = [("benchmark", "figure", "median", "least", "most")]
    for (name, counter), values in figures.items():
        ordered = sorted(values)
        shown = [f"{value:.4g}" if value < 1e5 else f"{value:.0f}"
                 for value in (ordered[len(ordered) // 2], ordered[0], ordered[-1])]
        rows.append((short(name), counter, *shown))
    widths = [max(len(row[i]) for row in rows) for i in range(5)]
    return "".join(f"{row[0]:<{widths[0]}}  {row[1]:<{widths[1]}}  " +
                   "  ".join(f"{row[i]:>{widths[i]}}" for i in range(2, 5)) + "\n" for row in rows)


def worse(figures, earlier):
    """Lines about what got worse by more than both runs' noise."""
    found = []
    for key, values in figures.items():
        tolerance = next((t for prefix, t in TOLERANCES if key[1].startswith(prefix)), None)
        if tolerance is None or key not in earlier:
            continue
        limit = max(earlier[key]) * tolerance
        if min(values) > limit:
            found.append(f"{short(key[0])}: {key[1]} {min(values):.4g} at best, "
                         f"was {max(earlier[key]):.4g} at worst")
    return found


def main():
    directory = sys.argv[1]
    with open(f"{directory}/runs.json", encoding="utf-8") as file:
        figures = figures_of(json.load(file))
    figures.update(sizes_of(directory))
    with open(f"{directory}/results.json", "w", encoding="utf-8") as file:
        json.dump([[*key, values] for key, values in figures.items()], file, indent=0)
    table = table_of(figures)
    with open(f"{directory}/table.txt", "w", encoding="utf-8") as file:
        file.write(table)
    print(table, end="")
    if len(sys.argv) < 3:
        return 0
    try:
        with open(sys.argv[2], encoding="utf-8") as file:
            earlier = {(name, counter): values for name, counter, values in json.load(file)}
    except (ValueError, TypeError):
        sys.exit(f"bench.sh: {sys.argv[2]} is no results.json")
    found = worse(figures, earlier)
    print("\n".join(found) if found else "nothing is slower or larger than before")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
