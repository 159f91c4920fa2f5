#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""A helper for job shops: jobs of operations, each on one machine, one at a time.

    job_shop.py TABLE

TABLE, as ../jobshop/ft06.txt: jobs and machines, then a line for each job, of
pairs machine and time. Prints the shortest schedule, and how far it was proved
when the time (a minute) was out."""

import sys

import vorn


class JobShop:
    """Builds the question; the rest is the solver's."""

    def __init__(self, solver: vorn.Solver) -> None:
        self.solver = solver
        self.end = solver.int("end")
        self.machines: dict[int, list[tuple[vorn.Number, int]]] = {}
        self.jobs: list[list[vorn.Number]] = []

    def add_job(self, operations: list[tuple[int, int]]) -> None:
        """Machine and time of each operation, in their order."""
        s = self.solver
        number = len(self.jobs)
        starts = [s.int(f"job {number} step {k}") for k in range(len(operations))]
        s.add(starts[0] >= 0)
        for k, (machine, time) in enumerate(operations):
            after = starts[k + 1] if k + 1 < len(starts) else self.end
            s.add(after - starts[k] >= time)
            others = self.machines.setdefault(machine, [])
            for other, its_time in others:
                s.add(
                    (starts[k] - other >= its_time)
                    | (other - starts[k] >= time)
                )
            others.append((starts[k], time))
        self.jobs.append(starts)


def main() -> None:
    with open(sys.argv[1], encoding="ascii") as file:
        rows = [
            [int(word) for word in line.split()]
            for line in file
            if line.strip() and not line.startswith("#")
        ]
    s = vorn.Solver()
    shop = JobShop(s)
    for row in rows[1:]:
        shop.add_job(list(zip(row[::2], row[1::2])))
    s.minimize(shop.end)
    answer = s.check(timeout=60)
    (end,) = s.objectives()
    print(answer, f"end from {end.low} to {end.high}")
    model = s.model()
    for number, starts in enumerate(shop.jobs):
        print(f"job {number}:", *(model[start] for start in starts))


main()
