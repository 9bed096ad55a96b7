#!/usr/bin/python3
"""Microseconds of a default request of 10 runs and 2 factors, seed 5, from Python: prints "Python MEDIAN".

usage: PYTHONPATH=build/release/python bench/one_call.py [CALLS]
"""
import statistics
import sys
import time

import optdoe


def microseconds():
    begin = time.perf_counter()
    optdoe.latin_hypercube(10, 2, seed=5).levels
    return 1e6 * (time.perf_counter() - begin)


calls = int(sys.argv[1]) if len(sys.argv) > 1 else 1000
print(f"Python {statistics.median(microseconds() for _ in range(calls)):.1f}")
