# SPDX-License-Identifier: MIT
"""Job shop: jobs are rows of operations on machines that do one at a time.

The question is whether everything can end by time K. The jobs come from a
table (the numbers of jobs and machines, then a line a job with a pair "machine
duration" for each operation), or are random: JxM with --seed, durations from 1
to 99, each job once on each machine in an order of its own. K may be written
as P%, of what the longest job or the busiest machine takes, whichever is
longer. With --choices C each operation may run on any of C machines, drawn
with the same seed, and the machines count as busy alike.

:status comes from the file optima.tsv beside a table; it is unsat below 100%,
and not known elsewhere. Tables are asked about in the words and the order of
examples/jobshop/question.sh.
"""

import argparse
import itertools
import pathlib

from script import Dice, Script, any_of, at_least, negation, number


def random_jobs(jobs, machines, dice):
    return [[(machine, dice.between(1, 99))
             for machine in dice.shuffled(range(machines))]
            for _ in range(jobs)]


def read_jobs(path):
    rows = [[int(word) for word in line.split()]
            for line in pathlib.Path(path).read_text().splitlines()
            if line.strip() and not line.lstrip().startswith("#")]
    count, machines = rows[0]
    jobs = [list(zip(row[::2], row[1::2])) for row in rows[1:count + 1]]
    return jobs, machines


def optimum_of(path):
    """The least K, from the table of optima, or None."""
    optima = pathlib.Path(path).with_name("optima.tsv")
    for row in optima.read_text().splitlines() if optima.exists() else []:
        fields = row.split()
        if fields[0] == pathlib.Path(path).stem and fields[4] == "optimal":
            return int(fields[3])
    return None


def least_length(jobs, machines, choices):
    """What the longest job takes, or the machines, if they are all busy."""
    load = [0] * machines
    for machine, duration in itertools.chain(*jobs):
        load[machine] += duration
    busy = max(load) if choices == 1 else -(-sum(load) // machines)
    return max([busy] + [sum(d for _, d in job) for job in jobs])


def job_shop(shop, horizon, seed=1, choices=1):
    dice = Dice(seed)
    optimum = None
    if pathlib.Path(shop).exists():
        jobs, machines = read_jobs(shop)
        optimum = optimum_of(shop) if choices == 1 else None
    else:
        count, machines = (int(word) for word in shop.split("x"))
        jobs = random_jobs(count, machines, dice)
    least = least_length(jobs, machines, choices)
    k = (least * int(horizon[:-1]) // 100 if horizon.endswith("%")
         else int(horizon))
    status = "unsat" if k < least else None
    if optimum:
        status = "sat" if k >= optimum else "unsat"

    script = Script(f"job shop {pathlib.Path(shop).stem}, seed {seed}, by {k}, "
                    f"machines to choose from: {choices}", "QF_IDL", status)
    start = [[f"s_{j}_{i}" for i in range(len(job))]
             for j, job in enumerate(jobs)]
    for name in itertools.chain(*start):
        script.declare(name, "Int")
    for names, job in zip(start, jobs):
        script.add(f"(>= {names[0]} 0)")
        for i in range(1, len(job)):
            script.add(at_least(names[i], names[i - 1], job[i - 1][1]))
        script.add(f"(<= {names[-1]} {number(k - job[-1][1])})")

    # Under which condition an operation is on a machine, for those it may take.
    on = {}
    for j, job in enumerate(jobs):
        for i, (machine, _) in enumerate(job):
            if choices == 1:
                on[j, i] = {machine: "true"}
                continue
            others = dice.shuffled(m for m in range(machines) if m != machine)
            on[j, i] = {m: f"on_{j}_{i}_{m}"
                        for m in [machine] + others[:choices - 1]}
            for name in on[j, i].values():
                script.declare(name, "Bool")
            script.add(any_of(on[j, i].values()))
    for (j, job), (l, other) in itertools.combinations(enumerate(jobs), 2):
        for (i, (_, d)), (m, (_, e)) in itertools.product(enumerate(job),
                                                          enumerate(other)):
            orders = [at_least(start[l][m], start[j][i], d),
                      at_least(start[j][i], start[l][m], e)]
            for machine in sorted(set(on[j, i]) & set(on[l, m])):
                elsewhere = [negation(where[machine])
                             for where in (on[j, i], on[l, m])
                             if where[machine] != "true"]
                script.add(any_of(elsewhere + orders))
    return script


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("shop", help="a table, or JxM for random jobs")
    parser.add_argument("horizon", help="K or P%%")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--choices", type=int, default=1)
    job_shop(**vars(parser.parse_args())).print()
