#!/usr/bin/python3
"""Writes the median of each tarn-bench figure over several runs into README.md between the
results markers. Usage: bench-table.py README.md RUN_OUTPUT..."""
import os
import platform
import re
import statistics
import sys

FIGURE = re.compile(r"^  (\S.*?)\s{2,}(-?[0-9.]+)(?: +(ms|us|%|x|MB/s)(?=\s|$))?")
BEGIN, END = "<!-- bench results begin -->", "<!-- bench results end -->"


def figures(path):
    section, baseline, found = "", False, {}
    with open(path) as run:
        for line in run:
            if line.startswith("baseline"):
                baseline = True
                continue
            if not line.startswith("  "):
                section = ("baseline loop, " if baseline else "") + line.split(",")[0].strip()
                baseline = False
                continue
            match = FIGURE.match(line)
            if match:
                found[(section, match[1])] = (float(match[2]), match[3] or "")
    return found


def machine():
    model = "unknown processor"
    with open("/proc/cpuinfo") as info:
        for line in info:
            if line.startswith("model name"):
                model = line.split(":", 1)[1].strip()
                break
    return f"{model}, {os.cpu_count()} cores, Linux {platform.release()}"


def main():
    readme, runs = sys.argv[1], [figures(path) for path in sys.argv[2:]]
    keys = [key for key in runs[0] if all(key in run for run in runs)]
    rows = [f"Median of {len(runs)} runs of `scripts/bench --short` on {machine()}.", "",
            "| run | figure | value |", "|---|---|---|"]
    for key in keys:
        value = statistics.median(run[key][0] for run in runs)
        rows.append(f"| {key[0]} | {key[1]} | {value:g} {runs[0][key][1]} |".replace("  |", " |"))
    with open(readme) as file:
        text = file.read()
    if BEGIN not in text or END not in text:
        sys.exit("bench-table: README.md has no results markers")
    head, rest = text.split(BEGIN, 1)
    tail = rest.split(END, 1)[1]
    with open(readme, "w") as file:
        file.write(head + BEGIN + "\n" + "\n".join(rows) + "\n" + END + tail)


main()
