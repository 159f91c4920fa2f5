# SPDX-License-Identifier: MIT
"""Mutual exclusion by timing alone, unrolled step by step over the reals.

Processes share one variable that is free or names a process. One that wants in

  reads it, and goes on if it is free;
  writes its own name into it, at most `write` after that;
  waits for more than `wait`, and looks again: if its own name is still there,
  it enters; if it is free, it begins again;
  frees the variable when it leaves.

This is safe if write <= wait: who could still overwrite a name has done so
before its owner looks. The question is whether two processes can be inside at
once within `steps` steps: unsat if that is safe, and else sat from 6 steps on
(two reads, two writes, two looks).

Time is the variable t_S of step S; c_P_S is when the clock of process P was
last set to zero, so that its clock shows t_S - c_P_S.
"""

import argparse
import itertools

from script import Script, all_of, any_of, at_most, exactly_one, negation

PLACES = ["away", "writing", "waiting", "inside"]


def mutex(processes, steps, write=1, wait=1):
    status = "sat" if write > wait and processes > 1 and steps >= 6 else "unsat"
    script = Script(f"mutual exclusion, {processes} processes, {steps} steps, "
                    f"write {write}, wait {wait}", "QF_RDL", status)
    everyone = range(processes)

    def names_at(step):
        """The Boolean variables of a step: free or owned, who is where."""
        return ([f"owner_{q}_{step}" for q in ["none", *everyone]],
                [[f"{place}_{p}_{step}" for place in PLACES]
                 for p in everyone])

    def owner(q, step):
        return f"owner_{q}_{step}"

    for s in range(steps + 1):
        script.declare(f"t_{s}", "Real")
        owners, places = names_at(s)
        for group in [owners, *places]:
            for name in group:
                script.declare(name, "Bool")
            for term in exactly_one(group):
                script.add(term)
        for p in everyone:
            script.declare(f"c_{p}_{s}", "Real")
    script.add(owner("none", 0))
    for p in everyone:
        script.add(f"away_{p}_0")
        script.add(f"(= c_{p}_0 t_0)")

    for s in range(steps):
        n = s + 1
        script.add(f"(<= t_{s} t_{n})")

        def keep(names):
            return [f"(= {name}_{n} {name}_{s})" for name in names]

        owner_kept = keep(f"owner_{q}" for q in ["none", *everyone])
        moves = []
        for p in everyone:
            # Whoever is about to write does so in time, whoever moves.
            script.add(any_of([negation(f"writing_{p}_{s}"), at_most(
                f"t_{n}", f"c_{p}_{s}", write, "Real")]))
            reset, kept = f"(= c_{p}_{n} t_{n})", f"(= c_{p}_{n} c_{p}_{s})"
            waited = negation(at_most(f"t_{n}", f"c_{p}_{s}", wait, "Real"))
            free = owner("none", s)
            others = [term for q in everyone if q != p for term in
                      keep([f"c_{q}"] + [f"{place}_{q}" for place in PLACES])]
            own = [
                [f"away_{p}_{s}", free, f"writing_{p}_{n}", reset, *owner_kept],
                [f"writing_{p}_{s}", f"waiting_{p}_{n}", reset, owner(p, n)],
                [f"waiting_{p}_{s}", waited, owner(p, s), f"inside_{p}_{n}",
                 kept, *owner_kept],
                [f"waiting_{p}_{s}", free, f"writing_{p}_{n}", reset,
                 *owner_kept],
                [f"inside_{p}_{s}", f"away_{p}_{n}", kept, owner("none", n)],
            ]
            moves.append(f"move_{p}_{s}")
            script.declare(moves[-1], "Bool")
            script.add(f"(=> {moves[-1]} {all_of(others)})")
            script.add(f"(=> {moves[-1]} {any_of(all_of(o) for o in own)})")
        script.add(any_of(moves))

    script.add(any_of(
        all_of([f"inside_{p}_{s}", f"inside_{q}_{s}"])
        for s in range(steps + 1)
        for p, q in itertools.combinations(everyone, 2)))
    return script


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("processes", type=int)
    parser.add_argument("steps", type=int)
    parser.add_argument("--write", type=int, default=1)
    parser.add_argument("--wait", type=int, default=1)
    mutex(**vars(parser.parse_args())).print()
