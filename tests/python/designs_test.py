"""Designs are those of the program, to the last bit, and tell the same about themselves."""
import copy
import json
import math
import pickle

import numpy as np
import pytest

import optdoe


def program_design(program, *arguments):
    """Numbers and provenance as the program writes them."""
    document = json.loads(program(*arguments, "--quiet", "--format", "json"))
    return np.array(document["design"], dtype=float), document["provenance"]


REQUESTS = [
    (["10", "2", "--seed", "5"], (10, 2), {"seed": 5}),
    (["23", "4", "--seed", "7", "--criterion", "cd2"], (23, 4), {"seed": 7, "criterion": "cd2"}),
    (["12", "3", "--seed", "0", "--criterion", "entropy", "--theta", "1,2,3"], (12, 3),
     {"seed": 0, "criterion": "entropy", "theta": [1, 2, 3]}),
    (["12", "3", "--seed", "1", "--criterion", "a2", "--balanced", "2,3,4"], (12, 3),
     {"seed": 1, "criterion": "a2", "balanced": (2, 3, 4)}),
    (["10", "3", "--seed", "4294967294", "--method", "annealing", "--p", "5", "--distance", "rectangular"], (10, 3),
     {"seed": 4294967294, "method": "annealing", "p": 5, "distance": "rectangular"}),
    (["16", "4", "--seed", "3", "--symmetric", "--weights", "1,0.5,0.25,1"], (16, 4),
     {"seed": 3, "symmetric": True, "weights": np.array([1, 0.5, 0.25, 1])}),
    (["12", "2", "--seed", "3", "--levels", "3", "--no-pre-improvement", "--iterations", "20"], (12, 2),
     {"seed": 3, "levels": 3, "no_pre_improvement": True, "iterations": 20}),
    (["20", "3", "--seed", "9", "--starts", "6"], (20, 3), {"seed": 9, "starts": 6}),
    (["20", "3", "--seed", "9", "--starts", "6", "--shard", "2/3", "--jobs", "1"], (20, 3),
     {"seed": 9, "starts": 6, "shard": "2/3", "jobs": 1}),
    (["30", "3", "--seed", "2", "--effort", "500", "--criterion", "cd2"], (30, 3),
     {"seed": 2, "effort": 500, "criterion": "cd2"}),
    (["30", "3", "--seed", "2", "--stop-after", "3"], (30, 3), {"seed": 2, "stop_after": 3}),
    (["9", "1", "--seed", "2"], (9, 1), {"seed": np.uint32(2)}),
    (["23", "2", "--seed", "5", "--entry-levels"], (23, 2), {"seed": 5, "entry_levels": True}),
    (["10", "2", "--seed", "5", "--coding", "unit", "--placement", "ends"], (10, 2),
     {"seed": 5, "coding": "unit", "placement": "ends"}),
    (["15", "--seed", "5", "--factor", "Temp=20:80:C", "--factor", "Flow=1:5"],
     (15, {"Temp": (20, 80, "C"), "Flow": (1, 5)}), {"seed": 5}),
]


@pytest.mark.filterwarnings("ignore::optdoe.OptdoeWarning")
@pytest.mark.parametrize("arguments, places, settings", REQUESTS, ids=lambda x: None)
def test_equal_requests_give_the_design_of_the_program(program, arguments, places, settings):
    numbers, provenance = program_design(program, "make", *arguments)
    design = optdoe.latin_hypercube(*places, **settings)
    assert np.array_equal(design.values("written"), numbers)
    ours = design.provenance
    assert design.seed == provenance["seed"]
    for key in ("runs", "end", "rounds", "settings", "coding", "placement", "factors", "objective"):
        assert ours.get(key) == provenance.get(key), key


def test_the_recorded_command_makes_the_same_design(program, tmp_path):
    design = optdoe.latin_hypercube(20, {"a b": (0.1, 0.7), "c": (-1, 1, "l/h")}, starts=3, criterion="cd2", seed=8)
    words = design.provenance["command"]
    assert words.startswith("optdoe ")
    import shlex

    numbers, _ = program_design(program, *shlex.split(words)[1:])
    assert np.array_equal(design.values("written"), numbers)


