"""The page of the comparison, in Markdown, from the lines of the raw file."""

import collections
import math
import statistics

from programs import NAMES, OWN, PACKAGES, PROGRAMS, TITLES

# Values nearer to each other than this, relative, are equal: sums are taken in other orders.
EQUAL = 1e-9


def medians(results):
    """(criterion, (n, k), seconds) -> {program: median over the seeds}; infinite where half of them have no design."""
    values = {}
    for line in results:
        place = (line["criterion"], (line["n"], line["k"]), line["seconds"])
        value = math.inf if line["value"] is None else line["value"]
        values.setdefault(place, {}).setdefault(line["program"], []).append(value)
    return {place: {program: statistics.median(each) for program, each in by_program.items()}
            for place, by_program in values.items()}


def programs_of(results, criterion=None):
    """The programs that have results, in the order of the page."""
    names = {line["program"] for line in results if criterion in (None, line["criterion"])}
    return [program for program in PROGRAMS if program.name in names]


def name_of_cell(cell):
    return f"{cell[0]} x {cell[1]}"


def number(value, criterion):
    if math.isinf(value):
        return "–"
    return f"{value:.4f}" if criterion == "phip" else f"{value:#.5g}"


def table(criterion, seconds, programs, of_places):
    """One table: a row for each cell, a column for each program; the least value of a row is bold."""
    places = sorted(place for place in of_places if place[0] == criterion and place[2] == seconds)
    lines = ["| n x k | " + " | ".join(program.title for program in programs) + " |", "|---|" + "---:|" * len(programs)]
    for place in places:
        values = of_places[place]
        best = min(values.values())
        texts = []
        for program in programs:
            value = values.get(program.name)
            text = "" if value is None else number(value, criterion)
            bold = value is not None and not math.isinf(value) and value <= best * (1 + EQUAL)
            texts.append(f"**{text}**" if bold else text)
        lines.append(f"| {name_of_cell(place[1])} | " + " | ".join(texts) + " |")
    return lines


def dashes(criterion, programs, of_places):
    """Why a table has dashes: one line for each program."""
    lines = []
    for program in programs:
        missing = [f"{name_of_cell(cell)} in {seconds:g} s" for (of, cell, seconds), values in sorted(of_places.items())
                   if of == criterion and math.isinf(values.get(program.name, 0))]
        if missing:
            lines.append(f"- {program.title} has no design (–) at {', '.join(missing)}: its first call takes longer.")
    return lines


def verdict(of_places, programs):
    """Sentences: where a peer is better than our own program, and by how much."""
    better, equal, compared = [], 0, 0
    for (criterion, cell, seconds), values in sorted(of_places.items()):
        own = values.get(OWN, math.inf)
        if math.isinf(own):
            continue
        for program in programs:
            if program.name == OWN or program.name not in values:
                continue
            value = values[program.name]
            compared += 1
            if value < own * (1 - EQUAL):
                better.append(f"- {program.title} is better at {name_of_cell(cell)} in {seconds:g} s by "
                              f"{NAMES[criterion]}: {number(value, criterion)}, optdoe {number(own, criterion)}, "
                              f"which is {100 * (own / value - 1):.2g} % more.")
            elif value <= own * (1 + EQUAL):
                equal += 1
    if not compared:
        return ["optdoe itself was not measured beside others."]
    ties = f" Equal: {equal}." if equal else ""
    if not better:
        return [f"In none of {compared} comparisons (a peer, a cell, a time) is the peer better than optdoe.{ties}"]
    count = f"In {len(better)} of {compared} comparisons (a peer, a cell, a time)"
    return [f"{count} the peer is better than optdoe.{ties}", "", *better]


def of_fewer_seeds(results):
    """A sentence where some figures are of fewer seeds than others, as after an interruption."""
    seeds = {line["seed"] for line in results}
    counts = collections.Counter((line["program"], line["criterion"], line["n"], line["k"], line["seconds"])
                                 for line in results)
    fewer = sum(count < len(seeds) for count in counts.values())
    if not fewer:
        return []
    return [f"{fewer} of {len(counts)} figures are of fewer seeds: the measurement is not complete.", ""]


def heading(about, results):
    seeds = sorted({line["seed"] for line in results})
    seconds = sorted({line["seconds"] for line in results})
    versions = ", ".join(f"{name} {version}" for name, version in about["versions"].items())
    median = "of seed" if len(seeds) == 1 else "the median of seeds"
    return [
        "# Beside what people use instead", "",
        f"Written by `bench/peers/compare.sh`, measured on {about['date']}, not to be edited.", "",
        "The same seconds on one core for every program, and one judge for all designs: `optdoe evaluate`. Designs are "
        "handed over as whole levels 1..n, the ranks of each column, so that only the arrangement counts. Phi-p is "
        "taken with p = 20 on columns scaled to 0..1, the centered L2 discrepancy at the centres of the cells; smaller "
        f"is better for both. Each figure is {median} {', '.join(map(str, seeds))}; the best of a row is bold.", "",
        f"- Seconds: {', '.join(f'{each:g}' for each in seconds)}",
        f"- Runs at a time: {about['jobs']}, each on a core of its own",
        f"- Tree: {about['tree']}, preset `release`; {about['optdoe']}",
        f"- Debian packages: {versions}",
        f"- Processor: {about['processor']}, {about['cores']} cores in use",
        f"- System: {about['system']}", "",
        *of_fewer_seeds(results)]


def how_used(results):
    lines = ["## How each program was used", "",
             "The clock of a peer starts when it has loaded its packages. A program that can only be repeated is "
             "repeated until the time is over, and its best design by the criterion concerned is kept; one run of the "
             "longest time holds the results of the shorter ones. A program whose search depends on its length has a "
             "run for each time; it may end up to 10 % late, which counts as in time and is told below.", ""]
    named = {program.name for program in programs_of(results)}
    for program in programs_of(results):
        shares = [line["used"] / line["seconds"] for line in results
                  if line["program"] == program.name and line["used"] is not None]
        lines += [f"**{program.title}.** {program.use}"]
        if program.timed and shares:
            lines[-1] += f" Its latest design came after {100 * max(shares):.0f} % of its time."
        lines += [""]
    for package, text in PACKAGES.items():
        if any(name.startswith(package) for name in named):
            lines += [text, ""]
    return lines[:-1]


def write(about, results, picture):
    """The whole page. `picture` is the name of the picture beside it."""
    of_places = medians(results)
    lines = heading(about, results)
    lines += verdict(of_places, programs_of(results)) + ["", f"![Quality against time]({picture})", ""]
    for criterion, title in TITLES.items():
        programs = programs_of(results, criterion)
        if not programs:
            continue
        lines += [f"## {title}", ""]
        for seconds in sorted({place[2] for place in of_places if place[0] == criterion}):
            lines += [f"### {seconds:g} s", "", *table(criterion, seconds, programs, of_places), ""]
        notes = dashes(criterion, programs, of_places)
        lines += notes + [""] if notes else []
    return "\n".join(lines + how_used(results)) + "\n"
