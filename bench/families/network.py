# SPDX-License-Identifier: MIT
"""Sparse networks: many bounds on differences, and nothing to choose.

Each of n variables has a hidden value. Each of m bounds x - y <= c leaves the
hidden values a random margin from 0 to `margin`: sat. With --cycle L the last
L bounds form a cycle through L different variables whose sum is -1: unsat.
All bounds are in random order, one assertion each.
"""

import argparse

from script import Dice, Script, at_most


def network(n, m, sort="Int", seed=1, margin=10, cycle=0):
    dice = Dice(seed)
    script = Script(f"network, {n} variables, {m} bounds, seed {seed}",
                    "QF_RDL" if sort == "Real" else "QF_IDL",
                    "unsat" if cycle else "sat")
    value = [dice.below(10 * n) for _ in range(n)]
    if not cycle:
        script.solution = {f"x{i}": v for i, v in enumerate(value)}
    bounds = []
    for _ in range(m - cycle):
        x, y = dice.two_of(n)
        bounds.append((x, y, value[x] - value[y] + dice.between(0, margin)))
    if cycle:
        ring = dice.shuffled(range(n))[:cycle]
        bounds += [(x, y, value[x] - value[y])
                   for x, y in zip(ring, ring[1:] + ring[:1])]
        x, y, c = bounds.pop()
        bounds.append((x, y, c - 1))
    for i in range(n):
        script.declare(f"x{i}", sort)
    for x, y, c in dice.shuffled(bounds):
        script.add(at_most(f"x{x}", f"x{y}", c, sort))
    return script


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("n", type=int)
    parser.add_argument("m", type=int)
    parser.add_argument("--sort", choices=["Int", "Real"], default="Int")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--margin", type=int, default=10)
    parser.add_argument("--cycle", type=int, default=0)
    network(**vars(parser.parse_args())).print()
