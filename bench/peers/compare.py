#!/usr/bin/env python3
"""Runs the programs of programs.py in the cells, judges their designs alike and writes the page and the picture.

Called by compare.sh, which explains the options. Every result is a line of JSON in the raw file as soon as it is there:
first one line that says what was measured and where, then a line for each program, cell, time and seed.
"""

import argparse
import concurrent.futures
import datetime
import hashlib
import json
import os
import pathlib
import platform
import queue
import shutil
import subprocess
import sys
import tempfile
import time

import page
from programs import MEASURES, OWN, PROGRAMS

ROOT = pathlib.Path(__file__).resolve().parents[2]
CELLS = ("phip:20x2 phip:30x3 phip:50x5 phip:100x2 phip:100x7 phip:100x10 phip:200x10 phip:500x10 "
         "cd2:20x2 cd2:30x3 cd2:50x5 cd2:100x2 cd2:100x10 cd2:200x10 cd2:500x10")
PACKAGES = ("python3-scipy", "python3-numpy", "python3-openturns", "r-base-core", "r-cran-lhs")
# What describe() says of our own program.
OF_OWN_PROGRAM = ("tree", "optdoe", "sha256")
# A search that was given its time may take this much more; one that needs more has no result.
LATE = 1.10
# Beyond that a program is given this long to load its packages, in seconds, before it is ended.
LOADING = 5.0
ONE_CORE = {name: "1" for name in ("OMP_NUM_THREADS", "OPENBLAS_NUM_THREADS", "OPENTURNS_NUM_THREADS")}


def parse_arguments():
    parser = argparse.ArgumentParser(prog="bench/peers/compare.sh", allow_abbrev=False)
    parser.add_argument("--seconds", default="2 10 30", help="times of a search (default: %(default)s)")
    parser.add_argument("--seeds", default="1 2 3", help="the median over these is shown (default: %(default)s)")
    parser.add_argument("--only", default="", metavar="NAME,...", help="programs whose names begin so (default: all)")
    parser.add_argument("--cells", default=CELLS, help="CRITERION:NxK ... (default: %(default)s)")
    parser.add_argument("--jobs", type=int, default=1, help="runs at a time, each on a core of its own (default: 1)")
    parser.add_argument("--resume", action="store_true", help="measure what is missing in the raw file")
    parser.add_argument("--draw", action="store_true", help="measure nothing: page and picture from the raw file")
    parser.add_argument("--program", default=str(ROOT / "build/release/bin/optdoe"), help=argparse.SUPPRESS)
    parser.add_argument("--raw", type=pathlib.Path, default=ROOT / "build/peers/measured.jsonl", metavar="FILE")
    parser.add_argument("--page", type=pathlib.Path, default=ROOT / "docs/comparison.md", metavar="FILE")
    parser.add_argument("--picture", type=pathlib.Path, default=ROOT / "docs/quality_against_time.svg", metavar="FILE")
    options = parser.parse_args()
    options.seconds = sorted({float(text) for text in options.seconds.split()})
    options.seeds = sorted({int(text) for text in options.seeds.split()})
    options.cells = [parse_cell(parser, text) for text in options.cells.split()]
    begins = tuple(name for name in options.only.split(",") if name) or ("",)
    options.programs = [program for program in PROGRAMS if program.name.startswith(begins)]
    if not options.programs:
        parser.error("--only: the programs are " + ", ".join(program.name for program in PROGRAMS))
    if not 1 <= options.jobs <= len(os.sched_getaffinity(0)):
        parser.error(f"--jobs: this process may use {len(os.sched_getaffinity(0))} cores")
    return options


def parse_cell(parser, text):
    try:
        criterion, sizes = text.split(":")
        n, k = map(int, sizes.split("x"))
        return (MEASURES[criterion] and criterion, n, k)
    except (ValueError, KeyError):
        parser.error(f"--cells: {text!r} is not like phip:50x5")


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout.strip()


