# SPDX-License-Identifier: MIT
"""Two-way choices: random clauses of two bounds each.

n variables and round(ratio * n) clauses (or (<= (- x y) c) (<= (- z w) d))
with c and d from -100 to 100. Few clauses are sat, many are unsat; it is
hardest between, where the verdict is not known beforehand. With --planted a
hidden solution is chosen first, and clauses that it breaks are drawn again:
sat.
"""

import argparse

from script import Dice, Script, any_of, at_most


def two_way(n, ratio, sort="Real", seed=1, planted=False):
    dice = Dice(seed)
    script = Script(f"two-way choices, {n} variables, {ratio} clauses each, "
                    f"seed {seed}", "QF_RDL" if sort == "Real" else "QF_IDL",
                    "sat" if planted else None)
    value = [dice.between(-100, 100) for _ in range(n)]
    if planted:
        script.solution = {f"x{i}": v for i, v in enumerate(value)}
    for i in range(n):
        script.declare(f"x{i}", sort)
    clauses = 0
    while clauses < round(ratio * n):
        bounds = [(*dice.two_of(n), dice.between(-100, 100)) for _ in range(2)]
        if planted and not any(value[x] - value[y] <= c for x, y, c in bounds):
            continue
        script.add(any_of(at_most(f"x{x}", f"x{y}", c, sort)
                          for x, y, c in bounds))
        clauses += 1
    return script


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("n", type=int)
    parser.add_argument("ratio", type=float)
    parser.add_argument("--sort", choices=["Int", "Real"], default="Real")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--planted", action="store_true")
    two_way(**vars(parser.parse_args())).print()
