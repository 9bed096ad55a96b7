#!/usr/bin/python3
"""What a call from Python costs beside the same call of the C library: microseconds a call, of 10 runs with seed 5.

usage: PYTHONPATH=build/release/python bench/python_calls.py build/release/lib/liboptdoe.so.1 [REPETITIONS]

Calls from Python and calls of the library's functions alternate, so that whatever else the machine does meets both.
One factor is the call alone, with nothing to search for; two factors are the default search.
"""
import ctypes
import statistics
import sys
import time

import optdoe


def library_call(file):
    """The same request by the functions of the library, without the package."""
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


def main():
    library = library_call(sys.argv[1])
    repetitions = int(sys.argv[2]) if len(sys.argv) > 2 else 2000
    print("us a call      library: least  median    Python: least  median    between: least  median")
    for factors in (1, 2):
        pairs = [(library(factors), package_call(factors)) for _ in range(repetitions)]
        inner, outer = (list(times) for times in zip(*pairs))
        between = (min(outer) - min(inner), statistics.median(outer) - statistics.median(inner))
        print(f"10 x {factors}{min(inner):23.1f}{statistics.median(inner):8.1f}{min(outer):17.1f}"
              f"{statistics.median(outer):8.1f}{between[0]:18.1f}{between[1]:8.1f}")


if __name__ == "__main__":
    main()
