"""The programs that are compared: how each is run, its name in the page, and what the page says of its use."""

import pathlib
import sys
from dataclasses import dataclass

HERE = pathlib.Path(__file__).resolve().parent
PYTHON = (sys.executable, "-B")
OWN = "optdoe"

# What the criteria are called in a command, in the answer of `optdoe evaluate --json`, in a sentence and in a heading.
MEASURES = {"phip": "objective_phip", "cd2": "objective_cd2"}
NAMES = {"phip": "phi-p", "cd2": "centered L2"}
TITLES = {"phip": "Phi-p, p = 20", "cd2": "Centered L2 discrepancy, squared"}


@dataclass(frozen=True)
class Program:
    """
    name        in options, and in the file of what was measured
    title       in tables and in the picture
    criteria    those that it is compared for
    command     what runs it; see improvements.py for the arguments that follow. Empty: our own program
    timed       True: its search depends on the seconds given, so that each time is a run of its own.
                False: one run of the longest time holds the results of the shorter ones
    use         Markdown: what is called, with which parameters, and why
    """

    name: str
    title: str
    criteria: tuple
    command: tuple
    timed: bool
    use: str


PROGRAMS = (
    Program(
        OWN, "optdoe", ("phip", "cd2"), (), True,
        "`optdoe N K --time SECONDS --jobs 1 --criterion CRITERION --seed SEED`. It is told its time limit. "
        "The seconds count from the start of the process to its end, writing included."),
    Program(
        "openturns-annealing", "OpenTURNS annealing", ("phip", "cd2"),
        (*PYTHON, str(HERE / "peer_openturns.py"), "annealing"), True,
        "`SimulatedAnnealingLHS` with `SpaceFillingPhiP(20)` or `SpaceFillingC2()` and a `GeometricProfile`, "
        "on an `LHSExperiment` at the centres of the cells. It takes a number of iterations and no time "
        "limit: short trials tell its speed, and one annealing is made that fills the time. The documented "
        "example cools from 10 by 0.95 an iteration, 2,000 times, and has next to no temperature after some "
        "hundreds. Here the temperature falls over the whole length, from 1e-3 to 3e-6 of the value of the "
        "last trial's design. In 2.5 s, medians of three seeds, this gave 3.487 at 30 x 3, 2.233 at 50 x 5 "
        "and 1.453 at 100 x 10 by phi-p, 0.002282 at 50 x 5 and 0.006099 at 200 x 10 by centered L2; repeated"
        " annealings with the example's cooling gave 3.510, 2.308, 1.462, 0.002472 and 0.007267 with 20,000 "
        "iterations each, more with 2,000; falling from 1e-2 to 1e-5 gave 3.458, 2.228, 1.467, 0.002291 and "
        "0.006384. OpenTURNS stores three numbers for every iteration, so that an annealing has at most "
        "2,000,000; what time is left goes to further ones from new designs."),
    Program(
        "openturns-montecarlo", "OpenTURNS Monte Carlo", ("phip", "cd2"),
        (*PYTHON, str(HERE / "peer_openturns.py"), "montecarlo"), False,
        "`MonteCarloLHS` with the same criteria on the same `LHSExperiment`: the best of as many random "
        "designs as the time allows."),
    Program(
        "scipy", "SciPy random-cd", ("cd2",),
        (*PYTHON, str(HERE / "peer_scipy.py"), "random-cd"), False,
        "`scipy.stats.qmc.LatinHypercube(d, scramble=False, optimization=\"random-cd\")`, designs made one "
        "after another and the best kept. Each ends after 10,000 exchanges or 100 in a row without success, "
        "which the class gives its caller no way to change. SciPy optimises no distance criterion and is not "
        "shown for phi-p; its other optimisation, `lloyd`, does not keep the designs Latin."),
    Program(
        "lhs-optimum", "R lhs optimumLHS", ("phip",),
        ("Rscript", str(HERE / "peer_lhs.R"), "optimum"), False,
        "`optimumLHS(n, k)`, exchanges within columns by the package's criterion S. Where the first call took"
        " less than a twentieth of the longest time, those that follow have `maxSweeps = 20, eps = 0.001`: at"
        " 50 x 5 one of these gave 2.354 by phi-p in 1.5 s, nine with the defaults 3.106. A call cannot be "
        "told when to end."),
    Program(
        "lhs-improved", "R lhs improvedLHS", ("phip",),
        ("Rscript", str(HERE / "peer_lhs.R"), "improved"), False,
        "`improvedLHS(n, k, dup = 5)`, which builds a design point by point, again and again. In 1 s, medians"
        " of three seeds by phi-p: 2.633 at 50 x 5, where `dup` = 1 and 20 gave 2.665 and 2.646."),
    Program(
        "lhs-maximin", "R lhs maximinLHS", ("phip",),
        ("Rscript", str(HERE / "peer_lhs.R"), "maximin"), False,
        "`maximinLHS(n, k)`, which builds a design point by point, again and again. In 1 s, medians of three "
        "seeds by phi-p: 1.915 at 100 x 10, where `dup` = 5 and 20 gave 2.183 and 2.607 in place of its "
        "default 1. Its other method, `iterative`, tries all exchanges before each step in R itself: 3 s for "
        "one design of 50 x 5 with 2.971."),
    Program(
        "lhs-genetic", "R lhs geneticLHS", ("phip",),
        ("Rscript", str(HERE / "peer_lhs.R"), "genetic"), False,
        "`geneticLHS(n, k, pop = 100, gen, pMut = 0.25, criterium = \"Maximin\")`, again and again; `gen` is 4,"
        " the default, in the first call and 100 in those that follow where the first took less than a "
        "twentieth of the longest time. In 1 s, medians of three seeds by phi-p: 1.835 at 100 x 10, where "
        "`gen` = 4 and 20 gave 1.869 and 1.880."),
)

# Said once of all programs of a package.
PACKAGES = {
    "lhs": "R's `lhs` has no phi-p: its functions seek great distances by criteria of their own, and the best of their "
           "designs by phi-p is kept, the time of judging them included. It has no centered L2 discrepancy and is not "
           "shown for it.",
}