def test_augmented_designs_are_those_of_the_program(program):
    old = optdoe.latin_hypercube(10, {"Temp": (20, 80), "Flow": (1, 5)}, seed=5)
    old.write("old.csv")
    numbers, _ = program_design(program, "augment", "old.csv", "--add", "7", "--seed", "3", "--criterion", "cd2")
    for source in (old, "old.csv"):
        new = optdoe.augment(source, 7, seed=3, criterion="cd2")
        assert np.array_equal(new.physical, numbers)
    bare = optdoe.augment(old.unit, 7, coding="unit", seed=3, criterion="cd2")
    assert np.allclose(bare.unit, new.unit, rtol=0, atol=1e-15)
    assert np.array_equal(new.physical[:10], old.physical)


@pytest.mark.filterwarnings("ignore:no round was done")
def test_starting_designs(program):
    start = optdoe.latin_hypercube(12, 3, seed=1, stop_after=0)
    start.write("start.csv")
    numbers, _ = program_design(program, "make", "--start", "start.csv", "--seed", "4")
    for given in (start, "start.csv", start.levels):
        assert np.array_equal(optdoe.latin_hypercube(start=given, seed=4).values("levels"), numbers)


def test_codings_and_types():
    design = optdoe.latin_hypercube(10, {"Temp": (20, 80, "°C"), "Flow": (1, 5)}, seed=5)
    assert design.levels.dtype == np.int32 and design.unit.dtype == design.physical.dtype == np.float64
    assert design.levels.flags.c_contiguous and design.levels.flags.owndata
    assert np.array_equal(np.asarray(design), design.physical) and np.asarray(design, dtype=int).dtype == int
    assert np.array_equal(np.sort(design.levels, axis=0), np.repeat(np.arange(1, 11)[:, None], 2, 1))
    assert np.array_equal(design.unit, (design.levels - 0.5) / 10)
    assert np.allclose(design.physical, np.array([20, 1]) + design.unit * np.array([60, 4]), rtol=1e-15)
    assert design.factors == (optdoe.Factor("Temp", 20, 80, "°C", 10), optdoe.Factor("Flow", 1, 5, "", 10))
    assert len(design) == design.runs == 10 and design.names == ("Temp", "Flow")
    with pytest.raises(ValueError, match="octal"):
        design.values("octal")
    with pytest.raises(optdoe.OptdoeError):
        optdoe.latin_hypercube(10, 2, seed=5).physical


def test_factors_as_number_names_ranges_and_those_of_another_design():
    by_number = optdoe.latin_hypercube(10, 2, seed=5)
    by_name = optdoe.latin_hypercube(10, ["a", "b"], seed=5)
    by_range = optdoe.latin_hypercube(10, {"a": (0, 1), "b": (2, 3, "m")}, seed=5)
    again = optdoe.latin_hypercube(10, by_range.factors, seed=5)
    assert by_number.names == ("x1", "x2") and by_name.names == ("a", "b")
    assert by_name.factors[0].low is None
    assert again.factors == by_range.factors
    for design in (by_name, by_range, again):
        assert np.array_equal(design.levels, by_number.levels)
    for bad in ("ab", 2.5, {"a": 3}, {"a": (1, 2, 3)}, {1: (0, 1)}, {"a": (0, 1, "m", "n")}, [1, 2], {"a": ("x", 1)}):
        with pytest.raises(TypeError, match="factor"):
            optdoe.latin_hypercube(10, bad)
    for bad in ({"a": (1, 1)}, {"a": (2, 1)}, {"": (0, 1)}, ["a", "a"], [], 0, -3, {"a": (0, math.inf)},
                {"a": (math.nan, 1)}, ["a\0b"]):
        with pytest.raises(ValueError):
            optdoe.latin_hypercube(10, bad)


