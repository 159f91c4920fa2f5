# SPDX-License-Identifier: MIT
"""Solvers and their models."""

import ctypes
import math
import signal
import threading
from fractions import Fraction

from . import _library
from ._answers import ANSWERS, REASONS, Error, Extent, Objective, Progress
from ._terms import GREATEST, LEAST, Formula, Number, exact, lib, text_of, whole

_add_at_most = lib.add_at_most
_new = object.__new__


class _Signals:
    """Puts handlers of signals off while the library is at work.

    What they raise would get lost on its way through the library.
    """

    __slots__ = ("_handlers", "caught")
    _SIGNALS = [
        getattr(signal, name)
        for name in ("SIGINT", "SIGTERM", "SIGALRM")
        if hasattr(signal, name)
    ]

    def __init__(self):
        self._handlers = {}
        self.caught = []

    def _catch(self, *arguments):
        self.caught.append(arguments)

    def __enter__(self):
        if threading.current_thread() is not threading.main_thread():
            return
        for one in self._SIGNALS:
            handler = signal.getsignal(one)
            if callable(handler):
                self._handlers[one] = handler
                signal.signal(one, self._catch)

    def __exit__(self, *exception):
        for one, handler in self._handlers.items():
            signal.signal(one, handler)
        for arguments in self.caught:
            self._handlers[arguments[0]](*arguments)


class Model:
    """The values of the last check, until the solver changes or checks again."""

    __slots__ = ("_solver", "_check")

    def __init__(self, solver):
        self._solver = solver
        self._check = solver._num_checks

    def __getitem__(self, term):
        s = self._solver
        if s._pointer is None:
            s._fail()
        if self._check != s._num_checks:
            raise Error("the solver has checked again since")
        if isinstance(term, Formula):
            if term._solver is not s:
                raise ValueError(f"{term} belongs to another solver")
            truth = lib.value(s._pointer, term._to_handle())
            if truth < 0:
                s._fail()
            return truth == 1
        if not isinstance(term, Number):
            raise TypeError(f"no term: {term!r}")
        if term._solver is not s:
            raise ValueError(f"{term} belongs to another solver")
        value = s._value(term._x) - s._value(term._y) + term._c
        return int(value) if term._int else Fraction(value)

    def __iter__(self):
        return iter(self._solver._variables)

    def __len__(self):
        return len(self._solver._variables)

    def to_dict(self):
        """The values of all variables by their names."""
        return {
            name: self[term] for name, term in self._solver._variables.items()
        }

    def __repr__(self):
        try:
            return f"<vorn.Model {self.to_dict()}>"
        except Exception:
            return "<vorn.Model of the past>"


class Scope:
    """What Solver.push has opened; as a context manager, it pops at its end."""

    __slots__ = ("_solver",)

    def __init__(self, solver):
        self._solver = solver

    def __enter__(self):
        return self._solver

    def __exit__(self, *exception):
        if self._solver._pointer is not None:
            self._solver.pop()


