#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Test rigs shared by teams: who runs when, on which rig, so that all are done
early; and how late each run may start without anybody waiting."""

import vorn

RIGS = ["climate", "shaker"]
# Run: rig, or None for any of them; hours; what must be done before.
RUNS: dict[str, tuple[str | None, int, list[str]]] = {
    "brakes cold": ("climate", 4, []),
    "brakes shaken": ("shaker", 3, ["brakes cold"]),
    "display cold": ("climate", 2, []),
    "display shaken": ("shaker", 2, []),
    "radio": (None, 3, []),
    "battery": (None, 5, ["display shaken"]),
}


def main() -> None:
    s = vorn.Solver()
    start = {run: s.int(run) for run in RUNS}
    done = s.int("done")
    on = {
        (run, rig): s.bool(f"{run} on {rig}") for run in RUNS for rig in RIGS
    }
    for run, (own, hours, before) in RUNS.items():
        s.add(start[run] >= 0, done - start[run] >= hours)
        s.add(vorn.count(on[run, rig] for rig in RIGS) == 1)
        if own is not None:
            s.add(on[run, own])
        for other in before:
            s.add(start[run] - start[other] >= RUNS[other][1])
    for k, a in enumerate(RUNS):
        for b in list(RUNS)[:k]:
            apart = (start[a] - start[b] >= RUNS[b][1]) | (
                start[b] - start[a] >= RUNS[a][1]
            )
            for rig in RIGS:
                s.add(vorn.implies(on[a, rig] & on[b, rig], apart))
    s.minimize(done, name="done")

    print(s.check(), "done after", s.model()[done])
    print("and not earlier:", s.objectives()[0].is_settled)
    for run in RUNS:
        low, high = s.bounds(start[run])
        print(f"{run:15} starts from {low} to {high}")


main()
