"""Searches: new designs and runs added to old ones."""
from __future__ import annotations

import operator
import warnings
from typing import Any, List, Optional, Tuple

from . import _native
from ._arguments import Factors, factors_of, options_of
from ._design import Design, DesignLike, design_of
from ._progress import ProgressArgument, answer_of


class OptdoeWarning(UserWarning):
    """What the library remarks about a search, or that Ctrl-C ended it."""


def latin_hypercube(
    runs: Optional[int] = None,
    factors: Optional[Factors] = None,
    *,
    start: Optional[DesignLike] = None,
    progress: ProgressArgument = False,
    **settings: Any,
) -> Design:
    """Search for an optimal Latin hypercube design.

    Parameters
    ----------
    runs : int, optional
        Number of runs, at least 2. A `start` knows its own.
    factors : int, list or dict, optional
        The number of factors; a list of their names, or of the factors of another design; or a dict
        ``name -> (low, high)`` or ``name -> (low, high, unit)``. A `start` knows its own.
    start : Design, file or array_like, optional
        The design to begin with instead of a random one.
    progress : bool or callable, optional
        True draws a bar: by tqdm where it is installed, in notebooks too. A function is called about 20 times a second
        with a `Progress`; when its answer is true, the search ends with its best design.
    **settings
        Every setting of the library by its name with underscores, see `optdoe.settings`. The most used are

        - ``criterion``: "phip" (default), "entropy", "cd2" or "a2"
        - ``time``: seconds to search, on all cores; also "30s", "2m"
        - ``seed``: 0 .. 4294967294; without one the clock gives it, and the design tells it
        - ``starts``, ``jobs``, ``effort``, ``results``, ``resume``, ``shard``: campaigns of many searches
        - ``weights``, ``levels``: a number for all factors, or a list of one each
        - ``balanced``: level counts, each dividing the runs; ``symmetric=True``
        - ``coding``, ``placement``: how the design is written

    Returns
    -------
    Design
        Equal arguments with a seed give an equal design, the one of the program ``optdoe``, unless a clock or a stop
        ended the search.

    Raises
    ------
    ValueError
        A setting is out of its range or does not go with the others; the message names it.
    TypeError
        There is no such setting, or an argument is of the wrong kind.
    OSError
        A file that is to be read is not there.
    OptdoeError
        The library refuses the data, a file or the machine.
    KeyboardInterrupt
        Ctrl-C was pressed twice within a second.

    Warns
    -----
    OptdoeWarning
        The library has remarks, or Ctrl-C ended the search.

    Notes
    -----
    Other Python threads go on during a search. Ctrl-C in the main thread ends it: the best design so far is returned,
    with ``design.outcome.stopped`` set and an `OptdoeWarning`. A second Ctrl-C within a second raises
    KeyboardInterrupt, in this search or the next; what a progress function raises ends the search, too, and is raised
    here.

    Examples
    --------
    >>> import optdoe
    >>> design = optdoe.latin_hypercube(10, 2, seed=5)
    >>> round(design.objective, 6)
    3.146982
    >>> ranged = optdoe.latin_hypercube(50, {"Temp": (20, 80, "C"), "Flow": (1, 5)}, criterion="cd2", effort=100)
    >>> ranged.physical.shape
    (50, 2)
    """
    options, named = factors_of(factors)
    if runs is not None:
        options.append(("runs", operator.index(runs)))
    options += options_of(settings)
    begin = None if start is None else design_of(start)
    return _found(options, named, begin, None, 0, progress)


def augment(
    design: DesignLike,
    added: int,
    *,
    factors: Optional[Factors] = None,
    coding: Optional[str] = None,
    progress: ProgressArgument = False,
    **settings: Any,
) -> Design:
    """Add runs to a design, whose runs stay as they are.

    Parameters
    ----------
    design : Design, file or array_like
        The old runs.
    added : int
        Number of runs to add, at least 1.
    factors, coding
        What the numbers of the old runs mean, where the design does not know: see `from_array`.
    progress, **settings
        As in `latin_hypercube`.

    Returns
    -------
    Design
        The old runs, then the new ones.

    Raises
    ------
    ValueError, TypeError, OptdoeError, KeyboardInterrupt
        As in `latin_hypercube`.

    Warns
    -----
    OptdoeWarning
        Old runs share a stratum of a factor, or as in `latin_hypercube`.

    Examples
    --------
    >>> import optdoe
    >>> old = optdoe.latin_hypercube(10, {"Temp": (20, 80), "Flow": (1, 5)}, seed=5)
    >>> new = optdoe.augment(old, 5, seed=5)
    >>> len(new), bool((new.physical[:10] == old.physical).all())
    (15, True)
    """
    count = operator.index(added)
    if count < 1:
        raise ValueError(f"added: {count} is less than 1")
    return _found(options_of(settings), [], None, design_of(design, factors, coding), count, progress)


def _found(
    options: List[_native.Option],
    factors: List[_native.FactorTuple],
    start: Optional[Design],
    old: Optional[Design],
    added: int,
    progress: ProgressArgument,
) -> Design:
    """The design of a search; warnings name the line that called our caller."""
    answer, close = answer_of(progress, options)
    try:
        native, remarks, interrupted = _native.search(
            options,
            factors,
            None if start is None else start._native,
            None if old is None else old._native,
            added,
            answer,
        )
    finally:
        close()
    if remarks:
        warnings.warn(remarks.rstrip(), OptdoeWarning, stacklevel=3)
    if interrupted:
        warnings.warn("interrupted: this is the best design so far", OptdoeWarning, stacklevel=3)
    return Design(native)
