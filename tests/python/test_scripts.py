# SPDX-License-Identifier: MIT
"""Random scripts by way of Python: verdicts and best values against enumeration,
models by evaluation.

    test_scripts.py DUMP

DUMP is the program dump_scripts. VORN_PYTHON_SCRIPTS sets the number of scripts,
VORN_PYTHON_SCRIPT_SEED the first seed."""

import functools
import json
import math
import os
import subprocess
import sys
from fractions import Fraction

import vorn

# As in tests/bruteforce/formula.h.
OPERATORS = """true false number variable parameter not and or xor implies equal
distinct ite leq less geq greater plus minus times divide abs intdivide remainder
toreal toint isint""".split()
BOOL, INT, REAL = range(3)


class Unsupported(Exception):
    """A function that Python has not."""


def pairs(values):
    return zip(values, values[1:])


def evaluate(node, values):
    """By definition; values by sort and number."""
    op, sort, *args = node
    op = OPERATORS[op]
    if op == "variable":
        return values.get((sort, args[0]), False if sort == BOOL else Fraction(0))
    if op == "number":
        return Fraction(args[0])
    if op == "ite":
        return evaluate(args[1 if evaluate(args[0], values) else 2], values)
    a = [evaluate(arg, values) for arg in args]
    if op == "implies":
        return not all(a[:-1]) or a[-1]
    if op == "distinct":
        return len(set(a)) == len(a)
    if op == "divide":
        return functools.reduce(lambda x, y: x / y, a)
    if op == "intdivide":
        return functools.reduce(
            lambda x, y: Fraction(x // y if y > 0 else -(x // -y)), a
        )
    return {
        "true": lambda: True,
        "false": lambda: False,
        "not": lambda: not a[0],
        "and": lambda: all(a),
        "or": lambda: any(a),
        "xor": lambda: sum(a) % 2 == 1,
        "equal": lambda: all(x == y for x, y in pairs(a)),
        "leq": lambda: all(x <= y for x, y in pairs(a)),
        "less": lambda: all(x < y for x, y in pairs(a)),
        "geq": lambda: all(x >= y for x, y in pairs(a)),
        "greater": lambda: all(x > y for x, y in pairs(a)),
        "plus": lambda: sum(a),
        "minus": lambda: -a[0] if len(a) == 1 else a[0] - sum(a[1:]),
        "times": lambda: math.prod(a),
        "abs": lambda: abs(a[0]),
        "remainder": lambda: a[0] % abs(a[1]),
        "toreal": lambda: a[0],
        "toint": lambda: Fraction(math.floor(a[0])),
        "isint": lambda: a[0].denominator == 1,
    }[op]()


def has_variables(node):
    if OPERATORS[node[0]] == "variable":
        return True
    return any(has_variables(arg) for arg in node[2:] if isinstance(arg, list))


class Session:
    def __init__(self):
        self.solver = vorn.Solver()
        self.variables = {}
        self.true = self.solver.bool("true or not") | True
        self.assertions = []
        self.levels = []
        self.tally = dict.fromkeys(["sat", "unsat", "optima", "left out"], 0)

    def variable(self, sort, number):
        s = self.solver
        if (sort, number) not in self.variables:
            make = {BOOL: s.bool, INT: s.int, REAL: s.real}[sort]
            self.variables[sort, number] = make(f"v{'bir'[sort]}{number}")
        return self.variables[sort, number]

    def build(self, node):
        """The term, with Python's operators."""
        op, sort, *args = node
        op = OPERATORS[op]
        if op == "variable":
            return self.variable(sort, args[0])
        if not has_variables(node):
            return evaluate(node, {})
        if op in ("toint", "isint", "intdivide", "remainder"):
            raise Unsupported
        a = [self.build(arg) for arg in args]
        if op in ("leq", "less", "geq", "greater", "equal"):
            relate = {
                "leq": lambda x, y: x <= y,
                "less": lambda x, y: x < y,
                "geq": lambda x, y: x >= y,
                "greater": lambda x, y: x > y,
                "equal": lambda x, y: x == y,
            }[op]
            return vorn.all_of([self.true] + [relate(x, y) for x, y in pairs(a)])
        if op == "distinct" and args[0][1] == BOOL:
            return a[0] != a[1] if len(a) == 2 else False
        if op == "not":
            return ~a[0] if not isinstance(a[0], bool) else not a[0]
        if op == "implies":
            return functools.reduce(
                lambda right, left: vorn.implies(left, right)
                if not isinstance(left, bool) or not isinstance(right, bool)
                else not left or right,
                a[::-1],
            )
        if op in ("and", "or"):
            # Arguments may be constants all.
            neutral = self.true if op == "and" else ~self.true
            return (vorn.all_of if op == "and" else vorn.any_of)(a + [neutral])
        if op == "minus":
            return -a[0] if len(a) == 1 else functools.reduce(
                lambda x, y: x - y, a
            )
        if op == "abs":
            return vorn.ite(a[0] >= 0, a[0], -a[0])
        if op == "toreal":
            return a[0]
        if op == "ite" and all(isinstance(x, (bool, int, Fraction)) for x in a[1:]):
            if args[1][1] == BOOL:
                return vorn.ite(a[0], a[1], a[2])
        if op == "ite":
            return vorn.ite(*a) if not isinstance(a[0], bool) else a[1 if a[0] else 2]
        return {
            "xor": lambda: functools.reduce(lambda x, y: x ^ y, a),
            "plus": lambda: functools.reduce(lambda x, y: x + y, a),
            "times": lambda: functools.reduce(lambda x, y: x * y, a),
            "divide": lambda: functools.reduce(lambda x, y: x / y, a),
            "distinct": lambda: vorn.distinct(a),
        }[op]()

    def run(self, steps):
        for step in steps:
            try:
                getattr(self, "run_" + step[0])(*step[1:])
            except Unsupported:
                self.tally["left out"] += 1
                # What enumeration has said is about another question.
                return

    def run_silent(self):
        pass

    def run_declare(self, variable):
        self.build(variable)

    def run_assert(self, node, label):
        if label:
            self.solver.add(self.build(node), name=label)
        else:
            self.solver.add(self.build(node))
        self.assertions.append(node)

    def run_push(self, count):
        for _ in range(count):
            self.solver.push()
            self.levels.append(len(self.assertions))

    def run_pop(self, count):
        for _ in range(count):
            self.solver.pop()
            del self.assertions[self.levels.pop():]

    def run_objective(self, node, is_maximised, weight, group):
        term = self.build(node)
        if group:
            self.solver.assert_soft(term, Fraction(weight), group)
        elif is_maximised:
            self.solver.maximize(term)
        else:
            self.solver.minimize(term)

    def run_check(self, assumptions, queries, expected, optima):
        s = self.solver
        built = [self.build(node) for node in assumptions]
        answer = s.check(*built)
        assert answer != vorn.unknown, "no verdict"
        assert expected in (None, answer == vorn.sat), f"a wrong verdict: {answer}"
        self.tally[str(answer)] += 1
        if answer == vorn.unsat:
            assert all(any(f is b for b in built) for f in s.failed())
            s.core()
            return
        model = s.model()
        values = {}
        for (sort, number), term in self.variables.items():
            value = model[term]
            wanted = {BOOL: bool, INT: int, REAL: Fraction}[sort]
            assert type(value) is wanted, f"{value!r} is no {wanted}"
            values[sort, number] = value if sort == BOOL else Fraction(value)
        for node in self.assertions + assumptions:
            assert evaluate(node, values), "a model that is none"
        for node in queries:
            term = self.build(node)
            if isinstance(term, (vorn.Number, vorn.Formula)):
                assert model[term] == evaluate(node, values), "a wrong value"
        if optima is None:
            return
        found = s.objectives()
        assert len(found) == len(optima)
        for objective, (infinity, number, side) in zip(found, optima):
            self.tally["optima"] += 1
            assert objective.is_settled and objective.low == objective.high
            value = objective.low.value
            if infinity or isinstance(value, float):
                assert value == infinity * math.inf, "another best value"
                continue
            off = Fraction(number) - value
            assert abs(off) < Fraction(1, 10000), "another best value"
            expected_side = (off > 0) - (off < 0) if off else side
            assert objective.low.side == expected_side, "the other side"


def main():
    first = int(os.environ.get("VORN_PYTHON_SCRIPT_SEED", "1"))
    count = int(os.environ.get("VORN_PYTHON_SCRIPTS", "120"))
    dump = subprocess.run(
        [sys.argv[1], str(first), str(count)],
        stdout=subprocess.PIPE, check=True, text=True,
    )
    tally = {}
    for seed, line in enumerate(dump.stdout.splitlines(), first):
        session = Session()
        try:
            session.run(json.loads(line))
        except Exception:
            print("seed", seed, file=sys.stderr)
            raise
        for key, number in session.tally.items():
            tally[key] = tally.get(key, 0) + number
    print(tally)
    if count >= 100:
        assert tally["sat"] > count / 5 and tally["unsat"] > count / 5
        assert tally["optima"] > count / 10


main()
