# SPDX-License-Identifier: MIT
"""What the generators of this folder share: terms, scripts and random choices.

Terms are strings of SMT-LIB. A generator is a program that writes one script to
standard output, and a function of the same name, for tests, that returns it.
"""

import random
import sys


def number(value, sort="Int"):
    """A constant: integers of either sign, written for the sort."""
    digits = f"{abs(value)}.0" if sort == "Real" else str(abs(value))
    return f"(- {digits})" if value < 0 else digits


def at_most(x, y, value, sort="Int"):
    """x - y <= value"""
    return f"(<= (- {x} {y}) {number(value, sort)})"


def at_least(x, y, value, sort="Int"):
    """x - y >= value"""
    return f"(>= (- {x} {y}) {number(value, sort)})"


def joined(operator, terms, of_none):
    """(operator terms...), without the operator if there is only one."""
    terms = list(terms)
    if not terms:
        return of_none
    return terms[0] if len(terms) == 1 else f"({operator} {' '.join(terms)})"


def all_of(terms):
    return joined("and", terms, "true")


def any_of(terms):
    return joined("or", terms, "false")


def negation(term):
    return f"(not {term})"


def exactly_one(terms):
    """Terms that say, each, a part of: exactly one of these."""
    yield any_of(terms)
    for i, first in enumerate(terms):
        for second in terms[i + 1:]:
            yield any_of([negation(first), negation(second)])


class Dice:
    """Random choices that are the same for a seed in every Python.

    The language keeps only random() itself stable across its releases.
    """

    def __init__(self, seed):
        self._random = random.Random(seed).random

    def below(self, bound):
        return int(self._random() * bound)

    def between(self, least, most):
        return least + self.below(most - least + 1)

    def chance(self, share):
        return self._random() < share

    def shuffled(self, items):
        items = list(items)
        for i in range(len(items) - 1, 0, -1):
            j = self.below(i + 1)
            items[i], items[j] = items[j], items[i]
        return items

    def two_of(self, bound):
        """Two different numbers below the bound."""
        first = self.below(bound)
        second = self.below(bound - 1)
        return first, second + (second >= first)


class Script:
    """A script with one check.

    status: "sat", "unsat" or None, if the verdict is not known.
    solution: a value for each variable, if the generator has planted one.
    """

    def __init__(self, title, logic, status=None):
        self.title = title
        self.logic = logic
        self.status = status
        self.solution = None
        self._lines = []

    def declare(self, name, sort):
        self._lines.append(f"(declare-const {name} {sort})\n")

    def add(self, term):
        self._lines.append(f"(assert {term})\n")

    def text(self):
        head = [f"; {self.title}\n"]
        if self.status:
            head.append(f"(set-info :status {self.status})\n")
        head.append(f"(set-logic {self.logic})\n")
        return "".join(head + self._lines + ["(check-sat)\n"])

    def print(self):
        sys.stdout.write(self.text())
