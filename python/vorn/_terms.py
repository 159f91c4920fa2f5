# SPDX-License-Identifier: MIT
"""What a Solver is told: numbers, formulas, and what is built of them."""

import ctypes
import math
import numbers
from fractions import Fraction

from . import _library

lib = _library.Library()
LEAST, GREATEST = -(2**63), 2**63 - 1
_new = object.__new__


def exact(value):
    """The number as an int or a Fraction."""
    if isinstance(value, bool):
        raise TypeError("a truth value is no number here")
    if isinstance(value, numbers.Integral):
        return int(value)
    if isinstance(value, numbers.Rational):
        fraction = Fraction(value.numerator, value.denominator)
        return whole(fraction)
    if isinstance(value, float):
        raise TypeError(f"{value} is not exact: use int or fractions.Fraction")
    raise TypeError(f"no number: {value!r}")


def whole(value):
    return value.numerator if value.denominator == 1 else value


def text_of(value):
    return str(value).encode()


class Number:
    """What has a number for a value: x - y + c.

    x and y are handles of the library, 0 for none, so that differences, the one
    thing that difference logic is about, take no call.
    """

    __slots__ = ("_solver", "_x", "_y", "_c", "_int")
    __hash__ = object.__hash__

    # --- Arithmetic ---

    def _with(self, x, y, c, is_int):
        result = _new(Number)
        result._solver = self._solver
        result._x = x
        result._y = y
        result._c = c
        result._int = is_int
        return result

    def _shifted(self, c):
        is_int = self._int and c.__class__ is int
        c += self._c
        if c.__class__ is not int:
            c = whole(c)
        return self._with(self._x, self._y, c, is_int)

    def _plus(self, x, y, c, is_int):
        """The sum with another one, given by its parts."""
        is_int = is_int and self._int
        c += self._c
        if c.__class__ is not int:
            c = whole(c)
        plus = [one for one in (self._x, x) if one]
        minus = []
        for one in (self._y, y):
            if one in plus:
                plus.remove(one)
            elif one:
                minus.append(one)
        s = self._solver
        return self._with(s._sum(plus), s._sum(minus), c, is_int)

    def _read(self, other):
        """The other one as a Number of this solver, or None if it is none."""
        if isinstance(other, Number):
            if other._solver is not self._solver:
                raise ValueError(f"{other} belongs to another solver")
            return other
        if isinstance(other, (Formula, str)) or not isinstance(
            other, (numbers.Number, float)
        ):
            return None
        c = exact(other)
        return self._with(0, 0, c, c.__class__ is int)

    def __add__(self, other):
        if other.__class__ is int:
            return self._shifted(other)
        other = self._read(other)
        if other is None:
            return NotImplemented
        if not (other._x or other._y):
            return self._shifted(other._c)
        return self._plus(other._x, other._y, other._c, other._int)

    __radd__ = __add__

    def __sub__(self, other):
        if other.__class__ is Number and not (self._y or other._y):
            if self._solver is other._solver and self._x != other._x:
                result = _new(Number)
                result._solver = self._solver
                result._x = self._x
                result._y = other._x
                c = self._c - other._c
                result._c = c if c.__class__ is int else whole(c)
                result._int = self._int and other._int
                return result
        if other.__class__ is int:
            return self._shifted(-other)
        other = self._read(other)
        if other is None:
            return NotImplemented
        if not (other._x or other._y):
            return self._shifted(-other._c)
        return self._plus(other._y, other._x, -other._c, other._int)

    def __rsub__(self, other):
        return -self + other

    def __neg__(self):
        return self._with(self._y, self._x, -self._c, self._int)

    def __pos__(self):
        return self

    def __mul__(self, factor):
        if isinstance(factor, Number):
            if not (factor._x or factor._y):
                factor = factor._c
            elif not (self._x or self._y):
                return factor * self._c
            else:
                raise ValueError(
                    f"({self}) * ({factor}) is outside difference logic"
                )
        elif isinstance(factor, Formula):
            return NotImplemented
        factor = exact(factor)
        if factor == 1:
            return self
        if factor == -1:
            return -self
        s = self._solver
        if factor == 0:
            return self._with(0, 0, 0, True)

        def times(x):
            if not x:
                return 0
            return s._made(lib.times(s._pointer, text_of(factor), x))

        is_int = self._int and factor.__class__ is int
        c = exact(self._c * factor)
        return self._with(times(self._x), times(self._y), c, is_int)

    __rmul__ = __mul__

    def __truediv__(self, divisor):
        if isinstance(divisor, (Number, Formula)):
            raise ValueError(f"({self}) / ({divisor}) is outside difference logic")
        divisor = exact(divisor)
        if divisor == 0:
            raise ZeroDivisionError(f"({self}) / 0")
        return self * Fraction(1, divisor)

    # --- Comparisons ---

    def _relate(self, other, relation):
        """Self minus the other one, against 0."""
        if other.__class__ is int:
            x, y, c, is_int = self._x, self._y, other - self._c, self._int
        else:
            other = self._read(other)
            if other is None:
                return NotImplemented
            difference = self - other
            x, y, c = difference._x, difference._y, -difference._c
            is_int = difference._int
        return _bound(self._solver, x, y, c, is_int, relation)

    # These two are built a million times with a plain number, as is a difference.

    def __le__(self, other):
        if other.__class__ is int:
            result = _new(Formula)
            result._solver = self._solver
            result._handle = 0
            result._x = self._x
            result._y = self._y
            result._c = other - self._c
            result._relation = "<="
            return result
        return self._relate(other, "<=")

    def __lt__(self, other):
        return self._relate(other, "<")

    def __ge__(self, other):
        if other.__class__ is int:
            result = _new(Formula)
            result._solver = self._solver
            result._handle = 0
            result._x = self._y
            result._y = self._x
            result._c = self._c - other
            result._relation = "<="
            return result
        other = self._read(other)
        return NotImplemented if other is None else other._relate(self, "<=")

    def __gt__(self, other):
        other = self._read(other)
        return NotImplemented if other is None else other._relate(self, "<")

    def __eq__(self, other):
        return self._relate(other, "=")

    def __ne__(self, other):
        equal = self._relate(other, "=")
        return NotImplemented if equal is NotImplemented else ~equal

    def __bool__(self):
        raise TypeError(f"{self} has no truth value")

    # --- Text ---

    def __str__(self):
        s = self._solver
        parts = []
        if self._x:
            parts.append(s._text(lib.number_text, self._x))
        if self._y:
            parts.append("-" if not parts else "- ")
            parts[-1] += s._text(lib.number_text, self._y)
        if not parts:
            return str(self._c)
        if self._c:
            sign = "-" if self._c < 0 else "+"
            parts.append(f"{sign} {abs(self._c)}")
        return " ".join(parts)

    def __repr__(self):
        try:
            return f"<vorn.Number {self}>"
        except Exception:
            return "<vorn.Number of a closed solver>"

    def _to_handle(self):
        """One handle for all of it."""
        if not (self._y or self._c):
            return self._x
        s = self._solver
        parts = [self._x] if self._x else []
        if self._y:
            parts.append(s._made(lib.times(s._pointer, b"-1", self._y)))
        if self._c:
            parts.append(s._made(lib.constant(s._pointer, text_of(self._c))))
        return s._sum(parts)