class Solver:
    """Assertions and objectives, and checks whether they have a model.

    proofs, schedule: keep what proof() and chart() need.
    minimize_cores: leave out of cores what they do not need.
    machines, propagation: reason about sets of tasks that cannot overlap, and
    about bounds that follow.
    threads: searches at a time; the first answer ends all, and may be another
    each time.
    """

    def __init__(
        self,
        *,
        seed=0,
        proofs=False,
        schedule=False,
        minimize_cores=False,
        machines=True,
        propagation=True,
        threads=1,
    ):
        self._pointer = None
        if not 1 <= threads <= 1024:
            raise ValueError("threads: expected 1 to 1024")
        self._searching = False
        self._num_checks = 0
        self._variables = {}
        self._assumptions = ()
        flags = (
            (1 if proofs else 0)
            + (2 if schedule else 0)
            + (4 if minimize_cores else 0)
            + (0 if machines else 8)
            + (0 if propagation else 16)
            + (threads << 16)
        )
        self._pointer = lib.solver_new(flags, seed % 2**64)
        if self._pointer is None:
            raise MemoryError

    def close(self):
        """Frees all that it has; any later use raises."""
        if self._searching:
            raise RuntimeError("the solver is at work")
        pointer, self._pointer = self._pointer, None
        if pointer is not None:
            lib.solver_free(pointer)

    def __del__(self):
        pointer = getattr(self, "_pointer", None)
        if pointer is not None:
            self._pointer = None
            lib.solver_free(pointer)

    def __enter__(self):
        return self

    def __exit__(self, *exception):
        self.close()

    def __reduce__(self):
        raise TypeError("a solver can neither be copied nor pickled")

    # --- Between Python and C ---

    def _fail(self):
        """Raises what the last call failed with."""
        if self._pointer is None:
            raise ValueError("the solver is closed")
        error = lib.solver_error(self._pointer)
        text = lib.solver_error_text(self._pointer).decode()
        if error == 1:
            raise MemoryError
        if error in (2, 3, 5):
            raise ValueError(text)
        if error == 4:
            raise Error(text)
        if error == 6:
            raise RuntimeError("the solver is at work")
        raise SystemError(text)

    def _made(self, handle):
        if not handle:
            self._fail()
        return handle

    def _formula(self, handle):
        result = _new(Formula)
        result._solver = self
        result._handle = self._made(handle)
        result._relation = None
        return result

    def _number(self, handle):
        self._made(handle)
        result = _new(Number)
        result._solver = self
        result._x = handle
        result._y = 0
        result._c = 0
        result._int = lib.is_int(self._pointer, handle) == 1
        return result

    @staticmethod
    def _array(handles):
        return len(handles), (ctypes.c_int32 * len(handles))(*handles)

    def _join(self, function, handles):
        return self._formula(function(self._pointer, *self._array(handles)))

    def _sum(self, handles):
        if len(handles) < 2:
            return handles[0] if handles else 0
        return self._made(lib.sum(self._pointer, *self._array(handles)))

    def _truth(self, value):
        handle = self._made(lib.true(self._pointer))
        return handle if value else -handle

    def _handle_of(self, formula):
        """The handle of a formula or a truth value."""
        if isinstance(formula, Formula):
            if formula._solver is not self:
                raise ValueError(f"{formula} belongs to another solver")
            return formula._to_handle()
        if isinstance(formula, bool):
            return self._truth(formula)
        raise TypeError(f"no formula: {formula!r}")

    def _number_of(self, term):
        """The handle of a number, or of a constant."""
        if isinstance(term, Number):
            if term._solver is not self:
                raise ValueError(f"{term} belongs to another solver")
            return term._to_handle()
        return self._made(lib.constant(self._pointer, text_of(exact(term))))

    def _text(self, function, *arguments):
        place = ctypes.c_char_p()
        if function(self._pointer, *arguments, ctypes.byref(place)):
            self._fail()
        return place.value.decode(errors="surrogateescape")

    @staticmethod
    def _name(name):
        if name is None:
            return None
        if not isinstance(name, str):
            raise TypeError(f"no name: {name!r}")
        if "\0" in name:
            raise ValueError(f"this cannot be a name here: {name!r}")
        return name.encode(errors="surrogateescape")

    def _value(self, handle):
        if not handle:
            return 0
        word = ctypes.c_int64()
        error = lib.number_value(self._pointer, handle, ctypes.byref(word))
        if error == 0:
            return word.value
        if error != 5:
            self._fail()
        return whole(Fraction(self._text(lib.number_value_text, handle)))

    @staticmethod
    def _extent(place):
        if place.infinity:
            return Extent(math.copysign(math.inf, place.infinity))
        return Extent(whole(Fraction(place.value.decode())), place.side)

    def _search(self, function, *arguments, timeout=None, conflicts=0, watch=None):
        """Calls a function that may take long, which Ctrl-C ends."""
        if self._pointer is None:
            self._fail()
        if self._searching:
            raise RuntimeError("the solver is at work")
        milliseconds = 0
        if timeout is not None:
            if not timeout > 0:
                raise ValueError(f"no time to work in: {timeout}")
            milliseconds = math.ceil(min(timeout, 1e9) * 1000)
        raised = []
        pointer = self._pointer

        # Running any of Python is enough for a signal to be caught here.
        signals = _Signals()

        def ask(_):
            return 1 if raised or signals.caught else 0

        def tell(_, told):
            try:
                p = told.contents
                ends = [None if e is None else e.decode() for e in (p.low, p.high)]
                name = None if p.objective is None else p.objective.decode()
                watch(Progress(p.decisions, p.conflicts, p.restarts, name, *ends))
            except BaseException as exception:
                raised.append(exception)

        asked = _library.Terminate(ask)
        told = _library.Watch(tell) if watch else _library.Watch()
        lib.set_timeout(pointer, milliseconds)
        lib.set_conflict_limit(pointer, conflicts)
        lib.set_terminate(pointer, None, asked)
        lib.set_progress(pointer, None, told)
        self._searching = True
        try:
            with signals:
                result = function(pointer, *arguments)
            if raised:
                raise raised[0]
            if lib.solver_error(pointer):
                self._fail()
            return result
        finally:
            self._searching = False
            lib.set_terminate(pointer, None, _library.Terminate())
            lib.set_progress(pointer, None, _library.Watch())

    # --- Variables ---

    def int(self, name=None):
        """A new integer. Names are taken once; None: one is made."""
        return self._declare(name, lib.new_int)

    def real(self, name=None):
        """A new real number."""
        return self._declare(name, lib.new_real)

    def bool(self, name=None):
        """A new truth value."""
        handle = lib.new_bool(self._pointer, self._name(name))
        term = self._formula(handle)
        self._variables[name or str(term)] = term
        return term

    def _declare(self, name, function):
        term = self._number(function(self._pointer, self._name(name)))
        self._variables[name or str(term)] = term
        return term

    # --- Assertions and objectives ---

    def add(self, *formulas, name=None):
        """Asserts formulas. With a name, which core() gives, it takes one."""
        if name is not None:
            (formula,) = formulas
            handle = self._handle_of(formula)
            if lib.add_named(self._pointer, handle, self._name(name)):
                self._fail()
            return
        pointer = self._pointer
        for formula in formulas:
            if (
                formula.__class__ is Formula
                and formula._solver is self
                and formula._relation == "<="
            ):
                c = formula._c
                if c.__class__ is int and LEAST <= c <= GREATEST:
                    if _add_at_most(pointer, formula._x, formula._y, c):
                        self._fail()
                    continue
            if lib.add(self._pointer, self._handle_of(formula)):
                self._fail()

    def minimize(self, term, name=None):
        """Wants a number to be small. The first objective counts most."""
        handle = self._number_of(term)
        if lib.minimize(self._pointer, handle, self._name(name)):
            self._fail()

    def maximize(self, term, name=None):
        """Wants a number to be great."""
        handle = self._number_of(term)
        if lib.maximize(self._pointer, handle, self._name(name)):
            self._fail()

    def assert_soft(self, formula, weight=1, group=None):
        """Wants a formula to hold: it costs its weight if it does not.

        Those of one group are one objective.
        """
        handle = self._handle_of(formula)
        cost = text_of(exact(weight))
        if lib.add_soft(self._pointer, handle, cost, self._name(group)):
            self._fail()

    def push(self):
        """Opens a scope of assertions and objectives.

        with s.push(): closes it at the end; otherwise pop() does.
        """
        if lib.push(self._pointer):
            self._fail()
        return Scope(self)

    def pop(self):
        """Takes back what came since the matching push."""
        if lib.pop(self._pointer):
            self._fail()

    # --- Checks ---

    def check(self, *assumptions, timeout=None, conflicts=0, progress=None):
        """Whether there is a model, which is the best one if there is a best.

        assumptions hold for this check alone. timeout: seconds. conflicts: a
        limit, the same on every machine; 0: none. progress: called with a
        Progress now and then. Ctrl-C raises KeyboardInterrupt.
        """
        handles = [self._handle_of(a) for a in assumptions]
        if self._searching:
            raise RuntimeError("the solver is at work")
        for handle in handles:
            if lib.assume(self._pointer, handle):
                try:
                    self._fail()
                finally:
                    lib.drop_assumptions(self._pointer)
        self._assumptions = tuple(zip(assumptions, handles))
        self._num_checks += 1
        code = self._search(
            lib.solve, timeout=timeout, conflicts=conflicts, watch=progress
        )
        return ANSWERS[code]

    def reason(self):
        """Why the last check was unknown."""
        if self._pointer is None:
            self._fail()
        return REASONS[lib.unknown_reason(self._pointer)]

    def stop(self):
        """Ends the check under way, or the next one; from any thread."""
        if self._pointer is not None:
            lib.stop(self._pointer)

    def model(self):
        """The model of the last check."""
        if lib.has_model(self._pointer) != 1:
            if self._pointer is None:
                self._fail()
            raise Error("there is no model")
        return Model(self)

    def objectives(self):
        """What is known of each objective."""
        if self._pointer is None:
            self._fail()
        result = []
        for k in range(lib.num_objectives(self._pointer)):
            name = ctypes.c_char_p()
            settled = ctypes.c_int()
            low, high = _library.Extent(), _library.Extent()
            places = [ctypes.byref(p) for p in (name, settled, low, high)]
            if lib.objective(self._pointer, k, *places):
                self._fail()
            ends = self._extent(low), self._extent(high)
            text = name.value.decode(errors="surrogateescape")
            result.append(Objective(text, settled.value == 1, *ends))
        return result

    def bounds(self, term, timeout=None):
        """From where to where a number lies in all models that could have been
        the answer: two Extents, as far as the time goes."""
        handle = self._number_of(term)
        low, high = _library.Extent(), _library.Extent()
        places = ctypes.byref(low), ctypes.byref(high)
        self._search(lib.bounds, handle, *places, timeout=timeout)
        return self._extent(low), self._extent(high)

    def failed(self):
        """Of the last check's assumptions, those that contradict the rest."""
        result = []
        for assumption, handle in self._assumptions:
            failed = lib.failed(self._pointer, handle)
            if failed < 0:
                self._fail()
            if failed:
                result.append(assumption)
        if not self._assumptions and lib.failed(self._pointer, self._truth(True)) < 0:
            self._fail()
        return result

    def core(self, timeout=None):
        """Names of assertions that contradict those without a name."""
        size = ctypes.c_size_t()
        names = ctypes.POINTER(ctypes.c_char_p)()
        places = ctypes.byref(size), ctypes.byref(names)
        self._search(lib.core, *places, timeout=timeout)
        return [
            names[k].decode(errors="surrogateescape") for k in range(size.value)
        ]

    def _long_text(self, function, timeout):
        place = ctypes.c_char_p()
        self._search(function, ctypes.byref(place), timeout=timeout)
        return place.value.decode(errors="surrogateescape")

    def explain(self, timeout=None):
        """Why there is no model, in words."""
        return self._long_text(lib.explanation, timeout)

    def proof(self, timeout=None):
        """The proof of the last answer, for vorn-check, of what script() says."""
        return self._long_text(lib.proof, timeout)

    def improvement(self):
        """What a proof of best values refutes, for vorn-check --assume."""
        return self._text(lib.improvement)

    def chart(self):
        """The model's tasks on their machines, as SVG; "" without machines."""
        return self._long_text(lib.chart, None)

    def script(self):
        """What is asked now, in SMT-LIB."""
        return self._text(lib.script)

    def statistics(self):
        """Counters by name."""
        lines = self._text(lib.statistics).splitlines()
        return dict(line.rsplit(": ", 1) for line in lines)
