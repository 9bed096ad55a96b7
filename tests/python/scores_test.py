"""Scores agree with SciPy's and the program's."""
import json
import math

import numpy as np
import pytest
from scipy.spatial.distance import pdist
from scipy.stats import qmc

import optdoe


@pytest.mark.parametrize("runs, factors", [(2, 1), (5, 2), (30, 4), (100, 10)])
def test_centered_discrepancy_and_distances_are_scipys(runs, factors):
    points = np.random.default_rng(runs).random((runs, factors))
    scores = optdoe.evaluate(points, coding="unit", random_designs=0)
    expected = qmc.discrepancy(points, method="CD")
    assert scores["cd2_squared"].value == pytest.approx(expected, rel=1e-12)
    assert scores["cd2"].value == pytest.approx(math.sqrt(expected), rel=1e-12)
    assert scores["smallest_distance"].value == pytest.approx(pdist(points).min(), rel=1e-12)
    assert scores["smallest_distance_rectangular"].value == pytest.approx(pdist(points, "cityblock").min(), rel=1e-12)
    assert scores["phi_15"].value == pytest.approx((pdist(points) ** -15.0).sum() ** (1 / 15), rel=1e-12)
    if factors > 1 and runs > 2:
        correlations = np.abs(np.corrcoef(points.T) - np.eye(factors))
        assert scores["largest_correlation"].value == pytest.approx(correlations.max(), rel=1e-12)


def test_a_found_design_has_scipys_discrepancy():
    design = optdoe.latin_hypercube(30, {"a": (20, 80), "b": (1, 5), "c": (0, 1)}, criterion="cd2", seed=5)
    expected = qmc.discrepancy(design.unit, method="CD")
    assert optdoe.evaluate(design, random_designs=0)["cd2_squared"].value == pytest.approx(expected, rel=1e-12)


def test_scores_are_those_of_the_program(program):
    design = optdoe.latin_hypercube(20, 3, seed=5)
    design.write("d.csv")
    scores = optdoe.evaluate(design, random_designs=20, p=3, weights=[1, 0.5, 1])
    document = json.loads(program("evaluate", "d.csv", "--random", 20, "--json", "--p", 3, "--weights", "1,0.5,1"))
    measures = document["files"][0]["measures"]
    assert list(scores) == list(measures)
    for key, measure in measures.items():
        for name, ours in (("value", scores[key].value), ("random_mean", scores[key].random_mean)):
            assert measure[name] == (None if math.isnan(ours) or math.isinf(ours) else ours), key
        assert measure.get("where", "") == scores[key].where


def test_the_forms_of_scores():
    design = optdoe.latin_hypercube(10, 2, seed=5)
    design.write("d.csv")
    scores = optdoe.evaluate(design, random_designs=10)
    assert "smallest distance" in str(scores) and "mean of 10" in str(scores)
    assert scores.to_dict()["latin_columns"] == 2.0
    assert optdoe.evaluate("d.csv", random_designs=10).to_dict() == scores.to_dict()
    assert math.isnan(optdoe.evaluate(design, random_designs=0)["cd2"].random_mean)
    assert scores["objective_phip"].value == design.objective
    with pytest.raises(KeyError):
        scores["beauty"]
    with pytest.raises(TypeError):
        optdoe.evaluate(design, time=3)
    with pytest.raises(ValueError):
        optdoe.evaluate(design, random_designs=100001)
    with pytest.raises(TypeError):
        optdoe.evaluate(design, random_designs=-1)
