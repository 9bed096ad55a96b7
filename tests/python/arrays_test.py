"""Arrays that are no design are refused by name; those that only lie otherwise in memory are taken."""
import numpy as np
import pytest

import optdoe

UNIT = np.array([[0.1, 0.9], [0.3, 0.1], [0.5, 0.7], [0.7, 0.3], [0.9, 0.5]])
TAKES = [lambda x: optdoe.from_array(x, coding="unit"), lambda x: optdoe.evaluate(x, coding="unit", random_designs=0),
         lambda x: optdoe.augment(x, 3, coding="unit", seed=1), lambda x: optdoe.latin_hypercube(start=x, seed=1)]


def readonly(x):
    x = x.copy()
    x.setflags(write=False)
    return x


def misaligned(x):
    room = np.zeros(x.nbytes + 1, dtype=np.uint8)
    odd = room[1:].view(np.float64).reshape(x.shape)
    odd[:] = x
    assert not odd.flags.aligned
    return odd


@pytest.mark.parametrize("take", TAKES)
@pytest.mark.parametrize("numbers, error, words", [
    (np.where(np.arange(10).reshape(5, 2) == 5, np.nan, UNIT), ValueError, "run 3 of factor 2 is nan"),
    (np.where(np.arange(10).reshape(5, 2) == 0, -np.inf, UNIT), ValueError, "run 1 of factor 1 is -inf"),
    (UNIT[:, 0], ValueError, r"shape \(5,\)"),
    (UNIT[None], ValueError, r"shape \(1, 5, 2\)"),
    (np.float64(3), ValueError, r"shape \(\)"),
    (np.empty((0, 2)), ValueError, r"shape \(0, 2\)"),
    (np.empty((2, 0)), ValueError, r"shape \(2, 0\)"),
    ([], ValueError, "design"),
    (UNIT + 0j, TypeError, "complex"),
    (UNIT > 0.5, TypeError, "bool"),
    (UNIT.astype(object), TypeError, "object"),
    (UNIT.astype(str), TypeError, "<U"),
    (None, TypeError, "object"),
    (np.ma.masked_less(UNIT, 0.2), ValueError, "masked"),
    (np.broadcast_to(0.5, (2**30, 2)), ValueError, "too many"),
    (np.broadcast_to(0.5, (2**36, 2**20)), ValueError, "too many"),
    ([[1, 2], [3]], ValueError, ""),
])
def test_refused(take, numbers, error, words):
    if numbers is None and take is TAKES[3]:
        pytest.skip("no start is a random one")
    with pytest.raises(error, match=words):
        take(numbers)


@pytest.mark.parametrize("form", [np.asfortranarray, readonly, misaligned, np.ndarray.tolist, np.ndarray.copy,
                                  lambda x: x[::-1][::-1], lambda x: np.repeat(x, 2, 1)[:, ::2], np.ma.masked_invalid,
                                  lambda x: x.astype(">f8"), lambda x: x.astype(np.longdouble)])
def test_taken(form):
    given = form(UNIT)
    design = optdoe.from_array(given, coding="unit")
    assert np.array_equal(design.values("written"), UNIT)
    assert design.levels.tolist() == [[1, 5], [2, 1], [3, 4], [4, 2], [5, 3]]
    assert optdoe.evaluate(given, coding="unit", random_designs=0)["cd2"].value == \
        optdoe.evaluate(UNIT, coding="unit", random_designs=0)["cd2"].value


@pytest.mark.parametrize("kind", "bhilqBHILQefd")
def test_numbers_of_all_types(kind):
    levels = np.array([[1, 5], [2, 1], [3, 4], [4, 2], [5, 3]], dtype=kind)
    assert optdoe.from_array(levels, coding="levels").levels.tolist() == levels.tolist()


def test_the_given_array_is_copied():
    given = UNIT.copy()
    design = optdoe.from_array(given, coding="unit")
    given[:] = 0
    assert np.array_equal(design.unit, UNIT)


def test_arrays_of_a_design_are_the_callers_own():
    design = optdoe.latin_hypercube(10, 2, seed=5)
    for get in (lambda: design.levels, lambda: design.unit, lambda: design.values("written")):
        before = get()
        get()[0, 0] = 99
        assert np.array_equal(get(), before)


def test_numbers_that_are_not_what_the_coding_says():
    for numbers, coding in ((UNIT + 1, "unit"), (UNIT - 1, "levels"), (UNIT, "physical"), (UNIT, "octal")):
        with pytest.raises((ValueError, optdoe.OptdoeError)):
            optdoe.from_array(numbers, coding=coding)
    with pytest.raises((ValueError, optdoe.OptdoeError)):
        optdoe.from_array(UNIT, factors=["only one"], coding="unit")
    with pytest.raises(TypeError, match="factors"):
        optdoe.from_array(UNIT, factors=2)
    with pytest.raises((ValueError, optdoe.OptdoeError)):
        optdoe.evaluate(UNIT[:1], coding="unit")


def test_data_frames_name_the_factors():
    pandas = pytest.importorskip("pandas")
    frame = pandas.DataFrame(UNIT, columns=["Temp", "Flow"])
    design = optdoe.from_array(frame, coding="unit")
    assert design.names == ("Temp", "Flow")
    assert optdoe.from_array(pandas.DataFrame(UNIT), coding="unit").names == ("x1", "x2")
    assert optdoe.augment(frame, 2, factors={"Temp": (0, 1), "Flow": (0, 1)}, seed=1).names == ("Temp", "Flow")


def test_frames_of_designs():
    pandas = pytest.importorskip("pandas")
    design = optdoe.latin_hypercube(10, {"Temp": (20, 80), "Flow": (1, 5)}, seed=5)
    frame = design.to_frame()
    assert list(frame.columns) == ["Temp", "Flow"] and list(frame.index) == list(range(1, 11))
    assert np.array_equal(frame.to_numpy(), design.physical)
    frame.iloc[0, 0] = 0  # the frame is the caller's own
    assert design.physical[0, 0] != 0
    assert np.array_equal(design.to_frame("levels").to_numpy(), design.levels)
    bare = optdoe.latin_hypercube(10, 2, seed=5).to_frame()
    assert (bare.dtypes == np.int32).all()
    assert isinstance(optdoe.evaluate(design, random_designs=5).to_frame(), pandas.DataFrame)
