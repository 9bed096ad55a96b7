#!/usr/bin/env python3
"""SciPy's Latin hypercubes of low centered discrepancy, made one after another. Called as improvements.py says.

LatinHypercube(optimization="random-cd") exchanges entries at random and keeps what lowers the discrepancy; it ends
after 10,000 tries or 100 in a row without success, limits that the class does not open to its caller.
"""

import numpy
from scipy.stats import qmc

from improvements import Improvements, arguments


def main():
    _, criterion, n, k, seconds, seed, folder = arguments()
    if criterion != "cd2":
        raise SystemExit("SciPy optimises the centered discrepancy only")
    run = Improvements(folder, seconds)
    # scramble=False: points at the centres of the cells, as they are judged.
    engine = qmc.LatinHypercube(d=k, scramble=False, optimization="random-cd", seed=numpy.random.default_rng(seed))
    while run.left() > 0:
        points = engine.random(n)
        run.offer(qmc.discrepancy(points), points)


if __name__ == "__main__":
    main()
