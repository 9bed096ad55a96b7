"""Optimal designs where SciPy takes an engine of quasi-Monte Carlo samples."""
from __future__ import annotations

import operator
from typing import TYPE_CHECKING, Any, Optional, Union

import numpy as np
import numpy.typing as npt

from ._arguments import options_of
from ._search import latin_hypercube

if TYPE_CHECKING:

    class _Base:
        d: int
        num_generated: int

else:
    try:
        from scipy.stats.qmc import QMCEngine as _Base
    except ImportError:
        _Base = object

#: One more than the largest seed.
_SEEDS = 2**32 - 1


class Engine(_Base):
    """Samples that are optimal Latin hypercubes, as `scipy.stats.qmc.QMCEngine` hands out samples.

    With SciPy installed this is a subclass of its ``QMCEngine`` and goes wherever one is taken; without, it has
    ``random``, ``reset`` and ``fast_forward`` all the same.

    Parameters
    ----------
    d : int
        Dimension of the samples, at least 1.
    seed : int or numpy.random.Generator, optional
        Of the first sample, 0 .. 4294967294; a generator draws it, and the system's entropy without either. Sample i,
        counted from 0, has the seed ``seed + i``, going on at 0 behind the largest.
    **settings
        As in `latin_hypercube`: ``criterion``, ``time``, ``effort`` and so on. Of ``placement``, only "centres" lies
        in [0, 1).

    Notes
    -----
    A Latin hypercube of n points is no part of one of m points: each call of `random` is a search of its own, and
    ``random(5)`` twice is not ``random(10)``. A sample of one point is the middle of the cube.

    Examples
    --------
    >>> import optdoe
    >>> engine = optdoe.Engine(2, seed=5)
    >>> sample = engine.random(10)
    >>> bool((sample == optdoe.latin_hypercube(10, 2, seed=5).unit).all())
    True
    >>> second = engine.random(10)
    >>> bool((engine.reset().fast_forward(10).random(10) == second).all())
    True
    """

    def __init__(self, d: int, seed: Union[int, np.random.Generator, None] = None, **settings: Any) -> None:
        self.d = operator.index(d)
        if self.d < 1:
            raise ValueError(f"d: {self.d} is less than 1")
        if settings.get("placement") not in (None, "centres"):
            raise ValueError("placement: only centres lie in [0, 1)")
        if seed is None:
            seed = np.random.default_rng()
        if isinstance(seed, np.random.Generator):
            seed = int(seed.integers(_SEEDS))
        self.rng_seed = operator.index(seed)
        if not 0 <= self.rng_seed < _SEEDS:
            raise ValueError(f"seed: {self.rng_seed} is not in 0 .. {_SEEDS - 1}")
        options_of(settings)  # refuses unknown names now
        self._settings = settings
        self.reset()

    def random(self, n: int = 1, *, workers: Optional[int] = None) -> npt.NDArray[np.float64]:
        """Search for the next sample.

        Parameters
        ----------
        n : int, optional
            Number of points.
        workers : int, optional
            Searches at a time, where ``time`` or ``starts`` asks for several; -1 or None: the setting ``jobs``.

        Returns
        -------
        numpy.ndarray
            n x d, in [0, 1).
        """
        count = self._checked(n)
        sample = self._random(count, workers=workers)
        self._move(count)
        return sample

    def _random(self, n: int = 1, *, workers: Optional[int] = None) -> npt.NDArray[np.float64]:
        if n < 2:
            return np.full((n, self.d), 0.5)
        settings = dict(self._settings)
        if workers is not None and workers != -1:
            settings["jobs"] = workers
        return latin_hypercube(n, self.d, seed=(self.rng_seed + self._samples) % _SEEDS, **settings).unit

    def reset(self) -> Engine:
        """Begin again: the next sample is the first."""
        self.num_generated = 0
        self._samples = 0
        return self

    def fast_forward(self, n: int) -> Engine:
        """Skip one sample of n points, without a search."""
        self._move(self._checked(n))
        return self

    @staticmethod
    def _checked(n: int) -> int:
        count = operator.index(n)
        if count < 0:
            raise ValueError(f"n: {count} is less than 0")
        return count

    def _move(self, count: int) -> None:
        self.num_generated += count
        self._samples += 1
