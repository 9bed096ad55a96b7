"""How good a design is."""
from __future__ import annotations

from typing import TYPE_CHECKING, Dict, Iterator, Mapping, NamedTuple, Optional, Sequence, Tuple, Union

from . import _native
from ._arguments import Factors, options_of
from ._design import DesignLike, design_of

if TYPE_CHECKING:
    import pandas


class Measure(NamedTuple):
    """A measure of a design.

    Attributes
    ----------
    key, label : str
        Its name in programs and its name for people.
    value : float
        NaN where the measure does not apply.
    random_mean : float
        Mean of the random designs; NaN where it does not apply or none were asked for.
    where : str
        The pair of runs or factors that the value is taken at; may be empty.
    """

    key: str
    label: str
    value: float
    random_mean: float
    where: str


class Scores(Mapping[str, Measure]):
    """The measures of a design by their keys; as text, the table that the program prints."""

    def __init__(self, measures: Tuple[Measure, ...], table: str) -> None:
        self._measures = {measure.key: measure for measure in measures}
        self._table = table

    def __getitem__(self, key: str) -> Measure:
        return self._measures[key]

    def __iter__(self) -> Iterator[str]:
        return iter(self._measures)

    def __len__(self) -> int:
        return len(self._measures)

    def __str__(self) -> str:
        return self._table

    def __repr__(self) -> str:
        return f"<optdoe.Scores: {', '.join(self)}>"

    def to_dict(self) -> Dict[str, float]:
        """Return the values by their keys."""
        return {key: measure.value for key, measure in self.items()}

    def to_frame(self) -> pandas.DataFrame:
        """Return a pandas data frame: a row a measure, with label, value, random_mean and where.

        Raises
        ------
        ImportError
            pandas is not installed.
        """
        import pandas

        return pandas.DataFrame(list(self.values()), columns=list(Measure._fields)).set_index("key")


def evaluate(
    x: DesignLike,
    *,
    factors: Optional[Factors] = None,
    coding: Optional[str] = None,
    random_designs: int = 200,
    p: Optional[int] = None,
    distance: Optional[str] = None,
    theta: Union[float, Sequence[float], None] = None,
    weights: Union[float, Sequence[float], None] = None,
    scaling: Optional[str] = None,
) -> Scores:
    """Score a design by all measures, with random Latin hypercubes beside it.

    Parameters
    ----------
    x : Design, file or array_like
        A design of at least two runs.
    factors, coding
        What the numbers mean, where the design does not know: see `from_array`. Points in the unit cube that shall be
        measured where they are take ``coding="unit"``; without a coding, each column is scaled to 0..1 first.
    random_designs : int, optional
        How many to compare with, 0 .. 100000. They are the same at each call.
    p, distance, theta, weights, scaling : optional
        Settings of criteria that go before those the design records: see `optdoe.settings`.

    Returns
    -------
    Scores

    Raises
    ------
    ValueError, TypeError, OSError, OptdoeError
        As in `from_array`, `read` and `latin_hypercube`.

    Examples
    --------
    >>> import optdoe
    >>> scores = optdoe.evaluate(optdoe.latin_hypercube(10, 2, seed=5), random_designs=50)
    >>> scores["smallest_distance"].value > scores["smallest_distance"].random_mean
    True
    >>> scores["latin_columns"].value
    2.0
    """
    design = design_of(x, factors, coding)
    overrides = {"p": p, "distance": distance, "theta": theta, "weights": weights, "scaling": scaling}
    measures, table = _native.evaluate(design._native, options_of(overrides), random_designs)
    return Scores(tuple(Measure(*measure) for measure in measures), table)