def _bound(solver, x, y, c, is_int, relation):
    if relation == "<" and is_int:
        # Over the integers, below c is at most the greatest integer below c.
        relation = "<="
        c = math.ceil(c) - 1
    result = _new(Formula)
    result._solver = solver
    result._handle = 0
    result._x = x
    result._y = y
    result._c = c
    result._relation = relation
    return result


class Formula:
    """What is true or false.

    One that compares is x - y against c, and becomes a term of the library, with
    a handle, once it is more than asserted.
    """

    __slots__ = ("_solver", "_handle", "_x", "_y", "_c", "_relation")
    __hash__ = object.__hash__

    def _to_handle(self):
        if self._handle:
            return self._handle
        s = self._solver
        c = self._c
        if self._relation == "<=":
            if c.__class__ is int and LEAST <= c <= GREATEST:
                handle = lib.at_most(s._pointer, self._x, self._y, c)
            else:
                handle = lib.at_most_text(s._pointer, self._x, self._y, text_of(c))
        elif self._relation == "<":
            handle = lib.below_text(s._pointer, self._x, self._y, text_of(c))
        else:
            handle = lib.equals_text(s._pointer, self._x, self._y, text_of(c))
        self._handle = s._made(handle)
        return handle

    def _read(self, other):
        """The handle of the other one; None if it is no formula."""
        if isinstance(other, Formula):
            if other._solver is not self._solver:
                raise ValueError(f"{other} belongs to another solver")
            return other._to_handle()
        if isinstance(other, bool):
            return self._solver._truth(other)
        return None

    def __and__(self, other):
        handle = self._read(other)
        if handle is None:
            return NotImplemented
        return self._solver._join(lib.__dict__["and"], (self._to_handle(), handle))

    __rand__ = __and__

    def __or__(self, other):
        handle = self._read(other)
        if handle is None:
            return NotImplemented
        return self._solver._join(lib.__dict__["or"], (self._to_handle(), handle))

    __ror__ = __or__

    def __xor__(self, other):
        handle = self._read(other)
        if handle is None:
            return NotImplemented
        s = self._solver
        return s._formula(lib.xor(s._pointer, self._to_handle(), handle))

    __rxor__ = __xor__

    def __invert__(self):
        return self._solver._formula(-self._to_handle())

    def __eq__(self, other):
        handle = self._read(other)
        if handle is None:
            return NotImplemented
        s = self._solver
        return s._formula(lib.iff(s._pointer, self._to_handle(), handle))

    def __ne__(self, other):
        return self ^ other

    def __bool__(self):
        raise TypeError(
            "a formula has no truth value before it is solved: use & | ~ "
            "instead of and, or, not, and two comparisons instead of a chain"
        )

    def __str__(self):
        return self._solver._text(lib.formula_text, self._to_handle())

    def __repr__(self):
        try:
            return f"<vorn.Formula {self}>"
        except Exception:
            return "<vorn.Formula of a closed solver>"


