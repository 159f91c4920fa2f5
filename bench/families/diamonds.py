# SPDX-License-Identifier: MIT
"""Diamonds: a ring of n places with two ways from each to the next.

Each way is a chain of `depth` steps to something greater, so that whichever
ways are chosen, the first place would be greater than itself: unsat, and for
2^n reasons. --weights W makes a step a rise by a random amount from 1 to W
instead of a plain "less than". With --open one way, of one diamond, falls by
more than all others can rise, so all choices but half are wrong: sat.
"""

import argparse

from script import Dice, Script, all_of, any_of, at_least


def diamonds(n, depth, sort="Int", seed=1, weights=0, opened=False):
    dice = Dice(seed)
    script = Script(f"{n} diamonds of depth {depth}, seed {seed}",
                    "QF_RDL" if sort == "Real" else "QF_IDL",
                    "sat" if opened else "unsat")
    way_out = (dice.below(n), dice.below(2)) if opened else None

    def step(x, y):
        if weights == 0:
            return f"(< {x} {y})"
        return at_least(y, x, dice.between(1, weights), sort)

    for i in range(n):
        script.declare(f"a{i}", sort)
        for way in "bc":
            for k in range(1, depth):
                script.declare(f"{way}{i}_{k}", sort)
    for i in range(n):
        ways = []
        for number, way in enumerate("bc"):
            chain = [f"a{i}", *(f"{way}{i}_{k}" for k in range(1, depth)),
                     f"a{(i + 1) % n}"]
            steps = [step(x, y) for x, y in zip(chain, chain[1:])]
            if way_out == (i, number):
                fall = -n * depth * max(weights, 1)
                steps[-1] = at_least(chain[-1], chain[-2], fall, sort)
            ways.append(all_of(steps))
        script.add(any_of(ways))
    return script


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("n", type=int)
    parser.add_argument("depth", type=int)
    parser.add_argument("--sort", choices=["Int", "Real"], default="Int")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--weights", type=int, default=0)
    parser.add_argument("--open", dest="opened", action="store_true")
    diamonds(**vars(parser.parse_args())).print()
