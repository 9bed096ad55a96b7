"""What the peer programs in Python share: the clock of a run and the designs that it writes.

A peer program is called as

    PROGRAM METHOD CRITERION N K SECONDS SEED FOLDER

CRITERION is phip or cd2. The program searches for SECONDS seconds, which start after the program has loaded its
packages, and writes each design that is better than those before as FOLDER/MILLISECONDS.csv: n lines of k levels 1..n
under a line of names, the name of the file being the time since the start. So the best design of any shorter time is
there, too, and a program that is killed leaves what it had.
"""

import pathlib
import sys
import time


class Improvements:
    """Keeps the least value of a run and writes its design. The clock starts with the object."""

    def __init__(self, folder, seconds):
        self.folder = pathlib.Path(folder)
        self.seconds = seconds
        self.best = float("inf")
        self.start = time.perf_counter()

    def elapsed(self):
        return time.perf_counter() - self.start

    def left(self):
        return self.seconds - self.elapsed()

    def offer(self, value, points):
        """points: [n x k] numpy array whose columns hold n different numbers each; their ranks are the levels."""
        if not value < self.best:
            return
        self.best = value
        levels = points.argsort(axis=0).argsort(axis=0) + 1
        lines = [",".join(f"x{column + 1}" for column in range(levels.shape[1]))]
        lines += [",".join(map(str, row)) for row in levels.tolist()]
        written = self.folder / "unfinished"
        written.write_text("\n".join(lines) + "\n", encoding="utf-8")
        written.rename(self.folder / f"{round(1000 * self.elapsed())}.csv")


def arguments():
    """(method, criterion, n, k, seconds, seed, folder) of the command line."""
    method, criterion, n, k, seconds, seed, folder = sys.argv[1:]
    return method, criterion, int(n), int(k), float(seconds), int(seed), folder