def tree_state():
    """The commit, and whether the tree differs from it; what this program writes does not count."""
    try:
        commit = output_of("git", "-C", str(ROOT), "rev-parse", "--short=12", "HEAD")
        changes = output_of("git", "-C", str(ROOT), "status", "--porcelain", "--", ".",
                            ":!docs/comparison.md", ":!docs/quality_against_time.svg")
    except (OSError, subprocess.CalledProcessError):
        return "no commit known"
    return f"commit {commit}" + (" with uncommitted changes" if changes else "")


def describe(options):
    """What the results depend on beside program, cell, time and seed."""
    processor = next((line.split(": ", 1)[1].strip() for line in open("/proc/cpuinfo", encoding="utf-8")
                      if line.startswith("model name")), platform.machine())
    # Packages that are missing are none of those that --only asks for: dpkg-query complains and goes on.
    installed = subprocess.run(["dpkg-query", "-W", "-f", "${Package} ${Version}\n", *PACKAGES], check=False,
                               capture_output=True, text=True).stdout
    return {
        "tree": tree_state(),
        "optdoe": output_of(options.program, "--version"),
        "sha256": hashlib.sha256(pathlib.Path(options.program).read_bytes()).hexdigest(),
        "versions": dict(line.split(" ", 1) for line in installed.splitlines()),
        "processor": processor,
        "cores": len(os.sched_getaffinity(0)),
        "system": f"{platform.freedesktop_os_release()['PRETTY_NAME']}, {platform.machine()}",
        "jobs": options.jobs,
    }


def evaluate(options, criterion, design):
    """What `optdoe evaluate` says of a design of whole levels 1..n."""
    answer = output_of(options.program, "evaluate", str(design), "--coding", "levels", "--random", "0", "--json")
    judged = json.loads(answer)["files"][0]
    measures = judged["measures"]
    if measures["latin_columns"]["value"] != judged["factors"]:
        raise SystemExit(f"{design} is no Latin hypercube")
    return measures[MEASURES[criterion]]["value"]


def run_own(options, cell, seconds, seed, core, folder):
    """Our own program: the design is named by the whole time of its process, as those of the peers are."""
    criterion, n, k = cell
    design = folder / "unfinished"
    start = time.perf_counter()
    subprocess.run(["taskset", "-c", str(core), options.program, str(n), str(k), "--time", f"{seconds:g}s",
                    "--jobs", "1", "--criterion", criterion, "--seed", str(seed), "--quiet", "--output", str(design)],
                   check=True)
    design.rename(folder / f"{round(1000 * (time.perf_counter() - start))}.csv")


def run_peer(program, cell, seconds, seed, core, folder):
    """A peer; one that is still busy when its time is over is ended, and its earlier designs count."""
    criterion, n, k = cell
    try:
        subprocess.run(["taskset", "-c", str(core), *program.command, criterion, str(n), str(k), f"{seconds:g}",
                        str(seed), str(folder)],
                       check=True, env={**os.environ, **ONE_CORE}, timeout=LATE * seconds + LOADING)
    except subprocess.TimeoutExpired:
        pass


def best_within(folder, limit):
    """(seconds, file) of the last design written within the limit, which is the best; None where there is none."""
    times = sorted(int(path.stem) for path in folder.glob("*.csv"))
    times = [each for each in times if each <= 1000 * limit]
    return (times[-1] / 1000, folder / f"{times[-1]}.csv") if times else None


def measure(options, program, cell, budgets, seed, cores):
    """Runs a program once and judges it: a line of results for each of the budgets, which are seconds."""
    core = cores.get()
    folder = pathlib.Path(tempfile.mkdtemp())
    try:
        if program.name == OWN:
            run_own(options, cell, max(budgets), seed, core, folder)
        else:
            run_peer(program, cell, max(budgets), seed, core, folder)
        lines = []
        for seconds in budgets:
            found = best_within(folder, seconds * LATE if program.timed else seconds)
            used, value = (found[0], evaluate(options, cell[0], found[1])) if found else (None, None)
            lines.append({"program": program.name, "criterion": cell[0], "n": cell[1], "k": cell[2], "seconds": seconds,
                          "seed": seed, "value": value, "used": used})
        return lines
    finally:
        shutil.rmtree(folder)
        cores.put(core)


