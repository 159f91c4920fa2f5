#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks that the generators write what they say.

Hidden solutions are evaluated on the text of the scripts; small scripts are
decided by enumeration or by an algorithm for the problem itself, and compared
with :status. With the environment variable VORN naming the command, the scripts
are put to it as well, and with VORN_CHECK naming the checker, it has to accept
the proof or the model of each answer.

    VORN=build/release/bin/vorn VORN_CHECK=build/release/bin/vorn-check \
        bench/families/check_generators.py
"""

import collections
import itertools
import operator
import os
import pathlib
import re
import subprocess
import tempfile
import unittest
from fractions import Fraction

from channels import channels
from diamonds import diamonds
from hamilton import hamilton
from job_shop import job_shop
from mutex import mutex
from network import network
from open_shop import open_shop
from queens import queens
from two_way import two_way

EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples" / "jobshop"

COMPARISONS = {"<=": operator.le, "<": operator.lt, ">=": operator.ge,
               ">": operator.gt, "=": operator.eq}


def parsed(text):
    """The commands of a script as nested lists of words."""
    stack = [[]]
    for word in re.findall(r"[()]|[^\s()]+", re.sub(r";.*", "", text)):
        if word == "(":
            stack.append([])
        elif word == ")":
            stack[-2].append(stack.pop())
        else:
            stack[-1].append(word)
    return stack[0]


def assertions(script):
    return [c[1] for c in parsed(script.text()) if c[0] == "assert"]


def declared(script):
    return [c[1] for c in parsed(script.text()) if c[0] == "declare-const"]


def value(term, solution):
    if isinstance(term, str):
        if term in ("true", "false"):
            return term == "true"
        return solution[term] if term in solution else Fraction(term)
    head, *rest = term
    if head in ("and", "or"):
        return {"and": all, "or": any}[head](value(t, solution) for t in rest)
    terms = [value(t, solution) for t in rest]
    if head == "not":
        return not terms[0]
    if head == "=>":
        return not terms[0] or terms[1]
    if head == "-":
        return -terms[0] if len(terms) == 1 else terms[0] - terms[1]
    if head == "distinct":
        return len(set(terms)) == len(terms)
    compare, (left, right) = COMPARISONS[head], terms
    return compare(left, right)


def holds(script, solution):
    return all(value(t, solution) for t in assertions(script))


def solutions(script, highest):
    """The number of integer solutions from 0 to a bound."""
    names, terms = declared(script), assertions(script)
    return sum(all(value(t, dict(zip(names, values))) for t in terms)
               for values in itertools.product(range(highest + 1),
                                               repeat=len(names)))


def attacks(kind, n, down, across):
    """Whether queens attack that are so many rows and columns apart."""
    return (across in (0, down) or
            kind == "super" and {down, across} == {1, 2} or
            kind == "toroidal" and n - across == down)


def is_possible(kind, n, rows=()):
    """Whether a board can be filled that begins with these rows."""
    return len(rows) == n or any(
        is_possible(kind, n, (*rows, column)) for column in range(n)
        if not any(attacks(kind, n, len(rows) - row, abs(column - other))
                   for row, other in enumerate(rows)))


def steps_to_clash(processes, write, wait):
    """The least number of steps of the protocol until two are inside, or None.

    Explores it with clocks that show multiples of a grain, fine enough for as
    many events in one unit of time as there are processes.
    """
    grain = 2 * (processes + 1)
    top = grain * (max(write, wait) + 1)
    layer = {(None, (("away", 0),) * processes)}
    seen = set(layer)
    for steps in itertools.count():
        if any(sum(place == "inside" for place, _ in who) > 1
               for _, who in layer):
            return steps
        if not layer:
            return None
        following = set()
        for owner, who in layer:
            for delay in range(top + 1):
                now = [(place, min(clock + delay, top)) for place, clock in who]
                if any(place == "writing" and clock > grain * write
                       for place, clock in now):
                    break
                for p, (place, clock) in enumerate(now):
                    after = []
                    if place in ("away", "waiting") and owner is None:
                        after.append((None, "writing", 0))
                    if place == "writing":
                        after.append((p, "waiting", 0))
                    if (place == "waiting" and owner == p and
                            clock > grain * wait):
                        after.append((p, "inside", clock))
                    if place == "inside":
                        after.append((None, "away", clock))
                    for new_owner, *new in after:
                        following.add((new_owner, (*now[:p], tuple(new),
                                                   *now[p + 1:])))
        layer = following - seen
        seen |= layer


def has_negative_cycle(script):
    bounds = collections.defaultdict(list)
    for _, (_, x, y), c in assertions(script):
        bounds[y].append((x, value(c, {})))
    distance = dict.fromkeys(declared(script), 0)
    changed, rounds = set(distance), 0
    while changed and rounds <= len(distance):
        nearer = set()
        for y in changed:
            for x, c in bounds[y]:
                if distance[y] + c < distance[x]:
                    distance[x] = distance[y] + c
                    nearer.add(x)
        changed, rounds = nearer, rounds + 1
    return bool(changed)


def has_cycle_through_all(script):
    after = collections.defaultdict(set)
    nodes = 0
    for name in declared(script):
        kind, *numbers = re.findall(r"[a-z]|\d+", name)
        if kind == "e":
            after[int(numbers[0])].add(int(numbers[1]))
        else:
            nodes += 1

    def extend(path, seen):
        if len(path) == nodes:
            return 0 in after[path[-1]]
        return any(extend(path + [y], seen | {y})
                   for y in after[path[-1]] - seen)

    return extend([0], {0})


class GeneratorTest(unittest.TestCase):

    def ask(self, script, wanted):
        """Puts a script to the command, if there is one."""
        if "VORN" not in os.environ:
            return
        with tempfile.TemporaryDirectory() as folder:
            def run(*arguments):
                return subprocess.run(
                    arguments, check=True, cwd=folder, text=True,
                    stdout=subprocess.PIPE).stdout
            question = pathlib.Path(folder) / "question"
            proof = pathlib.Path(folder) / "proof"
            question.write_text(script.text() + "(get-model)\n"
                                if wanted == "sat" else script.text())
            said = run(os.environ["VORN"], "--proof", proof, question)
            self.assertEqual(said.split()[0], wanted, script.title)
            if "VORN_CHECK" not in os.environ:
                return
            evidence = [proof]
            if wanted == "sat":
                answer = pathlib.Path(folder) / "answer"
                answer.write_text(said)
                question.write_text(script.text())
                evidence = [answer]
                self.assertFalse(proof.exists())
            option = ["--model"] if wanted == "sat" else []
            self.assertEqual(
                run(os.environ["VORN_CHECK"], *option, question, *evidence),
                "valid\n", script.title)

    def test_hidden_solutions_hold(self):
        for seed in range(1, 6):
            for script in [
                    open_shop(7, seed), open_shop(5, seed, 9, slack=3),
                    two_way(20, 8, "Int", seed, planted=True),
                    two_way(20, 8, "Real", seed, planted=True),
                    channels(40, 12, seed=seed, planted=True),
                    hamilton(30, 3, seed),
                    network(100, 1000, "Int", seed),
                    network(100, 1000, "Real", seed, margin=0)]:
                self.assertEqual(script.status, "sat")
                self.assertTrue(holds(script, script.solution), script.title)
                # The check can fail: no script allows just anything.
                anything = {name: 0 for name in script.solution}
                self.assertFalse(holds(script, anything), script.title)
                self.ask(script, "sat")

    def test_a_seed_gives_one_script(self):
        for make in [lambda seed: open_shop(6, seed, 20),
                     lambda seed: job_shop("5x4", "110%", seed, 2),
                     lambda seed: two_way(9, 5, seed=seed),
                     lambda seed: diamonds(4, 3, weights=9, seed=seed),
                     lambda seed: channels(9, 9, seed=seed),
                     lambda seed: hamilton(9, 3, seed, 2),
                     lambda seed: network(9, 20, seed=seed)]:
            self.assertEqual(make(1).text(), make(1).text())
            self.assertNotEqual(assertions(make(1)), assertions(make(2)))

    def test_queens_attack_as_they_should(self):
        n = 7
        for kind, spelling in itertools.product(
                ["plain", "super", "toroidal"], ["not", "distinct", "bounds"]):
            terms = collections.defaultdict(list)
            for term in assertions(queens(kind, n, spelling)):
                rows = sorted(set(re.findall(r"x\d", str(term))))
                terms[tuple(rows)].append(term)
            for i in range(n):
                for column in range(-1, n + 1):
                    free = all(value(t, {f"x{i}": column})
                               for t in terms[f"x{i}",])
                    self.assertEqual(free, 0 <= column < n)
            for i, j in itertools.combinations(range(n), 2):
                for a, b in itertools.product(range(n), repeat=2):
                    free = all(value(t, {f"x{i}": a, f"x{j}": b})
                               for t in terms[f"x{i}", f"x{j}"])
                    self.assertEqual(free, not attacks(kind, n, j - i,
                                                       abs(a - b)))

    def test_queens_are_possible_when_they_should_be(self):
        for kind in ["plain", "super", "toroidal"]:
            for n in range(1, 14):
                script = queens(kind, n)
                wanted = "sat" if is_possible(kind, n) else "unsat"
                self.assertEqual(script.status, wanted, script.title)
                if n < 10:
                    self.ask(script, wanted)

    def test_open_shops_keep_jobs_and_machines_from_overlap(self):
        # If all operations are of length 1, timetables without a pause are
        # Latin squares: 2 of order 2, 12 of order 3.
        self.assertEqual(solutions(open_shop(2, longest=1), 2), 2)
        self.assertEqual(solutions(open_shop(3, longest=1), 2), 12)

    def test_open_shops_cannot_end_sooner_than_work(self):
        for seed in range(1, 6):
            for slack in [-1, 0]:
                script = open_shop(2, seed, 3, slack)
                found = solutions(script, 6)
                self.assertEqual(found > 0, script.status == "sat")
            self.ask(open_shop(5, seed, slack=-1), "unsat")

    def test_job_shops_are_those_of_the_example(self):
        for name, k in [("ft06", 55), ("ft06", 54), ("ft06", 2),
                        ("la01", 700)]:
            table = EXAMPLES / f"{name}.txt"
            script = job_shop(str(table), str(k))
            self.assertEqual(script.status, "unsat" if k < 55 else "sat")
            wanted = subprocess.run(
                [EXAMPLES / "question.sh", table, str(k)], check=True,
                stdout=subprocess.PIPE, text=True).stdout
            self.assertEqual(
                [c for c in parsed(script.text()) if c[0] != "set-info"],
                parsed(wanted))
            self.ask(script, script.status)

    def test_choice_of_machines_is_free(self):
        # Two jobs for one machine first and then for the other. With both to
        # choose from, each job can have a machine for itself.
        with tempfile.TemporaryDirectory() as folder:
            table = pathlib.Path(folder) / "two.txt"
            table.write_text("2 2\n0 2 1 1\n0 2 1 1\n")
            for choices, k, wanted in [(1, 4, False), (1, 5, True),
                                       (2, 3, True), (2, 2, False)]:
                script = job_shop(str(table), str(k), choices=choices)
                numbers = [n for n in declared(script) if n[0] == "s"]
                others = [n for n in declared(script) if n[0] != "s"]
                found = any(
                    holds(script, dict(zip(numbers + others, starts + where)))
                    for starts in itertools.product(range(k + 1),
                                                    repeat=len(numbers))
                    for where in itertools.product([False, True],
                                                   repeat=len(others)))
                self.assertEqual(found, wanted, script.title)
                self.ask(script, "sat" if wanted else "unsat")

    def test_diamonds_close_in_all_ways_or_in_all_but_some(self):
        for seed in range(1, 4):
            for sort in ["Int", "Real"]:
                for weights in [0, 2]:
                    for opened in [False, True]:
                        script = diamonds(3, 2, sort, seed, weights, opened)
                        ways = [t[1:] for t in assertions(script)]
                        good = sum(
                            not self.closes(itertools.chain(*(
                                way[1:] for way in choice)))
                            for choice in itertools.product(*ways))
                        self.assertEqual(good, 4 if opened else 0)
                        self.ask(script, script.status)

    @staticmethod
    def closes(bounds):
        """Whether chosen steps have a cycle that rises."""
        least = collections.defaultdict(int)
        rises = [(t[1], t[2], 1) if t[0] == "<" else
                 (t[1][2], t[1][1], value(t[2], {})) for t in bounds]
        for _ in range(len(rises) + 1):
            before = dict(least)
            for x, y, rise in rises:
                least[y] = max(least[y], least[x] + rise)
        return before != dict(least)

    def test_crowds_do_not_fit(self):
        script = channels(4, 5, distance=3, crowd=3)
        self.assertEqual((script.status, solutions(script, 5)), ("unsat", 0))
        script = channels(4, 6, distance=3, crowd=3)
        self.assertIsNone(script.status)
        self.assertGreater(solutions(script, 6), 0)
        self.ask(channels(20, 14, crowd=4), "unsat")

    def test_gates_leave_no_cycle_through_all(self):
        for seed in range(1, 6):
            for gates in [0, 1, 2, 3]:
                script = hamilton(14, 3, seed, gates)
                self.assertEqual(has_cycle_through_all(script), gates == 0)
                self.ask(script, script.status)

    def test_protocol_breaks_when_writing_is_slow(self):
        for processes, write, wait in [(2, 1, 1), (2, 1, 2), (2, 2, 1),
                                       (2, 3, 2), (3, 1, 1), (3, 2, 1)]:
            least = steps_to_clash(processes, write, wait)
            self.assertEqual(least, None if write <= wait else 6)
            for steps in [5, 6, 7, 8]:
                script = mutex(processes, steps, write, wait)
                self.assertEqual(script.status == "sat",
                                 least is not None and steps >= least)
                self.ask(script, script.status)

    def test_networks_have_the_cycle_they_are_said_to_have(self):
        for seed in range(1, 6):
            for cycle in [0, 2, 30]:
                script = network(200, 1000, "Int", seed, cycle=cycle)
                self.assertEqual(has_negative_cycle(script), cycle > 0)
                self.ask(script, "unsat" if cycle else "sat")


if __name__ == "__main__":
    unittest.main()
