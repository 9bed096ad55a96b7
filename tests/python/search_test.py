"""A search beside other threads, with progress, interrupted, with remarks; and many of them, which leave nothing."""
import gc
import io
import math
import os
import signal
import subprocess
import sys
import threading
import time
import warnings
from concurrent.futures import ThreadPoolExecutor

import numpy as np
import pytest

import optdoe

LONG = dict(criterion="cd2", time=60, seed=1, jobs=1)
SANITIZED = "asan" in os.environ.get("LD_PRELOAD", "")


def test_other_threads_go_on_during_a_search():
    counted = 0
    done = threading.Event()

    def search():
        optdoe.latin_hypercube(100, 5, criterion="cd2", time=0.5, seed=1, jobs=1)
        done.set()

    thread = threading.Thread(target=search)
    thread.start()
    while not done.is_set():
        counted += 1
        time.sleep(0.01)
    thread.join()
    assert counted > 10


def test_equal_designs_on_many_threads():
    def make(seed):
        design = optdoe.latin_hypercube(12, 3, seed=seed % 4)
        optdoe.evaluate(design, random_designs=2)
        return design.levels

    expected = [make(seed) for seed in range(4)]
    with ThreadPoolExecutor(8) as pool:
        for seed, levels in enumerate(pool.map(make, range(200))):
            assert np.array_equal(levels, expected[seed % 4])


def test_one_design_on_many_threads():
    design = optdoe.latin_hypercube(12, {"a": (0, 1), "b": (0, 1)}, seed=1)
    text = design.text()

    def use(i):
        design.report(f"{i}.html", random_designs=20)
        assert design.text() == text
        assert optdoe.evaluate(design, random_designs=5)["latin_columns"].value == 2
        return design.physical.sum()

    with ThreadPoolExecutor(8) as pool:
        assert len(set(pool.map(use, range(40)))) == 1


def test_progress_is_told_and_ends_the_search():
    told = []

    def watch(progress):
        told.append(progress)
        return progress.seconds > 0.3

    began = time.monotonic()
    design = optdoe.latin_hypercube(40, 4, progress=watch, **LONG)
    assert time.monotonic() - began < 20
    assert design.outcome.stopped and len(design) == 40
    assert len(told) >= 3 and all(isinstance(p, optdoe.Progress) for p in told)
    assert [p.seconds for p in told] == sorted(p.seconds for p in told)
    assert told[-1].best <= told[-1].initial
    assert design.objective <= told[-1].best * (1 + 1e-9)


def test_what_a_progress_function_raises_is_raised():
    class Stop(Exception):
        pass

    def watch(progress):
        raise Stop("enough")

    began = time.monotonic()
    with pytest.raises(Stop, match="enough"):
        optdoe.latin_hypercube(40, 4, progress=watch, **LONG)
    assert time.monotonic() - began < 20

    class NoTruth:
        def __bool__(self):
            raise Stop("no truth")

    with pytest.raises(Stop, match="no truth"):
        optdoe.latin_hypercube(40, 4, progress=lambda p: NoTruth(), **LONG)


def test_a_search_within_a_progress_function():
    inner = []

    def watch(progress):
        inner.append(optdoe.latin_hypercube(10, 2, seed=5).objective)
        return True

    optdoe.latin_hypercube(40, 4, progress=watch, **LONG)
    assert inner == [optdoe.latin_hypercube(10, 2, seed=5).objective]


INTERRUPTED = """
import os, signal, sys, threading, time, warnings
import optdoe

optdoe.latin_hypercube(5, 2, progress=sys.argv[1] == "bar")  # imports what draws

def press(times):
    time.sleep(1)
    for _ in range(times):
        os.kill(os.getpid(), signal.SIGINT)
        time.sleep(0.3)

def search(**more):
    return optdoe.latin_hypercube(40, 4, criterion="cd2", time=60, seed=1, jobs=1, **more)

began = time.monotonic()
warnings.simplefilter("always")
with warnings.catch_warnings(record=True) as told:
    threading.Thread(target=press, args=(1,)).start()
    design = search()
assert design.outcome.stopped and len(design) == 40
assert [str(w.message) for w in told if "interrupted" in str(w.message)], told
assert told[-1].category is optdoe.OptdoeWarning and told[-1].filename == "<string>", told[-1]
time.sleep(1.2)
warnings.simplefilter("ignore")
presses = threading.Thread(target=press, args=(2,))
presses.start()
try:
    while True:
        search(progress=sys.argv[1] == "bar")
except KeyboardInterrupt:
    print("twice")
presses.join()
assert time.monotonic() - began < 30
"""


