"""Optimal Latin hypercube designs.

>>> import optdoe
>>> design = optdoe.latin_hypercube(50, {"Temp": (20, 80), "Flow": (1, 5)}, criterion="cd2", effort=100, seed=5)
>>> design.levels.shape
(50, 2)

`latin_hypercube` searches, `augment` adds runs, `evaluate` scores, `read` takes design files and `merge` results files.
`Engine` hands out samples as the engines of ``scipy.stats.qmc`` do. `settings` lists what a search can be told.

Errors
    ValueError for arguments that the library refuses, by their names; TypeError for arguments of the wrong kind and
    unknown settings; OSError for a file to be read that is not there; MemoryError; `OptdoeError`, a RuntimeError, for
    all else that is refused: a file, the data, the machine. Remarks of the library are `OptdoeWarning`.
Threads
    The interpreter lock is released while the library works. Designs do not change and may be shared by threads.
"""
from __future__ import annotations

from typing import TYPE_CHECKING, Any

from . import _native
from ._arguments import Factor, Setting, settings
from ._design import Design, History, Outcome, from_array, merge, parse, read
from ._native import OptdoeError
from ._progress import Progress
from ._scores import Measure, Scores, evaluate
from ._search import OptdoeWarning, augment, latin_hypercube

if TYPE_CHECKING:
    from ._engine import Engine

__version__ = _native.version

__all__ = [
    "Design",
    "Engine",
    "Factor",
    "History",
    "Measure",
    "OptdoeError",
    "OptdoeWarning",
    "Outcome",
    "Progress",
    "Scores",
    "Setting",
    "augment",
    "evaluate",
    "from_array",
    "latin_hypercube",
    "merge",
    "parse",
    "read",
    "settings",
]


def __getattr__(name: str) -> Any:
    # SciPy takes a second to import, so only who asks for an engine pays for it.
    if name == "Engine":
        from ._engine import Engine

        globals()[name] = Engine
        return Engine
    raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
