#!/usr/bin/env python3
"""Holds the sources to the architecture below: reads their includes, names every line that breaks a rule.

usage: architecture.py ROOT

Rules
  1. Every quoted include names an existing file from the root of its tree: "optdoe/criteria/criterion.h",
     "api/settings/settings.h". None is bare.
  2. A folder includes its own floor and those below it, never one above.
  3. A criterion's room includes what the criteria share and its own files, not another criterion's.
  4. No circle: taking a header and its source as one unit, no unit reaches itself through includes.
  5. Only the table of criteria names a criterion; the run context, which holds a pointer for each record, declares
     the records.
"""
import re
import sys
from pathlib import Path

# The floors, from the ground up.
FLOORS = [
    ("src/optdoe/run", "what everybody stands on: context, storage, error exit, messages, settings, the host's table"),
    ("src/optdoe/simd", "vectors of the processor and the choice among instruction sets"),
    ("src/optdoe/vectors", "vectors and matrices on tracked storage"),
    ("src/optdoe/numeric", "random numbers, sorts, sums with a defined order"),
    ("src/optdoe/criteria", "the operations of a criterion, a room for each criterion, the table that lists them"),
    ("src/optdoe/search", "levels, set-up, methods, moves, samples"),
    ("src/optdoe/entry", "the driver of one call and the exported method"),
    ("hosts/embedded", "a host in C++"),
    ("api/text", "numbers, files and refusals as people read them"),
    ("api/settings", "settings by name, with their ranges"),
    ("api/designs", "designs and what measures them, codings, starting designs, design files"),
    ("api/runs", "one run of the library, its history, what it needs"),
    ("api/annealing", "a search by annealing with kernels of its own"),
    ("api/campaign", "searches, campaigns of many of them, on threads; results files"),
    ("api/scores", "designs beside random ones"),
    ("api/requests", "requests by name, and the design that comes of one"),
    ("api/reports", "pictures and the report"),
    ("c", "the interface for C, and for the languages that build on it"),
    ("hosts/java", "the Java library's bridge to the C interface"),
    ("cli", "the command line"),
    ("cluster", "the command line on several machines"),
    ("python", "the Python package"),
]
TABLE = "src/optdoe/criteria/criterion_table.cpp"
CONTEXT = "src/optdoe/run/run_context.h"

INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"')


def floor_of(path):
    """Position of the file's floor, counted from the ground."""
    for position, (folder, _) in enumerate(FLOORS):
        if path.startswith(folder + "/"):
            return position
    return None


def room_of(path):
    """The criterion whose room the file is in, or None."""
    match = re.match(r"src/optdoe/criteria/([^/]+)/", path)
    return match.group(1) if match else None


def unit_of(path):
    """A header and its source, or a kernel file with the files that compile it, are one unit."""
    stem = re.sub(r"\.(h|cpp|inl)$", "", path)
    return re.sub(r"_kernels_(baseline|avx2|avx512)$", "_kernels", stem)


def target_of(root, include):
    """The included file from the root, or None."""
    for folder in ("src/", ""):
        if "/" in include and (root / (folder + include)).is_file():
            return folder + include
    return None


def without_words(line):
    """The code of a line: no comment, no text in quotes."""
    if INCLUDE.match(line):
        return line
    return re.sub(r'"(\\.|[^"\\])*"', '""', line.split("//")[0])


def circle_in(graph):
    """Some circle of a graph {unit: {unit: where}}, as a list of units, or None."""
    state = {}

    def visit(unit, path):
        state[unit] = "open"
        for other in sorted(graph.get(unit, {})):
            if state.get(other) == "open":
                return path[path.index(other):] + [other]
            if other not in state:
                found = visit(other, path + [other])
                if found:
                    return found
        state[unit] = "done"
        return None

    for unit in sorted(graph):
        if unit not in state:
            found = visit(unit, [unit])
            if found:
                return found
    return None


def check(root):
    """All complaints about the tree, each with its file and line."""
    complaints = []
    graph = {}
    files = [str(p.relative_to(root)) for folder, _ in FLOORS for p in sorted((root / folder).rglob("*"))
             if p.suffix in (".h", ".cpp", ".inl")]
    rooms = sorted({room_of(f) for f in files} - {None})
    names = re.compile(r"\b(%s)(_|\b)" % "|".join(rooms))
    if len(files) < 80 or len(rooms) < 5:
        complaints.append(f"{root}: {len(files)} files and {len(rooms)} criteria are too few to be the whole tree")
    for file in files:
        for number, line in enumerate((root / file).read_text().splitlines(), 1):
            where = f"{file}:{number}"
            match = INCLUDE.match(line)
            if match:
                target = target_of(root, match.group(1))
                if target is None:
                    complaints.append(f'{where}: "{match.group(1)}" is no file from the root of a tree')
                    continue
                above = floor_of(target)
                if above is None or above > floor_of(file):
                    complaints.append(f"{where}: includes {target}, which lies above {FLOORS[floor_of(file)][0]}")
                if room_of(file) and room_of(target) not in (None, room_of(file)):
                    complaints.append(f"{where}: {room_of(file)} includes {target} of another criterion")
                if unit_of(target) != unit_of(file):
                    graph.setdefault(unit_of(file), {})[unit_of(target)] = where
            if file.startswith("src/") and not room_of(file) and file not in (TABLE, CONTEXT):
                found = names.search(without_words(line))
                if found:
                    complaints.append(f"{where}: names the criterion {found.group(1)}; only {TABLE} may")
    circle = circle_in(graph)
    if circle:
        steps = [f"{graph[a][b]} includes {b}" for a, b in zip(circle, circle[1:])]
        complaints.append("a circle of includes: " + ", ".join(steps))
    return complaints, len(files)


def main():
    root = Path(sys.argv[1])
    complaints, count = check(root)
    for complaint in complaints:
        print(complaint)
    if not complaints:
        print(f"{count} files keep to the architecture")
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