@pytest.mark.parametrize("bar", ["bar", "none"])
def test_ctrl_c_gives_the_best_design_and_a_second_one_ends_all(bar):
    told = subprocess.run(["env", "--default-signal=INT", sys.executable, "-c", INTERRUPTED, bar], timeout=60,
                          check=True, capture_output=True, text=True)
    assert told.stdout == "twice\n"


def test_a_signal_handler_of_ones_own():
    class Alarm(Exception):
        pass

    def handler(number, frame):
        raise Alarm

    before = signal.signal(signal.SIGALRM, handler)
    try:
        signal.setitimer(signal.ITIMER_REAL, 0.3)
        with pytest.raises(Alarm):
            optdoe.latin_hypercube(40, 4, **LONG)
    finally:
        signal.signal(signal.SIGALRM, before)


BARS = {"tqdm": "", "plain": "sys.modules['tqdm'] = sys.modules['tqdm.auto'] = None"}


@pytest.mark.parametrize("kind", BARS)
@pytest.mark.parametrize("settings, words", [("time=2", " s"), ("time='2s'", " s"),
                                             ("starts=12, effort=500, jobs=1", "searches"),
                                             ("effort=3000", "best")])
def test_bars(kind, settings, words):
    if kind == "tqdm":
        pytest.importorskip("tqdm")
    code = f"""import sys
{BARS[kind]}
import optdoe
optdoe.latin_hypercube(60, 4, criterion='cd2', seed=1, {settings}, progress=True)"""
    told = subprocess.run([sys.executable, "-c", code], check=True, capture_output=True)
    lines = told.stderr.decode().split("\r")
    assert len(lines) > 3 and "best" in lines[-1] and words in lines[-1] and not told.stdout


def test_a_short_search_draws_nothing(capfd):
    optdoe.latin_hypercube(10, 2, seed=5, progress=True)
    assert capfd.readouterr() == ("", "")


def test_remarks_are_warnings_of_the_callers_line():
    with pytest.warns(optdoe.OptdoeWarning) as told:
        optdoe.latin_hypercube(10, 2, criterion="a2", seed=1)
    assert told[0].filename == __file__
    old = optdoe.from_array([[0.1, 0.1], [0.11, 0.9], [0.5, 0.5]], coding="unit")
    with pytest.warns(optdoe.OptdoeWarning, match="strata"):
        optdoe.augment(old, 3, seed=1)
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        optdoe.latin_hypercube(10, 2, seed=1)


def resident():
    with open("/proc/self/statm") as file:
        return int(file.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")


@pytest.mark.skipif(SANITIZED, reason="freed storage waits in quarantine")
def test_ten_thousand_calls_leave_nothing():
    points = np.random.default_rng(1).random((6, 2))

    def calls(count):
        for i in range(count):
            design = optdoe.latin_hypercube(6, {"a": (0, 1, "m"), "b": (2, 3)}, seed=i, iterations=1)
            assert design.levels.base is None and design.physical.shape == (6, 2)
            design.outcome, design.provenance, design.factors, design.text("json")
            optdoe.evaluate(points, coding="unit", random_designs=0)
            for bad in ({"p": -1}, {"start": points * math.nan}):
                with pytest.raises(ValueError):
                    optdoe.latin_hypercube(6, 2, **bad)
        gc.collect()
        return resident()

    settled = calls(2000)
    objects = len(gc.get_objects())
    assert calls(8000) - settled < 2 << 20
    assert len(gc.get_objects()) - objects < 100


def test_references_are_not_lost():
    none, function = sys.getrefcount(None), (lambda progress: True)
    before = sys.getrefcount(function)
    for i in range(20):
        optdoe.latin_hypercube(40, 4, progress=function, **LONG)
        with pytest.raises(ZeroDivisionError):
            optdoe.latin_hypercube(40, 4, progress=lambda p: 1 / 0, **LONG)
    assert sys.getrefcount(function) == before
    assert abs(sys.getrefcount(None) - none) < 100
