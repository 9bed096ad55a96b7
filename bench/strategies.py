"""What a time limit brings: runs the program and optdoe_strategies, writes docs/budget-figures.md."""
import argparse
import csv
import json
import os
import platform
import re
import statistics
import subprocess
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
PROGRAM = ROOT / "build/release/bin/optdoe"
STRATEGIES = ROOT / "build/release/bin/optdoe_strategies"
PAGE = ROOT / "docs/budget-figures.md"

# criterion, runs, factors
MARKS = [("phip", 20, 2), ("phip", 30, 3), ("phip", 50, 5), ("phip", 100, 2), ("phip", 100, 7), ("phip", 100, 10),
         ("phip", 200, 10), ("phip", 500, 10), ("cd2", 20, 2), ("cd2", 30, 3), ("cd2", 50, 5), ("cd2", 100, 2),
         ("cd2", 100, 10), ("cd2", 200, 10), ("cd2", 500, 10)]


def run(n, k, *options):
    """Objective of the design and rounds of the searches that one call makes."""
    with tempfile.TemporaryDirectory() as folder:
        design, results = Path(folder, "d.csv"), Path(folder, "r.jsonl")
        subprocess.run([PROGRAM, str(n), str(k), "-q", "-o", design, "--results", results, *map(str, options)],
                       check=True)
        objective = float(re.search(r"^# objective: (.*)$", design.read_text(), re.M).group(1))
        lines = [json.loads(line) for line in results.read_text().splitlines()[1:]]
        return objective, sum(line["rounds"] for line in lines)


def marks(seconds, seeds):
    text = f"## Designs in {seconds:g} s on all cores\n\n`optdoe N K --criterion C --time {seconds:g}s --seed S`\n\n"
    text += "| criterion | runs x factors | " + " | ".join(f"seed {1000 * s}" for s in range(1, seeds + 1)) + " | median |\n"
    text += "|---|---|" + "---|" * (seeds + 1) + "\n"
    for criterion, n, k in MARKS:
        found = [run(n, k, "--criterion", criterion, "--time", f"{seconds}s", "--seed", 1000 * seed)[0]
                 for seed in range(1, seeds + 1)]
        text += f"| {criterion} | {n} x {k} | " + " | ".join(f"{x:.7g}" for x in found)
        text += f" | {statistics.median(found):.7g} |\n"
        print(text.splitlines()[-1], flush=True)
    return text + "\n"


def cores():
    """Rounds a second of one and of two searches at a time, in turns."""
    rounds = {1: [], 2: []}
    for _ in range(3):
        for jobs in rounds:
            rounds[jobs].append(run(100, 10, "--effort", 2000, "--time", "5s", "--seed", 1, "--jobs", jobs)[1] / 5.0)
    one, two = statistics.median(rounds[1]), statistics.median(rounds[2])
    return (f"## Two cores\n\n`optdoe 100 10 --effort 2000 --time 5s --jobs J`, three times in turn, medians: {one:.0f} "
            f"rounds a second with one job, {two:.0f} with two, {two / one:.2f} times as many.\n\n")


def cells(seconds):
    parts = [subprocess.Popen([STRATEGIES, "--seconds", str(seconds), "--part", f"{i}/2"], stdout=subprocess.PIPE,
                              text=True) for i in (1, 2)]
    halves = [part.communicate()[0].splitlines() for part in parts]
    rows = [half[i] for i in range(max(map(len, halves))) for half in halves if i < len(half)]
    gains = [float(row.split("|")[4].replace("%", "")) for row in rows]
    better, worse = sum(g < 0 for g in gains), sum(g > 0.1 for g in gains)
    return (f"## A campaign against one long run\n\n`optdoe_strategies --seconds {seconds:g}`: each {seconds:g} s on one "
            "core, one seed. One long run is the library's threshold search without an end of its own. Negative is "
            f"better: {better} of {len(gains)} cells are better, {worse} worse by more than 0.1 %.\n\n"
            "| cell | one long run | campaign | difference |\n|---|---|---|---|\n" + "\n".join(rows) + "\n\n")


def known(seconds, every):
    with open(ROOT / "bench/data/best_known_designs.csv", encoding="utf-8") as file:
        designs = list(csv.DictReader(line for line in file if not line.startswith("#")))
    text = (f"## Beside the best known maximin designs\n\nphi-p (p = 20) by `--time {seconds:g}s`, and squared least "
            f"distance by `--p 0 --time {seconds:g}s`, on all cores, beside Husslage, Rennen, van Dam and den Hertog, "
            "2011, and earlier (`bench/data/best_known_designs.csv`). Lower phi-p and higher D2 are better.\n\n"
            "| runs x factors | known phi-p | found | | known D2 | found | |\n|---|---|---|---|---|---|---|\n")
    for row in designs[every - 1::every]:
        n, k = int(row["n"]), int(row["k"])
        phi = run(n, k, "--time", f"{seconds}s", "--seed", 1)[0]
        d2 = round(-run(n, k, "--p", 0, "--time", f"{seconds}s", "--seed", 1)[0] * (n - 1) ** 2)
        best, most = float(row["phi20_best"]), int(row["D2"])
        text += (f"| {n} x {k} | {best:.6f} | {phi:.6f} | {'better' if phi < best - 1e-6 else 'equal' if phi < best + 1e-6 else f'{phi / best - 1:+.3%}'} "
                 f"| {most} | {d2} | {'better' if d2 > most else 'equal' if d2 == most else d2 - most} |\n")
        print(text.splitlines()[-1], flush=True)
    return text + "\n"


def processor():
    found = re.search(r"model name\s*: (.*)", Path("/proc/cpuinfo").read_text())
    return found.group(1) if found else platform.machine()


def main():
    words = argparse.ArgumentParser()
    words.add_argument("--marks", type=float, default=30.0)
    words.add_argument("--seeds", type=int, default=3)
    words.add_argument("--cells", type=float, default=5.0)
    words.add_argument("--known", type=float, default=10.0)
    words.add_argument("--only", type=int, default=4)
    asked = words.parse_args()
    commit = subprocess.run(["git", "rev-parse", "--short", "HEAD"], cwd=ROOT, capture_output=True, text=True).stdout
    command = f"bench/strategies.sh --marks {asked.marks:g} --seeds {asked.seeds} --cells {asked.cells:g} --known {asked.known:g} --only {asked.only}"
    text = (f"# What a time limit brings\n\nWritten by `{command}` on commit {commit.strip()}, {time.strftime('%Y-%m-%d')}, "
            f"{processor()}, {len(os.sched_getaffinity(0))} cores. Objectives; smaller is better.\n\n")
    text += marks(asked.marks, asked.seeds) + cores() if asked.marks > 0 else ""
    text += cells(asked.cells) if asked.cells > 0 else ""
    text += known(asked.known, asked.only) if asked.known > 0 else ""
    PAGE.write_text(text.rstrip() + "\n", encoding="utf-8")


main()
