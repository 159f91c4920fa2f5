#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Is a timing diagram consistent? Edges of signals, with the least and the most
time between them, in nanoseconds; and what the diagram says without saying it."""

from fractions import Fraction

import vorn

# From, to, at least, at most, what the data sheet calls it.
Row = tuple[str, str, Fraction | None, Fraction | None, str]
READ: list[Row] = [
    ("clock", "address", Fraction(1), Fraction(5), "tAD"),
    ("clock", "strobe", Fraction(3), Fraction(9, 2), "tSD"),
    ("address", "data", Fraction(0), Fraction(10), "tACC"),
    ("strobe", "data", None, Fraction(8), "tSTB"),
    ("data", "latch", Fraction(3, 2), None, "tSU"),
    ("clock", "latch", Fraction(12), Fraction(12), "cycle"),
]


def diagram(rows: list[Row]) -> tuple[vorn.Solver, dict[str, vorn.Number]]:
    s = vorn.Solver(minimize_cores=True)
    names = dict.fromkeys(name for row in rows for name in row[:2])
    at = {name: s.real(name) for name in names}
    for source, target, least, most, label in rows:
        bounds = []
        if least is not None:
            bounds.append(at[target] - at[source] >= least)
        if most is not None:
            bounds.append(at[target] - at[source] <= most)
        s.add(vorn.all_of(bounds), name=label)
    return s, at


def main() -> None:
    s, at = diagram(READ)
    print(s.check())
    for name, edge in at.items():
        low, high = s.bounds(edge - at["clock"])
        print(f"{name:8} {low} to {high} after the clock")

    slow: list[Row] = READ + [("strobe", "data", Fraction(9), None, "slow memory")]
    s, _ = diagram(slow)
    print(s.check(), s.core())
    print(s.explain(), end="")


main()
