"""A design beside random ones, in pictures: python3 figures.py [FOLDER]

Cells begin with `# %%`: editors that know notebooks run them one by one.
"""
# %% A design of 40 runs, by two seconds on all cores
import sys
from pathlib import Path

import matplotlib

if not hasattr(sys, "ps1") and "ipykernel" not in sys.modules:
    matplotlib.use("Agg")
from matplotlib import pyplot
import numpy as np

import optdoe

folder = Path(sys.argv[1]) if len(sys.argv) > 1 and not sys.argv[1].startswith("-") else Path(".")
factors = {"Temp": (20, 80, "C"), "Flow": (1, 5, "l/h"), "pH": (4, 9)}
design = optdoe.latin_hypercube(40, factors, criterion="cd2", time=2, seed=5, progress=True)
print(design, design.objective)

# %% All pairs of factors
design.figure().savefig(folder / "pairs.png")

# %% The search: the objective against time, of each search that was made
history = design.history
figure, axes = pyplot.subplots()
for seed in np.unique(history.seed):
    of_seed = history.seed == seed
    axes.step(history.seconds[of_seed], history.objective[of_seed], where="post", linewidth=0.8)
axes.set(xlabel="seconds", ylabel="centered L2 discrepancy")
figure.savefig(folder / "search.png")

# %% Measures, as a share of the mean of random designs
scores = optdoe.evaluate(design)
print(scores)
shown = [m for m in scores.values() if np.isfinite(m.random_mean) and m.random_mean > 0]
figure, axes = pyplot.subplots(figsize=(7, 4))
axes.barh([m.label for m in shown], [m.value / m.random_mean for m in shown])
axes.axvline(1, color="black", linewidth=0.8)
axes.set_xlabel("value by that of random designs")
figure.tight_layout()
figure.savefig(folder / "measures.png")

# %% Ten more runs, which fill the gaps
more = optdoe.augment(design, 10, criterion="cd2", seed=6)
figure, axes = pyplot.subplots()
axes.plot(*more.physical[:40, :2].T, "o", label="40 runs")
axes.plot(*more.physical[40:, :2].T, "s", label="10 more")
axes.set(xlabel="Temp [C]", ylabel="Flow [l/h]")
axes.legend()
figure.savefig(folder / "more.png")
