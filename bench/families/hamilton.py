# SPDX-License-Identifier: MIT
"""Hamiltonian cycles: one cycle through all nodes of a random digraph.

Each node chooses one edge out and one edge in. Levels rise by one along chosen
edges, save into node 0, so that no cycle misses node 0. Each node has about
`degree` edges out.

  --gates 0   a hidden cycle through all nodes is among the edges: sat
  --gates G   G nodes are the only way between G + 1 parts of the graph. A
              cycle would leave each part through a gate of its own: unsat.
              Inside the parts there are cycles, so each node has its choice.
"""

import argparse

from script import Dice, Script, exactly_one


def random_edges(n, degree, gates, dice):
    """A set of pairs, and the hidden cycle or None."""
    if n < 2 * gates + 1:
        raise ValueError("each part needs a node")
    order = dice.shuffled(range(n))
    part = {node: None if i < gates else i % (gates + 1)
            for i, node in enumerate(order)}
    cycles = [order] if gates == 0 else [
        [node for node in order if part[node] == p] for p in range(gates + 1)]
    edges = set()
    for cycle in cycles:
        edges |= set(zip(cycle, cycle[1:] + cycle[:1]))
        # No gate is closed to a part, so counting edges proves nothing.
        for gate in order[:gates]:
            edges.add((gate, cycle[dice.below(len(cycle))]))
            edges.add((cycle[dice.below(len(cycle))], gate))
    for _ in range(int(100 * n * degree)):  # Small parts have no more edges.
        if len(edges) >= n * degree:
            break
        x, y = dice.two_of(n)
        if None in (part[x], part[y]) or part[x] == part[y]:
            edges.add((x, y))
    return sorted(edges), order if gates == 0 else None


def hamilton(n, degree, seed=1, gates=0):
    edges, cycle = random_edges(n, degree, gates, Dice(seed))
    script = Script(f"Hamiltonian cycle, {n} nodes, {degree} edges each, "
                    f"{gates} gates, seed {seed}", "QF_IDL",
                    "unsat" if gates else "sat")
    if cycle:
        after = dict(zip(cycle, cycle[1:] + cycle[:1]))
        turn = cycle.index(0)
        script.solution = {f"l{x}": (i - turn) % n for i, x in enumerate(cycle)}
        script.solution |= {f"e_{x}_{y}": after[x] == y for x, y in edges}
    for x in range(n):
        script.declare(f"l{x}", "Int")
    for x, y in edges:
        script.declare(f"e_{x}_{y}", "Bool")
    script.add("(= l0 0)")
    for x in range(1, n):
        script.add(f"(and (<= 1 l{x}) (<= l{x} {n - 1}))")
    for node in range(n):
        for end in range(2):
            names = [f"e_{x}_{y}" for x, y in edges if (x, y)[end] == node]
            for term in exactly_one(names):
                script.add(term)
    for x, y in edges:
        if y != 0:
            script.add(f"(=> e_{x}_{y} (= (- l{y} l{x}) 1))")
    return script


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("n", type=int)
    parser.add_argument("degree", type=float)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--gates", type=int, default=0)
    hamilton(**vars(parser.parse_args())).print()
