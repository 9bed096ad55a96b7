"""Designs, and where they come from: files, texts, arrays, results of campaigns."""
from __future__ import annotations

import csv
import html
import io
import json
import os
from typing import TYPE_CHECKING, Any, Dict, Iterable, NamedTuple, Optional, Tuple, Union

import numpy as np
import numpy.typing as npt

from . import _native
from ._arguments import (
    Factor,
    Factors,
    File,
    existing_file,
    factors_of,
    file_of,
    number_or_none,
    numbers_of,
    options_of,
)

if TYPE_CHECKING:
    import matplotlib.figure
    import pandas


class Outcome(NamedTuple):
    """What came of a search.

    Attributes
    ----------
    objective : float
        Of the design as it is written; NaN where the criterion does not apply.
    initial : float
        Of the start of the search that found the design.
    seconds : float
        That everything took.
    searches : int
        That were made.
    rounds : int
        Of the search that found the design.
    seed : int
        Of that search.
    stopped : bool
        True when Ctrl-C or the progress function ended it.
    """

    objective: float
    initial: float
    seconds: float
    searches: int
    rounds: int
    seed: int
    stopped: bool


class History(NamedTuple):
    """The course of a search, or of several: arrays of one length.

    Attributes
    ----------
    seed : numpy.ndarray of uint32
        Of the search that a row belongs to.
    round : numpy.ndarray of int64
    seconds : numpy.ndarray of float64
        Since everything began.
    objective : numpy.ndarray of float64
    """

    seed: npt.NDArray[np.uint32]
    round: npt.NDArray[np.int64]
    seconds: npt.NDArray[np.float64]
    objective: npt.NDArray[np.float64]


