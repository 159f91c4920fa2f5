# SPDX-License-Identifier: MIT
"""Open shop: n jobs have one operation each on n machines, in any order.

No job and no machine does two operations at once. A hidden timetable cuts the
time into n slots; in each of them every job runs on another machine (a Latin
square), for as long as the slot. So every job and every machine has work for
exactly the sum of the slots, and

  --slack 0   everything must end by that sum, without a pause: sat
  --slack S   there are S > 0 units more: sat
  --slack -1  there is one unit less: unsat
"""

import argparse

from script import Dice, Script, any_of, at_least, number


def latin_square(n, dice):
    """Slot of each job on each machine: a cyclic square, shuffled."""
    rows, columns, slots = (dice.shuffled(range(n)) for _ in range(3))
    return [[slots[(row + column) % n] for column in columns] for row in rows]


def open_shop(n, seed=1, longest=4, slack=0):
    dice = Dice(seed)
    slot_of = latin_square(n, dice)
    length = [dice.between(1, longest) for _ in range(n)]
    begin = [sum(length[:slot]) for slot in range(n)]
    horizon = sum(length) + slack

    script = Script(f"open shop, {n} jobs, seed {seed}, slack {slack}",
                    "QF_IDL", "sat" if slack >= 0 else "unsat")
    start = [[f"s_{job}_{machine}" for machine in range(n)] for job in range(n)]
    duration = [[length[slot] for slot in row] for row in slot_of]
    if slack >= 0:
        script.solution = {start[job][machine]: begin[slot_of[job][machine]]
                           for job in range(n) for machine in range(n)}
    cells = [(job, machine) for job in range(n) for machine in range(n)]
    for job, machine in cells:
        script.declare(start[job][machine], "Int")
    for job, machine in cells:
        latest = horizon - duration[job][machine]
        script.add(f"(>= {start[job][machine]} 0)")
        script.add(f"(<= {start[job][machine]} {number(latest)})")

    def add_not_at_once(a, b):
        x, y = start[a[0]][a[1]], start[b[0]][b[1]]
        script.add(any_of([at_least(y, x, duration[a[0]][a[1]]),
                           at_least(x, y, duration[b[0]][b[1]])]))

    for i in range(n):
        for j in range(n):
            for k in range(j + 1, n):
                add_not_at_once((i, j), (i, k))
                add_not_at_once((j, i), (k, i))
    return script


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("n", type=int)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--longest", type=int, default=4,
                        help="longest slot; the shortest is 1")
    parser.add_argument("--slack", type=int, default=0)
    open_shop(**vars(parser.parse_args())).print()
