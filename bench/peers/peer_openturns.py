#!/usr/bin/env python3
"""OpenTURNS: simulated annealing (method annealing) and the best of many random designs (method montecarlo).

Called as improvements.py says. Both start from LHSExperiment at the centres of the cells, so that OpenTURNS sees the
designs that are judged.
"""

import numpy
import openturns

from improvements import Improvements, arguments

# More iterations fill the memory: OpenTURNS keeps value, probability and temperature of every one.
MOST_ITERATIONS = 2_000_000
# Temperatures at the two ends of an annealing, relative to the value of the last trial's design.
FIRST_TEMPERATURE = 1e-3
LAST_TEMPERATURE = 3e-6


def anneal(run, experiment, criterion, first, last, iterations):
    """One annealing whose temperature falls geometrically; returns the seconds and the value."""
    start = run.elapsed()
    profile = openturns.GeometricProfile(first, (last / first) ** (1 / iterations), iterations)
    search = openturns.SimulatedAnnealingLHS(experiment, criterion, profile)
    points = numpy.array(search.generate())
    value = search.getResult().getOptimalValue()
    run.offer(value, points)
    return run.elapsed() - start, value


def annealing(run, experiment, criterion):
    """One annealing over the time, or as many of the longest that the memory takes. Trials tell the speed."""
    first, last, iterations, took = 1.0, 1e-3, 10, 0.0
    while took < 0.02 * run.seconds:
        iterations *= 2
        took, value = anneal(run, experiment, criterion, first, last, iterations)
        first, last = value * FIRST_TEMPERATURE, value * LAST_TEMPERATURE
    while True:
        # A machine is not equally fast all the time: what is left over when it was faster goes to another annealing.
        iterations = min(MOST_ITERATIONS, int(0.95 * run.left() * iterations / took))
        if iterations < 20 or run.left() < 0.02 * run.seconds:
            return
        took, _ = anneal(run, experiment, criterion, first, last, iterations)


def montecarlo(run, experiment, criterion):
    """The best of random designs, some 100 ms of them at a time."""
    designs = 1
    while run.left() > 0:
        start = run.elapsed()
        search = openturns.MonteCarloLHS(experiment, designs, criterion)
        points = numpy.array(search.generate())
        run.offer(search.getResult().getOptimalValue(), points)
        designs = max(1, int(designs * min(0.1, run.left()) / (run.elapsed() - start)))


def main():
    method, criterion, n, k, seconds, seed, folder = arguments()
    openturns.RandomGenerator.SetSeed(seed)
    experiment = openturns.LHSExperiment(openturns.ComposedDistribution([openturns.Uniform(0.0, 1.0)] * k), n)
    experiment.setAlwaysShuffle(True)
    experiment.setRandomShift(False)
    space_filling = {"phip": lambda: openturns.SpaceFillingPhiP(20), "cd2": openturns.SpaceFillingC2}[criterion]()
    search = {"annealing": annealing, "montecarlo": montecarlo}[method]
    search(Improvements(folder, seconds), experiment, space_filling)


if __name__ == "__main__":
    main()