class Design:
    """A design: its numbers, its factors and how it came about.

    Designs come from `latin_hypercube`, `augment`, `read`, `parse`, `from_array` and `merge`, and do not change. Each
    use of `levels`, `unit`, `physical` and `values` fills a new array, which is the caller's own. Any number of threads
    may use a design. Pickling keeps what a design file holds: all but `outcome` and `history`.

    Examples
    --------
    >>> import optdoe
    >>> design = optdoe.latin_hypercube(10, {"Temp": (20, 80, "C"), "Flow": (1, 5)}, seed=5)
    >>> design
    <optdoe.Design of 10 runs x 2 factors: Temp, Flow>
    >>> design.levels[:3].tolist()
    [[8, 2], [6, 7], [4, 1]]
    >>> design.physical[0].tolist()
    [65.0, 1.6]
    """

    __slots__ = ("_native",)

    def __init__(self, native: _native.Design) -> None:
        self._native = native

    @property
    def runs(self) -> int:
        """Number of runs."""
        return self._native.size()[0]

    @property
    def factors(self) -> Tuple[Factor, ...]:
        """The factors, with names, ranges, units and numbers of levels."""
        return tuple(
            Factor(name, number_or_none(low), number_or_none(high), unit, levels)
            for name, low, high, unit, levels in self._native.factors()
        )

    @property
    def names(self) -> Tuple[str, ...]:
        """The names of the factors."""
        return tuple(factor.name for factor in self.factors)

    @property
    def levels(self) -> npt.NDArray[np.int32]:
        """Levels, counted from 1, runs x factors.

        OptdoeError where no level is known or added runs stand between levels: see `values`.
        """
        return self._native.levels()

    @property
    def unit(self) -> npt.NDArray[np.float64]:
        """The runs in the unit cube, runs x factors; OptdoeError where no level is known."""
        return self.values("unit")

    @property
    def physical(self) -> npt.NDArray[np.float64]:
        """The runs in the ranges of the factors, runs x factors; OptdoeError without ranges."""
        return self.values("physical")

    def values(self, coding: str = "written") -> npt.NDArray[np.float64]:
        """Return the numbers of the design.

        Parameters
        ----------
        coding : {"written", "levels", "unit", "physical"}
            As they stand in the design's file (physical with ranges, else levels, where nothing else was asked for);
            levels, which need not be whole here; in 0..1; in the factors' ranges.

        Returns
        -------
        numpy.ndarray of float64
            Runs x factors.

        Raises
        ------
        ValueError
            No such coding.
        OptdoeError
            No level or no range is known.

        Examples
        --------
        >>> import optdoe
        >>> optdoe.latin_hypercube(4, 1, seed=1).values("unit").max()
        0.875
        """
        return self._native.values(coding)

    @property
    def outcome(self) -> Optional[Outcome]:
        """What came of the search; None for a design that was read or given."""
        outcome = self._native.outcome()
        return None if outcome is None else Outcome(*outcome)

    @property
    def provenance(self) -> Dict[str, Any]:
        """How the design came about: program, version, command, seed, settings, coding, objective and more.

        The command repeats the design. Empty where nothing is known.
        """
        provenance: Dict[str, Any] = json.loads(self._native.provenance())
        return provenance

    @property
    def objective(self) -> Optional[float]:
        """The objective that the search reached or the file records; None where there is none."""
        outcome = self.outcome
        return self.provenance.get("objective") if outcome is None else number_or_none(outcome.objective)

    @property
    def seed(self) -> Optional[int]:
        """The seed that makes the design again; None where it is not known."""
        outcome = self.outcome
        return self.provenance.get("seed") if outcome is None else outcome.seed

    @property
    def history(self) -> History:
        """The course of the search; without rows for a design that no search made."""
        rows = list(csv.DictReader(io.StringIO(self._native.history())))
        seed = self.seed or 0
        return History(
            np.array([row.get("seed", seed) for row in rows], dtype=np.uint32),
            np.array([row["round"] for row in rows], dtype=np.int64),
            np.array([row["seconds"] for row in rows], dtype=np.float64),
            np.array([row["objective"] for row in rows], dtype=np.float64),
        )

    def to_frame(self, coding: Optional[str] = None) -> pandas.DataFrame:
        """Return the design as a pandas data frame: a row a run, counted from 1, a column a factor.

        Parameters
        ----------
        coding : {"written", "levels", "unit", "physical"}, optional
            See `values`. Without one: the physical values where the factors have ranges, else the levels where they
            are whole, else the numbers as written.

        Raises
        ------
        ImportError
            pandas is not installed.
        """
        import pandas

        values = self._plain_values() if coding is None else self.values(coding)
        index = pandas.RangeIndex(1, len(values) + 1, name="run")
        return pandas.DataFrame(values, index=index, columns=list(self.names))

    def _plain_values(self) -> npt.NDArray[Any]:
        if all(factor.low is not None for factor in self.factors):
            return self.values("physical")
        try:
            return self.levels
        except _native.OptdoeError:
            return self.values("written")

    def text(self, format: str = "csv") -> str:
        """Return the design file as text, "csv" or "json"."""
        return self._native.text(format)

    def write(self, file: File) -> None:
        """Write the design file: JSON where the name ends in .json, else CSV.

        The file appears whole or not at all.

        Raises
        ------
        OptdoeError
            The file cannot be written.
        """
        self._native.write(file_of(file))

    def report(self, file: File, random_designs: int = 200) -> None:
        """Write an HTML page about the design, with this many random designs beside it.

        Raises
        ------
        OptdoeError
            The file cannot be written.
        """
        self._native.report(file_of(file), random_designs)

    def plot(self, file: File) -> None:
        """Draw the design by gnuplot, to a file whose name ends in .svg, .png or .pdf.

        `figure` draws by matplotlib.

        Raises
        ------
        OptdoeError
            gnuplot is not there, or the file cannot be written.
        """
        self._native.plot(file_of(file))

    def figure(self, coding: Optional[str] = None) -> matplotlib.figure.Figure:
        """Draw each factor against each other, by matplotlib.

        Parameters
        ----------
        coding : str, optional
            As in `to_frame`.

        Raises
        ------
        ImportError
            matplotlib is not installed.
        """
        from matplotlib import pyplot

        values = self._plain_values() if coding is None else self.values(coding)
        labels = [f"{f.name} [{f.unit}]" if f.unit and coding in (None, "physical") else f.name for f in self.factors]
        count = max(len(labels) - 1, 1)
        figure, axes = pyplot.subplots(count, count, squeeze=False, figsize=(2.2 * count + 1, 2.2 * count + 1))
        for row, column in np.ndindex(count, count):
            panel = axes[row, column]
            if column > row:
                panel.set_visible(False)
                continue
            across, up = column, min(row + 1, len(labels) - 1)
            panel.plot(values[:, across], values[:, up], "o", markersize=3)
            if row == count - 1:
                panel.set_xlabel(labels[across])
            if column == 0:
                panel.set_ylabel(labels[up])
        figure.tight_layout()
        return figure

    def __len__(self) -> int:
        return self.runs

    def __array__(self, dtype: Any = None, copy: Optional[bool] = None) -> npt.NDArray[Any]:
        """The numbers as written."""
        if copy is False:
            raise ValueError("the array of a design is always a new one")
        return np.asarray(self.values("written"), dtype=dtype)

    def __repr__(self) -> str:
        runs, factors = self._native.size()
        names = ", ".join(self.names[:8]) + (", ..." if factors > 8 else "")
        return f"<optdoe.Design of {runs} runs x {factors} factor{'s' if factors != 1 else ''}: {names}>"

    def _repr_html_(self) -> str:
        def row(cell: str, texts: Iterable[object]) -> str:
            return "<tr>" + "".join(f"<{cell}>{html.escape(str(text))}</{cell}>" for text in texts) + "</tr>"

        values = self._plain_values()
        shown = min(len(values), 20)
        lines = [row("td", [run + 1, *(f"{value:g}" for value in values[run])]) for run in range(shown)]
        if shown < len(values):
            lines.append(row("td", ["..."] * (len(self.factors) + 1)))
        heads = [f"{f.name} [{f.unit}]" if f.unit else f.name for f in self.factors]
        return f"<table><thead>{row('th', ['run', *heads])}</thead><tbody>{''.join(lines)}</tbody></table>"

    def __reduce__(self) -> Tuple[Any, ...]:
        return parse, (self.text("json"),)


