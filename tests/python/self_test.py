"""What the package says of itself holds: examples in docstrings and documents, types, names."""
import ctypes
import doctest
import importlib
import inspect
import os
import pathlib
import re
import subprocess
import sys
import time

import pytest

import optdoe

PLACE = pathlib.Path(optdoe.__file__).parent
SOURCE = pathlib.Path(os.environ["SOURCE_DIR"])
MODULES = ["optdoe"] + [f"optdoe.{path.stem}" for path in sorted(PLACE.glob("_[a-z]*.py"))]


@pytest.mark.parametrize("name", MODULES)
def test_examples_in_docstrings(name):
    failed, tried = doctest.testmod(importlib.import_module(name))
    assert not failed
    assert tried or name in ("optdoe._progress", "optdoe._scores")


def test_public_names_have_docstrings_with_their_parameters():
    assert sorted(optdoe.__all__) == optdoe.__all__
    for name in optdoe.__all__:
        thing = getattr(optdoe, name)
        assert inspect.getdoc(thing), name
        if inspect.isfunction(thing):
            text = inspect.getdoc(thing)
            for parameter in inspect.signature(thing).parameters:
                assert parameter in text, f"{name}: {parameter}"
            assert "Examples\n--------" in text or name == "merge", name
        elif inspect.isclass(thing):
            for member, value in vars(thing).items():
                if not member.startswith("_") and (inspect.isfunction(value) or isinstance(value, property)):
                    assert inspect.getdoc(value), f"{name}.{member}"
    with pytest.raises(AttributeError):
        optdoe.nothing


def test_version():
    version = re.search(r"project\(optdoe VERSION (\S+)", (SOURCE / "CMakeLists.txt").read_text())[1]
    assert optdoe.__version__ == version


def test_the_stub_names_what_the_extension_has():
    from optdoe import _native

    stub = (PLACE / "_native.pyi").read_text()
    for thing in (_native, _native.Design):
        for name in vars(thing):
            if not name.startswith("_") and name != "pybind11_conduit_v1":
                assert re.search(rf"\b{name}\b", stub), name
    for name in re.findall(r"def (\w+)", stub):
        assert hasattr(_native, name) or hasattr(_native.Design, name), name


USES = """
import numpy as np
import numpy.typing as npt
import optdoe

design: optdoe.Design = optdoe.latin_hypercube(10, {"a": (0, 1), "b": (0.5, 2.0, "m")}, criterion="cd2", progress=True)
levels: npt.NDArray[np.int32] = design.levels
again = optdoe.latin_hypercube(10, design.factors, start="d.csv", progress=lambda p: p.seconds > 3)
value: float = optdoe.evaluate(np.zeros((3, 2)), coding="unit")["cd2"].value
sample: npt.NDArray[np.float64] = optdoe.Engine(2, seed=1).reset().random(5)
lows = [s.low for s in optdoe.settings()]
"""


def test_types():
    pytest.importorskip("mypy")
    pathlib.Path("uses.py").write_text(USES)
    check = [sys.executable, "-m", "mypy", "--strict", "--ignore-missing-imports", "--cache-dir", "cache"]
    environment = dict(os.environ, MYPYPATH=str(PLACE.parent))
    environment.pop("LD_PRELOAD", None)
    told = subprocess.run([*check, "-p", "optdoe"], env=environment, capture_output=True, text=True)
    assert told.returncode == 0, told.stdout + told.stderr
    told = subprocess.run([*check, "uses.py"], env=environment, capture_output=True, text=True)
    assert told.returncode == 0, told.stdout + told.stderr
    pathlib.Path("abuses.py").write_text("import optdoe\noptdoe.latin_hypercube('10', 2)\noptdoe.read(3)\n")
    told = subprocess.run([*check, "abuses.py"], env=environment, capture_output=True, text=True)
    assert told.stdout.count("error:") == 2, told.stdout


def test_the_example_draws_its_pictures():
    pytest.importorskip("matplotlib")
    pathlib.Path("out").mkdir()
    subprocess.run([sys.executable, SOURCE / "python" / "examples" / "figures.py", "out"], check=True)
    for name in ("pairs", "search", "measures", "more"):
        assert pathlib.Path(f"out/{name}.png").stat().st_size > 5000, name


def test_the_page_about_python():
    page = (SOURCE / "docs" / "python.md").read_text()
    blocks = re.findall(r"^```python\n(.*?)^```", page, re.M | re.S)
    assert blocks
    for block in blocks:
        told = subprocess.run([sys.executable, "-c", block], check=True, capture_output=True, text=True)
        expected = re.findall(r"^print\(.*\)  # (.*)$", block, re.M)
        assert told.stdout.splitlines() == expected


def library_call(file):
    """Microseconds of a request of 10 runs by the functions of the library, without the package."""
    c = ctypes.CDLL(file)
    c.optdoe_request_set_number.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_double]
    pointer = ctypes.c_void_p

    def call(factors):
        begin = time.perf_counter()
        request, design = pointer(), pointer()
        c.optdoe_request_new(ctypes.byref(request))
        c.optdoe_design_new(ctypes.byref(design))
        for name, value in ((b"factors", factors), (b"runs", 10), (b"seed", 5)):
            c.optdoe_request_set_number(request, name, value)
        status = c.optdoe_request_run(request, design)
        c.optdoe_design_free(design)
        c.optdoe_request_free(request)
        assert status == 0
        return 1e6 * (time.perf_counter() - begin)

    return call


def package_call(factors):
    begin = time.perf_counter()
    optdoe.latin_hypercube(10, factors, seed=5)
    return 1e6 * (time.perf_counter() - begin)


@pytest.mark.skipif("LD_PRELOAD" in os.environ, reason="instrumented code has another speed")
def test_a_call_costs_little_more_than_that_of_the_library():
    library = library_call(os.environ["LIBRARY"])
    pairs = [(library(1), package_call(1)) for _ in range(500)]  # one factor: nothing to search for
    inner, outer = zip(*pairs)
    assert min(outer) - min(inner) < 50  # microseconds


def test_the_import_is_quick_and_needs_numpy_only():
    code = """
import sys
for name in ("pandas", "matplotlib", "scipy", "tqdm"):
    sys.modules[name] = None
import optdoe
design = optdoe.latin_hypercube(10, 2, seed=5)
print(design.objective, optdoe.evaluate(design, random_designs=1)["cd2"].value > 0)
for call in (design.to_frame, design.figure):
    try:
        call()
    except ImportError:
        print("ImportError")
"""
    told = subprocess.run([sys.executable, "-c", code], check=True, capture_output=True, text=True)
    assert told.stdout.split()[1:] == ["True", "ImportError", "ImportError"]
