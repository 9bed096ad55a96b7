"""Files: designs, reports, pictures, campaigns; what is not there is an OSError, what is no design an OptdoeError."""
import json
import os
import pathlib
import shutil

import numpy as np
import pytest

import optdoe


@pytest.fixture
def design():
    return optdoe.latin_hypercube(10, {"Temp": (20, 80, "°C"), "Flow": (1, 5)}, seed=5)


@pytest.mark.parametrize("name", ["d.csv", "d.json", "ö ä.csv", pathlib.Path("d.csv"), os.fsdecode(b"\xff.csv")])
def test_written_and_read_back(design, name):
    design.write(name)
    again = optdoe.read(name)
    assert np.array_equal(again.physical, design.physical) and np.array_equal(again.levels, design.levels)
    assert again.factors == design.factors and again.provenance == design.provenance


def test_texts_are_the_files(design):
    for name in ("d.csv", "d.json"):
        design.write(name)
        assert pathlib.Path(name).read_text("utf-8") == design.text(name[2:])
    assert json.loads(design.text("json"))["factors"]
    with pytest.raises(ValueError, match="xml"):
        design.text("xml")


def test_files_of_other_programs():
    pathlib.Path("other.csv").write_text("Temp;Flow\n20;1\n50;5\n80;3\n")
    plain = optdoe.read("other.csv")
    assert plain.names == ("Temp", "Flow") and plain.provenance == {} and plain.seed is None
    ranged = optdoe.read("other.csv", factors={"Temp": (20, 80), "Flow": (1, 5)}, coding="physical")
    assert ranged.unit[0].tolist() == [0, 0]
    assert plain.values("written").tolist() == [[20, 1], [50, 5], [80, 3]]


def test_refused_files(design, tmp_path):
    with pytest.raises(FileNotFoundError, match="nothing.csv"):
        optdoe.read("nothing.csv")
    with pytest.raises(FileNotFoundError):
        optdoe.merge(["nothing.jsonl"])
    with pytest.raises(FileNotFoundError):
        optdoe.latin_hypercube(start="nothing.csv")
    with pytest.raises(FileNotFoundError):
        optdoe.read("-")
    for name in ("bounds", "resume"):
        with pytest.raises(FileNotFoundError):
            optdoe.latin_hypercube(10, 2, **{name: "nothing.csv"})
    pathlib.Path("bad.csv").write_text("a,b\n1,2\n2,x\n")
    with pytest.raises(optdoe.OptdoeError, match="bad.csv:3:3"):
        optdoe.read("bad.csv")
    with pytest.raises(optdoe.OptdoeError):
        optdoe.read(".")
    with pytest.raises((TypeError, ValueError), match="null"):
        optdoe.read("a\0b")
    with pytest.raises(ValueError, match="null"):
        design.write("a\0b")
    for write in (design.write, design.report):
        with pytest.raises(optdoe.OptdoeError, match="no/d"):
            write("no/d.csv")
    with pytest.raises((ValueError, optdoe.OptdoeError), match="d.bmp"):
        design.plot("d.bmp")
    with pytest.raises(TypeError):
        optdoe.merge("one.jsonl")
    with pytest.raises(TypeError):
        design.write(3.5)
    assert sorted(os.listdir()) == ["bad.csv"]


def test_report_and_picture(design):
    design.report("d.html", random_designs=10)
    assert "<html" in pathlib.Path("d.html").read_text("utf-8")
    if shutil.which("gnuplot"):
        design.plot("d.svg")
        assert "<svg" in pathlib.Path("d.svg").read_text("utf-8")


def test_figures(design):
    pytest.importorskip("matplotlib")
    from matplotlib import pyplot

    for shown, coding in ((design, None), (design, "unit"), (optdoe.latin_hypercube(5, 1, seed=1), None),
                          (optdoe.latin_hypercube(5, 4, seed=1), "levels")):
        figure = shown.figure(coding)
        figure.savefig("f.png")
        assert pathlib.Path("f.png").stat().st_size > 1000
        pyplot.close(figure)
    assert design.figure().axes[0].get_xlabel() == "Temp [°C]"


def test_campaigns(program):
    whole = optdoe.latin_hypercube(20, 3, seed=9, starts=6)
    for part in (1, 2):
        optdoe.latin_hypercube(20, 3, seed=9, starts=6, shard=f"{part}/2", results=pathlib.Path(f"{part}.jsonl"))
    merged = optdoe.merge(["1.jsonl", pathlib.Path("2.jsonl")])
    assert np.array_equal(merged.levels, whole.levels) and merged.objective == whole.objective
    with pytest.raises(optdoe.OptdoeError):
        optdoe.merge(["1.jsonl"])
    assert len(optdoe.merge(["1.jsonl"], incomplete=True)) == 20
    text = pathlib.Path("1.jsonl").read_text()
    pathlib.Path("1.jsonl").write_text("\n".join(text.splitlines()[:-1]) + "\n")
    resumed = optdoe.latin_hypercube(20, 3, seed=9, starts=6, shard="1/2", resume="1.jsonl")
    assert len(pathlib.Path("1.jsonl").read_text().splitlines()) == len(text.splitlines())
    assert resumed.seed in (9, 11, 13)
    program("merge", "1.jsonl", "2.jsonl", "--output", "merged.csv", "--quiet")
    assert np.array_equal(optdoe.read("merged.csv").levels, whole.levels)
