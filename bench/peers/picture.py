"""The picture of the comparison: how far each program's median is above the best of a cell, against the seconds."""

import math

import matplotlib
from matplotlib import pyplot
from matplotlib.ticker import FixedLocator, FuncFormatter, NullLocator

from page import medians, name_of_cell, programs_of
from programs import NAMES, OWN, PROGRAMS, TITLES

COLUMNS = 4
# Colours that stay apart for colour-blind readers: Okabe and Ito, "Color Universal Design", 2008; its yellow is too
# faint for a line, and grey takes its place. Markers tell the programs apart without any colour.
COLOURS = ("#000000", "#0072B2", "#56B4E9", "#009E73", "#D55E00", "#E69F00", "#CC79A7", "#7F7F7F")
MARKERS = "osv^DPX*"
PERCENTS = (0, 1, 3, 10, 30, 100, 300, 1000)


def style_of(program):
    index = PROGRAMS.index(program)
    own = program.name == OWN
    return {"color": COLOURS[index], "marker": MARKERS[index], "markersize": 4, "linewidth": 2.2 if own else 1.1,
            "zorder": 3 if own else 2}


def draw_cell(axes, criterion, cell, of_places, programs):
    places = [place for place in of_places if place[:2] == (criterion, cell)]
    seconds = sorted(place[2] for place in places)
    best = min(value for place in places for value in of_places[place].values())
    for program in programs:
        values = [of_places[(criterion, cell, each)].get(program.name, math.inf) for each in seconds]
        shown = [(each, 100 * (value / best - 1)) for each, value in zip(seconds, values) if not math.isinf(value)]
        if shown:
            axes.plot(*zip(*shown), **style_of(program))
    axes.set_title(f"{NAMES[criterion]}, {name_of_cell(cell)}", fontsize=8)
    axes.set_xscale("log")
    axes.set_xlim(seconds[0] / 1.3, seconds[-1] * 1.3)
    axes.xaxis.set_major_locator(FixedLocator(seconds))
    axes.xaxis.set_minor_locator(NullLocator())
    axes.xaxis.set_major_formatter(FuncFormatter(lambda value, _: f"{value:g}"))
    axes.set_yscale("symlog", linthresh=1)
    axes.set_ylim(-0.15, 2000)
    axes.yaxis.set_major_locator(FixedLocator(PERCENTS))
    axes.yaxis.set_minor_locator(NullLocator())
    axes.yaxis.set_major_formatter(FuncFormatter(lambda value, _: f"{value:g} %"))
    axes.tick_params(labelsize=7)
    axes.grid(True, linewidth=0.4, color="#dddddd")


def draw(path, results):
    """Writes the picture as SVG, the same bytes for the same results."""
    matplotlib.rcParams.update({"svg.hashsalt": "quality", "svg.fonttype": "path", "font.family": "DejaVu Sans"})
    of_places = medians(results)
    cells = sorted({(list(TITLES).index(place[0]), place[1]) for place in of_places
                    if not all(map(math.isinf, of_places[place].values()))})
    programs = programs_of(results)
    columns = min(COLUMNS, len(cells))
    rows = -(-len(cells) // columns)
    figure, grid = pyplot.subplots(rows, columns, figsize=(8, 1.9 * rows + 1), sharey=True, squeeze=False)
    for axes, (criterion, cell) in zip(grid.flat, cells):
        draw_cell(axes, list(TITLES)[criterion], cell, of_places, programs)
    for axes in grid.flat[len(cells):]:
        axes.set_visible(False)
    figure.supxlabel("seconds on one core", fontsize=8, y=0.6 / figure.get_figheight())
    figure.supylabel("above the best value of the cell", fontsize=8)
    figure.legend(handles=[pyplot.Line2D([], [], label=program.title, **style_of(program)) for program in programs],
                  loc="lower center", ncol=4, fontsize=7, frameon=False)
    figure.tight_layout(rect=(0.01, 0.6 / figure.get_figheight(), 1, 1), pad=0.5)
    figure.savefig(path, format="svg", metadata={"Date": None})
