"""How a search stands: told to a function, or drawn as a bar."""
from __future__ import annotations

import math
import re
import sys
from typing import Any, Callable, List, NamedTuple, Optional, Tuple, Union

from . import _native


class Progress(NamedTuple):
    """How things stand in a search.

    Attributes
    ----------
    seconds : float
        Since the search began.
    searches, running : int
        Searches that are finished or cut, and searches at work.
    rounds : int
        Of the running searches.
    initial, best : float
        Objective of a start, and the lowest so far; NaN where none is known yet.
    best_seed : int
    best_seconds : float
        Seed of the search that found the best, and when it did.
    """

    seconds: float
    searches: int
    running: int
    rounds: int
    initial: float
    best: float
    best_seed: int
    best_seconds: float


#: False: no progress; True: a bar; a function: it is asked whether the search shall end.
ProgressArgument = Union[bool, Callable[[Progress], object]]


def answer_of(
    progress: ProgressArgument, options: List[_native.Option]
) -> Tuple[Optional[_native.Answer], Callable[[], None]]:
    """What the library calls during a search, and what ends it."""
    if callable(progress):
        function = progress
        return (lambda *how: function(Progress(*how))), _nothing
    if not progress:
        return None, _nothing
    bar = _Bar(dict(options))
    return bar.show, bar.close


def _nothing() -> None:
    pass


def seconds_of(time: Any) -> Optional[float]:
    """The setting `time` in seconds; None where it is not to be read, which the library then says."""
    if isinstance(time, (int, float)):
        return float(time)
    match = re.fullmatch(r"\s*([0-9.eE+-]+)\s*(s|m|h|)\s*", time) if isinstance(time, str) else None
    try:
        return float(match[1]) * {"": 1, "s": 1, "m": 60, "h": 3600}[match[2]] if match else None
    except ValueError:
        return None


class _Bar:
    """A bar against the time that is given, else against the number of searches, else a count of seconds.

    Short searches draw nothing.
    """

    appears_after = 0.2  # seconds

    def __init__(self, settings: dict[str, _native.Value]) -> None:
        self._by_searches = "time" not in settings and "starts" in settings
        total = settings.get("starts") if self._by_searches else seconds_of(settings.get("time"))
        self._total = float(total) if isinstance(total, (int, float)) else None
        self._new_bar = _maker()  # before the search, so that Ctrl-C never meets a half of an import
        self._bar: Any = None

    def show(self, *how: Any) -> bool:
        progress = Progress(*how)
        if progress.seconds < self.appears_after:
            return False
        if self._bar is None:
            self._bar = self._new_bar(self._total, " searches" if self._by_searches else " s")
        done = float(progress.searches if self._by_searches else round(progress.seconds, 1))
        self._bar.n = done if self._total is None else min(done, self._total)
        note = "" if math.isnan(progress.best) else f"best {progress.best:.6g}"
        self._bar.set_postfix_str(note, refresh=False)
        self._bar.refresh()
        return False

    def close(self) -> None:
        if self._bar is not None:
            self._bar.close()


def _maker() -> Callable[[Optional[float], str], Any]:
    """What makes a bar of a total and a unit."""
    try:
        from tqdm.auto import tqdm
    except ImportError:
        return _PlainBar

    def new_bar(total: Optional[float], unit: str) -> Any:
        line = "{n:g}" + unit + "{postfix}"
        return tqdm(total=total, bar_format="{l_bar}{bar}| " + line if total else line)

    return new_bar


class _PlainBar:
    """What is needed of tqdm, without it: one line on standard error."""

    width = 30

    def __init__(self, total: Optional[float], unit: str) -> None:
        self.n = 0.0
        self._total = total
        self._unit = unit
        self._note = ""

    def set_postfix_str(self, note: str, refresh: bool) -> None:
        self._note = note

    def refresh(self) -> None:
        line = f"{self.n:g}{self._unit}"
        if self._total:
            filled = int(self.width * self.n / self._total)
            line = f"[{'#' * filled}{'-' * (self.width - filled)}] {self.n:g}/{self._total:g}{self._unit}"
        sys.stderr.write(f"\r{line}  {self._note}   ")
        sys.stderr.flush()

    def close(self) -> None:
        sys.stderr.write("\n")