def _solver_of(terms):
    """The solver of those terms that have one."""
    for term in terms:
        if isinstance(term, (Number, Formula)):
            return term._solver
    raise TypeError("there is no term of a solver among these")


def _flat(terms):
    """The terms, given one by one or as one collection."""
    if len(terms) == 1 and not isinstance(terms[0], (Number, Formula, bool)):
        return list(terms[0])
    return list(terms)


def all_of(*formulas):
    """All of them hold."""
    formulas = _flat(formulas)
    s = _solver_of(formulas)
    return s._join(lib.__dict__["and"], [s._handle_of(f) for f in formulas])


def any_of(*formulas):
    """At least one of them holds."""
    formulas = _flat(formulas)
    s = _solver_of(formulas)
    return s._join(lib.__dict__["or"], [s._handle_of(f) for f in formulas])


def implies(a, b):
    """If a, then b."""
    s = _solver_of((a, b))
    return s._formula(lib.implies(s._pointer, s._handle_of(a), s._handle_of(b)))


def iff(a, b):
    """Both, or neither."""
    s = _solver_of((a, b))
    return s._formula(lib.iff(s._pointer, s._handle_of(a), s._handle_of(b)))


def ite(condition, then, otherwise):
    """The one if the condition holds, else the other: formulas, or numbers."""
    s = _solver_of((condition, then, otherwise))
    chosen = s._handle_of(condition)
    if isinstance(then, (Formula, bool)):
        handles = s._handle_of(then), s._handle_of(otherwise)
        return s._formula(lib.ite(s._pointer, chosen, *handles))
    handles = s._number_of(then), s._number_of(otherwise)
    return s._number(lib.choose(s._pointer, chosen, *handles))


def distinct(*terms):
    """No two of these numbers have the same value."""
    terms = _flat(terms)
    s = _solver_of(terms)
    handles = [s._number_of(t) for t in terms]
    if len(handles) < 2:
        return s._formula(lib.true(s._pointer))
    return s._join(lib.distinct, handles)


def total(*terms):
    """The sum of numbers, in one step."""
    terms = _flat(terms)
    s = _solver_of(terms)
    handles = [s._number_of(t) for t in terms]
    return s._number(lib.sum(s._pointer, *s._array(handles)))


def count(*formulas):
    """How many of them hold."""
    return total([ite(f, 1, 0) for f in _flat(formulas)])