def key_of(line):
    return (line["program"], (line["criterion"], line["n"], line["k"]), line["seconds"], line["seed"])


def runs_to_make(options, done):
    """(program, cell, budgets, seed) of every run whose results are missing; first all of one seed, then the next."""
    for seed in options.seeds:
        for cell in options.cells:
            for program in options.programs:
                missing = [s for s in options.seconds if (program.name, cell, s, seed) not in done]
                if cell[0] in program.criteria and missing:
                    for budgets in [[s] for s in missing] if program.timed else [missing]:
                        yield program, cell, budgets, seed


def read_raw(path):
    """(about, results) of a raw file. A last line that was cut off by an interruption is left out."""
    lines = []
    for text in path.read_text(encoding="utf-8").splitlines(keepends=True):
        if text.endswith("\n"):
            lines.append(json.loads(text))
    if not lines or "tree" not in lines[0]:
        raise SystemExit(f"{path} does not begin with what was measured")
    return lines[0], lines[1:]


def open_raw(options, about):
    """The raw file, ready for further lines, and the keys of those that it has.

    Results of other machines and packages do not mix. Those of our own program go when it is built anew with other
    bytes; those of the peers stay.
    """
    results = []
    if options.resume and options.raw.exists():
        before, results = read_raw(options.raw)
        differing = [name for name in about if about[name] != before.get(name) and name not in OF_OWN_PROGRAM]
        if differing:
            raise SystemExit(f"{options.raw} was measured with another {', '.join(differing)}: leave out --resume")
        if about["sha256"] != before["sha256"]:
            results = [line for line in results if line["program"] != OWN]
    options.raw.parent.mkdir(parents=True, exist_ok=True)
    about = {**about, "date": datetime.date.today().isoformat()}
    rewritten = options.raw.with_suffix(".rewritten")
    rewritten.write_text("".join(json.dumps(line) + "\n" for line in [about, *results]), encoding="utf-8")
    rewritten.replace(options.raw)
    return options.raw.open("a", encoding="utf-8"), {key_of(line) for line in results}


def measure_all(options):
    raw, done = open_raw(options, describe(options))
    runs = list(runs_to_make(options, done))
    expected = sum(max(budgets) for _, _, budgets, _ in runs) / options.jobs
    print(f"{len(runs)} runs, some {expected / 60:.1f} minutes", file=sys.stderr)
    cores = queue.Queue()
    for core in sorted(os.sched_getaffinity(0))[:options.jobs]:
        cores.put(core)
    with raw, concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        futures = [pool.submit(measure, options, *run, cores) for run in runs]
        try:
            for count, future in enumerate(concurrent.futures.as_completed(futures), 1):
                for line in future.result():
                    raw.write(json.dumps(line) + "\n")
                    raw.flush()
                print(f"{datetime.datetime.now():%H:%M:%S} {count} of {len(runs)}: {json.dumps(line)}", file=sys.stderr)
        finally:
            pool.shutdown(cancel_futures=True)


def draw_picture(path, results):
    try:
        import picture
    except ImportError:
        print("The picture is left out: matplotlib was not found (Debian: python3-matplotlib)", file=sys.stderr)
        return
    picture.draw(path, results)
    print(f"written: {path}", file=sys.stderr)


def main():
    options = parse_arguments()
    if not options.draw:
        measure_all(options)
    if not options.raw.exists():
        raise SystemExit(f"{options.raw} is not there: nothing was measured yet")
    about, results = read_raw(options.raw)
    options.page.write_text(page.write(about, results, options.picture.name), encoding="utf-8")
    print(f"written: {options.page}", file=sys.stderr)
    draw_picture(options.picture, results)


if __name__ == "__main__":
    main()
