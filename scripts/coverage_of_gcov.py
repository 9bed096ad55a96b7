#!/usr/bin/env python3
"""Merges what gcov counted for one tree of sources: figures by folder, and every line and branch that is not reached.

usage: coverage_of_gcov.py SOURCES OBJECTS...

SOURCES    folder of the sources; the figures are those of its folders
OBJECTS    folders of .gcno files and, for the objects that ran, .gcda files

A line stands once per object and per instance of a template. Counts of the same branch of the same line are added up:
it is reached when one of them reaches it. Edges of exceptions, and the calls that have them, are no branches.
"""

import collections
import json
import pathlib
import subprocess
import sys


def without_throws(branches):
    """Counts of the branches of a line that the source has."""
    counts = []
    for branch in branches:
        if not branch["throw"]:
            counts.append((branch["count"], branch["fallthrough"]))
        elif counts and counts[-1][1]:
            counts.pop()  # of a call: goes on or throws
    return [count for count, _ in counts]


def read(sources, objects):
    """(file, line) -> [count, function, {number of branches: counts}]; instances differ where `if constexpr` does."""
    merged = {}
    for data in sorted(path for folder in objects for path in pathlib.Path(folder).rglob("*.gcno")):
        command = ["gcov", "--branch-probabilities", "--branch-counts", "--json-format", "--stdout", str(data)]
        run = subprocess.run(command, check=True, capture_output=True, text=True)
        for text in run.stdout.splitlines():
            report = json.loads(text)
            folder = pathlib.Path(report["current_working_directory"])
            for source in report["files"]:
                path = (folder / source["file"]).resolve()
                if not path.is_relative_to(sources) or not path.exists():  # the object of a source that is gone
                    continue
                names = {f["name"]: f["demangled_name"] for f in source["functions"]}
                for line in source["lines"]:
                    key = (str(path.relative_to(sources)), line["line_number"])
                    entry = merged.setdefault(key, [0, names.get(line.get("function_name"), ""), {}])
                    entry[0] += line["count"]
                    counts = without_throws(line["branches"])
                    if counts:
                        sums = entry[2].setdefault(len(counts), [0] * len(counts))
                        entry[2][len(counts)] = [a + b for a, b in zip(sums, counts)]
    return merged


def is_code(sources, name, number, texts):
    """False for a line that only closes a block: gcov may give it no count although the block ran."""
    if name not in texts:
        texts[name] = (sources / name).read_text(encoding="utf-8").splitlines()
    return texts[name][number - 1].strip(" \t{};") != ""


def short(function):
    """The name without its arguments, as far as it can be told."""
    return function.split("(", 1)[0].split(" ")[-1] or function


def main():
    sources = pathlib.Path(sys.argv[1]).resolve()
    merged = read(sources, sys.argv[2:])
    texts = {}
    figures = collections.defaultdict(lambda: [0, 0, 0, 0])
    for (name, number), (count, function, instances) in sorted(merged.items()):
        if not is_code(sources, name, number, texts):
            continue
        branches = [c for size in sorted(instances) for c in instances[size]]
        for folder in (name.split("/")[0], "all"):
            figure = figures[folder]
            figure[0] += 1
            figure[1] += count > 0
            figure[2] += len(branches)
            figure[3] += sum(c > 0 for c in branches)
        if count == 0 or 0 in branches:
            print(f"{name}:{number} {short(function)}: count {count}, branches {branches}")
            print(f"    {texts[name][number - 1].strip()}")
    for folder, (lines, reached, branches, taken) in sorted(figures.items(), key=lambda f: (f[0] == "all", f[0])):
        print(f"{folder:9} lines {reached} of {lines} ({100 * reached / lines:.1f} %), "
              f"branches {taken} of {branches} ({100 * taken / max(branches, 1):.1f} %)")


main()
