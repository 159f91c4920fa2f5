#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What Python adds to a bound that is built and asserted, beyond the library.

    bench/python_bounds.py [COUNT]

with PYTHONPATH and VORN_LIBRARY as docs/python.md says. Builds and asserts COUNT
bounds x - y <= c (a million if not given), by operators and by calls of the
library with numbers alone, in turn; each figure is the least of three, in
microseconds of processor time a bound."""

import sys
import time

import vorn
from vorn._terms import lib

VARIABLES = 1000


def measure(count: int, by_operators: bool) -> float:
    with vorn.Solver() as s:
        x = [s.int() for _ in range(VARIABLES)]
        ends = [(k % VARIABLES, (7 * k + 1) % VARIABLES, k) for k in range(count)]
        handles = [one._x for one in x]
        pointer, assert_bound = s._pointer, lib.add_at_most
        start = time.process_time()
        if by_operators:
            for i, j, c in ends:
                s.add(x[i] - x[j] <= c)
        else:
            for i, j, c in ends:
                assert_bound(pointer, handles[i], handles[j], c)
        return (time.process_time() - start) / count * 1e6


def main() -> None:
    count = int(sys.argv[1]) if len(sys.argv) > 1 else 1000000
    runs = [(measure(count, True), measure(count, False)) for _ in range(3)]
    operators, library = (min(column) for column in zip(*runs))
    print(f"operators {operators:.2f}, library {library:.2f}, "
          f"Python adds {operators - library:.2f}")


main()