def test_settings_are_checked_by_name():
    with pytest.raises(TypeError, match="'critrion'; did you mean 'criterion'"):
        optdoe.latin_hypercube(10, 2, critrion="cd2")
    for settings in ({"p": 101}, {"seed": -1}, {"seed": 2**32 - 1}, {"seed": 1.5}, {"criterion": "best"}, {"time": 0},
                     {"time": "soon"}, {"weights": [1, 1, 1]}, {"weights": [math.nan, 1]}, {"method": 7}, {"starts": 0},
                     {"shard": "3/2"}, {"p": "many"}, {"criterion": "cd2", "p": 3},
                     {"weights": []}):
        with pytest.raises(ValueError, match=next(reversed(settings)).replace("_", "[-_]")):
            optdoe.latin_hypercube(10, 2, **settings)
    for settings in ({"p": {}}, {"weights": [[1, 1]]}, {"p": 3j}, {"weights": ["a", "b"]}):
        with pytest.raises(TypeError, match=next(iter(settings))):
            optdoe.latin_hypercube(10, 2, **settings)
    with pytest.raises(TypeError):
        optdoe.latin_hypercube(10.5, 2)
    with pytest.raises(ValueError):
        optdoe.latin_hypercube(1, 2)
    with pytest.raises(ValueError):
        optdoe.latin_hypercube(2)
    with pytest.raises(ValueError):
        optdoe.latin_hypercube(100000, 100000)
    assert np.array_equal(optdoe.latin_hypercube(10, 2, seed=5, p=None).levels,
                          optdoe.latin_hypercube(10, 2, seed=5).levels)


def test_every_setting_of_the_table_has_help_and_works_as_a_keyword():
    table = optdoe.settings()
    assert len(table) == len({s.name for s in table}) and len(table) > 24
    for setting in table:
        assert setting.name.isidentifier() and setting.help, setting
        if None not in (setting.low, setting.high, setting.default):
            assert setting.low <= setting.default <= setting.high, setting
            below = setting.low - max(1, abs(setting.low))
            with pytest.raises((ValueError, optdoe.OptdoeError)):
                optdoe.latin_hypercube(10, 2, **{setting.name: below})


def test_outcome_and_history():
    design = optdoe.latin_hypercube(20, 3, seed=5)
    outcome = design.outcome
    assert outcome.seed == design.seed == 5 and outcome.searches == 1 and not outcome.stopped
    assert outcome.objective == design.objective <= outcome.initial
    assert outcome.rounds == design.provenance["rounds"] > 0 and outcome.seconds > 0
    history = design.history
    assert len({len(column) for column in history}) == 1 and len(history.round) > 1
    assert history.objective.min() == pytest.approx(design.objective, rel=1e-9)
    assert set(history.seed) == {5} and (np.diff(history.seconds) >= 0).all()
    several = optdoe.latin_hypercube(20, 3, seed=5, starts=3)
    assert set(several.history.seed) == {5, 6, 7} and several.outcome.searches == 3
    read = optdoe.parse(design.text())
    assert read.outcome is None and read.objective == design.objective and read.seed == 5
    assert len(read.history.round) == 0


def test_a_seed_from_the_clock_is_told():
    design = optdoe.latin_hypercube(10, 2)
    again = optdoe.latin_hypercube(10, 2, seed=design.seed)
    assert np.array_equal(design.levels, again.levels)


@pytest.mark.parametrize("duplicate", [copy.copy, copy.deepcopy, lambda d: pickle.loads(pickle.dumps(d))])
def test_copies_hold_what_a_file_holds(duplicate):
    design = optdoe.latin_hypercube(10, {"Temp": (20, 80, "C"), "Flow": (1, 5)}, seed=5)
    other = duplicate(design)
    assert np.array_equal(other.levels, design.levels) and np.array_equal(other.physical, design.physical)
    assert other.factors == design.factors and other.provenance == design.provenance


def test_shown_as_text_and_in_notebooks():
    design = optdoe.latin_hypercube(30, {"a<b": (0, 1, "m"), "c": (0, 1)}, seed=5)
    assert repr(design) == "<optdoe.Design of 30 runs x 2 factors: a<b, c>"
    page = design._repr_html_()
    assert "a&lt;b [m]" in page and page.count("<tr>") == 22 and "..." in page
