"""What callers may give, brought into the forms that the library takes; refusals name the argument."""
from __future__ import annotations

import difflib
import math
import os
from typing import Any, Iterable, List, Mapping, NamedTuple, Optional, Sequence, Tuple, Union

import numpy as np
import numpy.typing as npt

from . import _native

#: A file, by name or as a path.
File = Union[str, "os.PathLike[str]"]
#: The range of a factor with its unit or without.
Range = Union[Tuple[float, float], Tuple[float, float, str]]


class Factor(NamedTuple):
    """A factor of a design.

    Attributes
    ----------
    name : str
    low, high : float or None
        The range of its physical values; None where there is none.
    unit : str
        Of the physical values; may be empty.
    levels : int
        How many levels the factor has in a design; 0 before there is one.
    """

    name: str
    low: Optional[float] = None
    high: Optional[float] = None
    unit: str = ""
    levels: int = 0


#: How factors are given: their number, their names (or factors of another design), or their ranges by name.
Factors = Union[int, Sequence[Union[str, Factor]], Mapping[str, Optional[Range]]]


class Setting(NamedTuple):
    """A setting of the library, as a keyword takes it.

    Attributes
    ----------
    name : str
    help : str
        A sentence, with range or choices and the default in words.
    low, high, default : float or None
        None where a setting has none, or where it depends on the design.
    """

    name: str
    help: str
    low: Optional[float]
    high: Optional[float]
    default: Optional[float]


def number_or_none(value: float) -> Optional[float]:
    return None if math.isnan(value) else value


#: Settings that name a file to be read.
_READ = frozenset({"bounds", "resume"})
#: Options of the library that are arguments of functions here.
_ARGUMENTS = frozenset({"runs", "factors", "factor", "start", "add"})


def settings() -> Tuple[Setting, ...]:
    """List the settings of the library.

    Returns
    -------
    tuple of Setting
        In the order of the program's help. Each name is a keyword of `latin_hypercube`, and of `augment` where it
        applies.

    Examples
    --------
    >>> import optdoe
    >>> p = next(s for s in optdoe.settings() if s.name == "p")
    >>> p.low, p.high, p.default
    (0.0, 100.0, 20.0)
    """
    return tuple(
        Setting(name.replace("-", "_"), text, number_or_none(low), number_or_none(high), number_or_none(default))
        for name, text, low, high, default in _native.settings()
        if name not in _ARGUMENTS
    )


_known = frozenset(setting.name for setting in settings())


def options_of(keywords: Mapping[str, Any]) -> List[_native.Option]:
    """Settings in the library's forms; None leaves one at its default."""
    options: List[_native.Option] = []
    for name, value in keywords.items():
        if name not in _known:
            near = difflib.get_close_matches(name, _known, 1)
            raise TypeError(f"no setting is called {name!r}" + (f"; did you mean {near[0]!r}?" if near else ""))
        if value is not None:
            options.append((name, _value_of(name, value)))
        if name in _READ and isinstance(value, (str, os.PathLike)):
            os.stat(value)
    return options


def _value_of(name: str, value: Any) -> _native.Value:
    if isinstance(value, (bool, int, float, str)):
        return value
    if isinstance(value, os.PathLike):
        return os.fsencode(value)
    array = np.asarray(value)
    if array.ndim > 1 or array.dtype.kind not in "biuf":
        raise TypeError(f"{name}: takes a number, a text or a list of numbers, not {value!r}")
    if array.size == 0:
        raise ValueError(f"{name}: an empty list says nothing")
    return float(array) if array.ndim == 0 else np.require(array, np.float64, ["C", "ALIGNED"])


def factors_of(factors: Optional[Factors]) -> Tuple[List[_native.Option], List[_native.FactorTuple]]:
    """Factors in the library's forms: their number as a setting, or a list."""
    if factors is None:
        return [], []
    if isinstance(factors, (int, np.integer)):
        return [("factors", int(factors))], []
    if isinstance(factors, Mapping):
        return [], [_with_range(name, limits) for name, limits in factors.items()]
    if isinstance(factors, str) or not isinstance(factors, Iterable):
        raise TypeError(f"factors: a number, a list of names or a dict name -> (low, high[, unit]), not {factors!r}")
    return [], [_named(factor) for factor in factors]


def _named(factor: Union[str, Factor]) -> _native.FactorTuple:
    if isinstance(factor, str):
        return factor, math.nan, math.nan, ""
    if not isinstance(factor, Factor):
        raise TypeError(f"factors: the names are text, not {factor!r}")
    if factor.low is None or factor.high is None:
        return factor.name, math.nan, math.nan, factor.unit
    return factor.name, factor.low, factor.high, factor.unit


def _with_range(name: str, limits: Optional[Range]) -> _native.FactorTuple:
    if not isinstance(name, str):
        raise TypeError(f"factors: the names are text, not {name!r}")
    if limits is None:
        return name, math.nan, math.nan, ""
    try:
        low, high, *unit = limits
        (text,) = unit or [""]
        ends = float(low), float(high)
    except (TypeError, ValueError):
        raise TypeError(f"factor {name}: (low, high) or (low, high, unit) is needed, not {limits!r}") from None
    if not all(map(math.isfinite, ends)):
        raise ValueError(f"factor {name}: the range {ends[0]} .. {ends[1]} is not finite")
    if not isinstance(text, str):
        raise TypeError(f"factor {name}: the unit is text, not {text!r}")
    return name, ends[0], ends[1], text


def file_of(file: File) -> bytes:
    return os.fsencode(file)


def existing_file(file: File) -> bytes:
    """The name of a file that is there; OSError where it is not."""
    os.stat(file)
    return os.fsencode(file)


def numbers_of(x: Any) -> npt.NDArray[np.float64]:
    """A table runs x factors of finite numbers; of other number types and orders in memory, a copy."""
    if isinstance(x, np.ma.MaskedArray) and x.mask.any():
        raise ValueError("design: some of its numbers are masked")
    array = np.asarray(x)
    if array.dtype.kind not in "iuf":
        raise TypeError(f"design: real numbers are needed, not {array.dtype}")
    if array.ndim != 2:
        raise ValueError(f"design: runs x factors are needed, not an array of shape {array.shape}")
    if array.size == 0:
        raise ValueError(f"design: an array of shape {array.shape} holds no numbers")
    if array.size > 2**31 - 1:
        raise ValueError(f"design: {array.shape[0]} x {array.shape[1]} numbers are too many, the most is 2147483647")
    numbers = np.require(array, np.float64, ["C", "ALIGNED"])
    if not np.isfinite(numbers).all():
        run, factor = np.argwhere(~np.isfinite(numbers))[0]
        raise ValueError(f"design: run {run + 1} of factor {factor + 1} is {numbers[run, factor]}")
    return numbers
