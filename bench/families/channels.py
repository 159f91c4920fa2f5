# SPDX-License-Identifier: MIT
"""Channel assignment: transmitters that are near need distant frequencies.

n transmitters stand at random places of a unit square and take a frequency
from 0 to `highest` each. Two that are nearer than `reach` must be d apart,
|x - y| >= d, with d from 1 at the reach to `distance` at the same place.

  --planted   frequencies are hidden first, and pairs that they would break
              ask for no more than what they keep: sat
  --crowd K   K transmitters must be `distance` apart from each other; if that
              needs more than the range, unsat

Without either the verdict is not known beforehand.
"""

import argparse
import itertools
import math

from script import Dice, Script, any_of, at_least


def channels(n, highest, reach=0.3, distance=5, seed=1, planted=False, crowd=0):
    dice = Dice(seed)
    script = Script(f"{n} transmitters, frequencies to {highest}, seed {seed}",
                    "QF_IDL", "sat" if planted else None)
    place = [(dice.below(1000) / 1000, dice.below(1000) / 1000)
             for _ in range(n)]
    crowded = set(dice.shuffled(range(n))[:crowd])
    if not planted and (len(crowded) - 1) * distance > highest:
        script.status = "unsat"
    value = [dice.between(0, highest) for _ in range(n)]
    if planted:
        script.solution = {f"f{i}": v for i, v in enumerate(value)}
    for i in range(n):
        script.declare(f"f{i}", "Int")
        script.add(f"(and (<= 0 f{i}) (<= f{i} {highest}))")
    for i, j in itertools.combinations(range(n), 2):
        near = 1 - math.dist(place[i], place[j]) / reach
        apart = math.ceil(near * distance)
        if i in crowded and j in crowded:
            apart = distance
        if planted:
            apart = min(apart, abs(value[i] - value[j]))
        if apart > 0:
            script.add(any_of([at_least(f"f{i}", f"f{j}", apart),
                               at_least(f"f{j}", f"f{i}", apart)]))
    return script


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("n", type=int)
    parser.add_argument("highest", type=int)
    parser.add_argument("--reach", type=float, default=0.3)
    parser.add_argument("--distance", type=int, default=5)
    parser.add_argument("--seed", type=int, default=1)
    either = parser.add_mutually_exclusive_group()
    either.add_argument("--planted", action="store_true")
    either.add_argument("--crowd", type=int, default=0)
    channels(**vars(parser.parse_args())).print()