def interpreted(native: _native.Design, factors: Optional[Factors], coding: Optional[str]) -> Design:
    """The design with what its factors and numbers mean, where it does not know that itself."""
    if factors is not None or coding is not None:
        count, named = factors_of(factors)
        if count:
            raise TypeError("factors: names or ranges are needed; the number follows from the design")
        native.interpret(options_of({"coding": coding}), named)
    return Design(native)


def read(file: File, *, factors: Optional[Factors] = None, coding: Optional[str] = None) -> Design:
    """Read a design file, CSV or JSON, ours or another program's.

    Parameters
    ----------
    file : str or os.PathLike
    factors : list or dict, optional
        Names, ranges and units, where the file does not tell: see `latin_hypercube`.
    coding : {"levels", "unit", "physical"}, optional
        What the numbers mean, where the file does not tell.

    Returns
    -------
    Design

    Raises
    ------
    OSError
        The file is not there.
    OptdoeError
        The file holds no design; the message names line and column.
    ValueError
        `factors` or `coding` contradict what the file says.

    Examples
    --------
    >>> import optdoe
    >>> optdoe.latin_hypercube(6, 2, seed=5).write("d.csv")
    >>> optdoe.read("d.csv").seed
    5
    """
    return interpreted(_native.Design.read(existing_file(file)), factors, coding)


def parse(text: str, *, factors: Optional[Factors] = None, coding: Optional[str] = None) -> Design:
    """Read a design from text.

    Parameters
    ----------
    text : str
        What a file holds.
    factors, coding
        As in `read`.

    Returns
    -------
    Design

    Raises
    ------
    OptdoeError, ValueError
        As in `read`.

    Examples
    --------
    >>> import optdoe
    >>> optdoe.parse("a,b\\n1,2\\n2,1\\n", coding="levels").names
    ('a', 'b')
    """
    return interpreted(_native.Design.parse(text), factors, coding)


def from_array(
    values: npt.ArrayLike, *, factors: Optional[Factors] = None, coding: Optional[str] = None
) -> Design:
    """Make a design of numbers.

    Parameters
    ----------
    values : array_like or pandas.DataFrame
        Runs x factors: finite integers or floats, in any order in memory. They are copied. A data frame whose
        columns have names names the factors.
    factors : list or dict, optional
        Names, ranges and units: see `latin_hypercube`.
    coding : {"levels", "unit", "physical"}, optional
        What the numbers mean. Without it they are some numbers, whose columns measures scale to 0..1.

    Returns
    -------
    Design

    Raises
    ------
    ValueError
        The numbers are no table, are not finite, or not what `coding` says.
    TypeError
        They are no real numbers.

    Examples
    --------
    >>> import optdoe
    >>> optdoe.from_array([[0.25, 0.75], [0.75, 0.25]], coding="unit").levels.tolist()
    [[1, 2], [2, 1]]
    """
    columns = list(getattr(values, "columns", []))
    if factors is None and columns and all(isinstance(name, str) for name in columns):
        factors = columns
    return interpreted(_native.Design.of(numbers_of(values)), factors, coding)


def merge(files: Iterable[File], *, incomplete: bool = False) -> Design:
    """Take the best of the results files of one problem, or of parts of it.

    Parameters
    ----------
    files : list of str or os.PathLike
        Written by `results`, a setting of `latin_hypercube`.
    incomplete : bool, optional
        Also where starts that were asked for are missing.

    Returns
    -------
    Design

    Raises
    ------
    OSError
        A file is not there.
    OptdoeError
        The files are not of one problem, or searches are missing.
    """
    if isinstance(files, (str, bytes, os.PathLike)):
        raise TypeError("files: a list of files is needed")
    return Design(_native.Design.merge([existing_file(file) for file in files], incomplete))


#: What stands for a design: one, the name of its file, or its numbers.
DesignLike = Union[Design, File, npt.ArrayLike]


def design_of(x: DesignLike, factors: Optional[Factors] = None, coding: Optional[str] = None) -> Design:
    """The design that an argument stands for."""
    if isinstance(x, Design):
        if factors is None and coding is None:
            return x
        # A design does not change: a copy is told what its numbers mean.
        return parse(x.text("json"), factors=factors, coding=coding)
    if isinstance(x, (str, os.PathLike)):
        return read(x, factors=factors, coding=coding)
    return from_array(x, factors=factors, coding=coding)
