"""The engine behaves as SciPy's do, with SciPy and without."""
import subprocess
import sys

import numpy as np
import pytest
from scipy.stats import qmc

import optdoe


def test_samples_are_designs_in_the_half_open_cube():
    engine = optdoe.Engine(3, seed=5)
    first, second = engine.random(10), engine.random(n=20)
    for sample, count in ((first, 10), (second, 20)):
        assert sample.shape == (count, 3) and sample.dtype == np.float64 and sample.flags.writeable
        assert sample.min() >= 0 and sample.max() < 1
        assert np.array_equal(np.sort(np.floor(sample * count), axis=0), np.repeat(np.arange(count)[:, None], 3, 1))
    assert engine.num_generated == 30 and engine.d == 3
    assert np.array_equal(second, optdoe.latin_hypercube(20, 3, seed=6).unit)


def test_reset_and_fast_forward():
    engine = optdoe.Engine(2, seed=7, criterion="cd2")
    first, second = engine.random(8), engine.random(8)
    assert not np.array_equal(first, second)
    assert engine.reset() is engine and engine.num_generated == 0
    assert np.array_equal(engine.random(8), first)
    assert engine.reset().fast_forward(8) is engine and engine.num_generated == 8
    assert np.array_equal(engine.random(8), second)


def test_few_points():
    engine = optdoe.Engine(2, seed=1)
    assert engine.random().tolist() == [[0.5, 0.5]] and engine.random(0).shape == (0, 2)
    assert optdoe.Engine(1, seed=1).random(4).shape == (4, 1)


def test_seeds():
    assert not np.array_equal(optdoe.Engine(5).random(20), optdoe.Engine(5).random(20))
    same = [optdoe.Engine(5, seed=np.random.default_rng(3)).random(20) for _ in range(2)]
    assert np.array_equal(*same)
    last = optdoe.Engine(2, seed=2**32 - 2)
    last.random(5)
    assert np.array_equal(last.random(5), optdoe.latin_hypercube(5, 2, seed=0).unit)


def test_refusals():
    for arguments in ({"d": 0}, {"d": 2, "seed": -1}, {"d": 2, "seed": 2**32 - 1}, {"d": 2, "placement": "ends"}):
        with pytest.raises(ValueError):
            optdoe.Engine(**arguments)
    for arguments in ({"d": 2.5}, {"d": 2, "seed": "x"}, {"d": 2, "optimization": "lloyd"}):
        with pytest.raises(TypeError):
            optdoe.Engine(**arguments)
    for call in (optdoe.Engine(2).random, optdoe.Engine(2).fast_forward):
        with pytest.raises(ValueError):
            call(-1)


def test_where_scipy_takes_an_engine():
    engine = optdoe.Engine(2, seed=5)
    assert isinstance(engine, qmc.QMCEngine)
    sample = qmc.MultivariateNormalQMC([0, 3], [[1, 0.5], [0.5, 2]], engine=engine).random(64)
    assert sample.shape == (64, 2) and np.abs(sample.mean(axis=0) - [0, 3]).max() < 0.2
    numbers = optdoe.Engine(2, seed=5).integers(0, u_bounds=10, n=10)
    assert np.array_equal(np.sort(numbers, axis=0), np.repeat(np.arange(10)[:, None], 2, 1))
    ours = qmc.discrepancy(optdoe.Engine(3, seed=1, criterion="cd2").random(30))
    theirs = np.mean([qmc.discrepancy(qmc.LatinHypercube(3, seed=s).random(30)) for s in range(10)])
    assert ours < theirs


def test_workers_are_jobs():
    samples = [optdoe.Engine(3, seed=5, starts=4).random(10, workers=workers) for workers in (1, 2, -1, None)]
    assert all(np.array_equal(samples[0], sample) for sample in samples)
    with pytest.raises(ValueError, match="jobs"):
        optdoe.Engine(3, seed=5, starts=4).random(10, workers=5000)


def test_without_scipy():
    code = """
import sys
sys.modules["scipy"] = sys.modules["scipy.stats"] = None
import optdoe
engine = optdoe.Engine(2, seed=5)
sample = engine.random(10)
assert type(engine).__mro__[1] is object
assert (sample == optdoe.latin_hypercube(10, 2, seed=5).unit).all()
assert (engine.reset().random(10) == sample).all()
"""
    subprocess.run([sys.executable, "-c", code], check=True)


def test_scipy_is_not_imported_before_it_is_needed():
    subprocess.run([sys.executable, "-c", "import sys, optdoe; assert not {'scipy', 'pandas', 'matplotlib', 'tqdm'}"
                                          " & set(sys.modules)"], check=True)
