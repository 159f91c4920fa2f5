# SPDX-License-Identifier: MIT
"""Queens: one on each row of an n x n board, none attacks another.

  plain     queens as in chess; sat for all n but 2 and 3
  super     they move like knights as well; sat for n = 1 and from 10 on
  toroidal  diagonals go on at the opposite edge; sat if neither 2 nor 3
            divides n

Those theorems are where :status comes from. The variable of a row is the
column of its queen. --spelling says how "differs" is written: "not" as (not
(= ...)), "distinct" as (distinct ...), "bounds" as a choice of two bounds.
"""

import argparse

from script import Script, all_of, any_of, at_least, at_most, number


def forbidden(kind, n, rows):
    """Differences of columns at which queens that many rows apart attack."""
    differences = {0, rows, -rows}
    if kind == "super":
        differences |= {1: {2, -2}, 2: {1, -1}}.get(rows, set())
    if kind == "toroidal":
        differences |= {n - rows, rows - n}
    return sorted(differences)


def is_sat(kind, n):
    if kind == "plain":
        return n not in (2, 3)
    if kind == "super":
        return n == 1 or n >= 10
    return n % 2 != 0 and n % 3 != 0


def differs(x, y, value, spelling):
    if spelling == "bounds":
        return any_of([at_most(x, y, value - 1), at_least(x, y, value + 1)])
    left, right = (x, y) if value == 0 else (f"(- {x} {y})", number(value))
    if spelling == "distinct":
        return f"(distinct {left} {right})"
    return f"(not (= {left} {right}))"


def queens(kind, n, spelling="not"):
    status = "sat" if is_sat(kind, n) else "unsat"
    script = Script(f"{n} {kind} queens", "QF_IDL", status)
    columns = [f"x{i}" for i in range(n)]
    for x in columns:
        script.declare(x, "Int")
    for x in columns:
        script.add(all_of([f"(>= {x} 0)", f"(<= {x} {n - 1})"]))
    for i in range(n):
        for j in range(i + 1, n):
            for value in forbidden(kind, n, j - i):
                script.add(differs(columns[i], columns[j], value, spelling))
    return script


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("kind", choices=["plain", "super", "toroidal"])
    parser.add_argument("n", type=int)
    parser.add_argument("--spelling", default="not",
                        choices=["not", "distinct", "bounds"])
    queens(**vars(parser.parse_args())).print()
