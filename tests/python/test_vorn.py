# SPDX-License-Identifier: MIT
"""The package vorn: what operators build, what solvers answer, and that nothing
a program gets wrong is more than an exception."""

import _thread
import copy
import gc
import math
import os
import pickle
import signal
import subprocess
import sys
import threading
import time
import unittest
from fractions import Fraction

import vorn


def hard(s, size=14):
    """Tasks of length 2 that do not fit, without saying so outright."""
    starts = [s.int(f"t{k}") for k in range(size)]
    for k, t in enumerate(starts):
        s.add(t >= 0, t <= 2 * size - 4)
        for u in starts[:k]:
            s.add((t - u >= 2) | (u - t >= 2) | (t - u == 100))


class Terms(unittest.TestCase):
    def setUp(self):
        self.s = vorn.Solver()
        self.a, self.b = self.s.int("a"), self.s.int("b")

    def test_the_example_of_the_package(self):
        s, a, b = self.s, self.a, self.b
        s.add((b - a >= 3) | (a - b >= 2), a >= 0, b >= 0)
        end = s.int("end")
        s.add(end - a >= 2, end - b >= 3)
        s.minimize(end)
        self.assertEqual(f"{s.check()} {s.model()[end]}", "sat 4")

    def test_differences_cancel(self):
        a, b = self.a, self.b
        for term, text in [
            (a - b, "a - b"),
            (3 - a, "-a + 3"),
            (a + 2 - b - 5, "a - b - 3"),
            ((a - b) + b, "a"),
            ((a - b) - (a - b), "0"),
            (-(a - 1), "-a + 1"),
            (0 * a + 7, "7"),
            (a - Fraction(1, 2), "a - 1/2"),
        ]:
            self.assertEqual(str(term), text)

    def test_each_comparison_means_what_it_says(self):
        s, a = self.s, self.a
        x = s.real("x")
        s.add(a == 3, x == Fraction(7, 2))
        self.assertEqual(s.check(), vorn.sat)
        model = s.model()
        truths = [
            (a <= 3, True), (a < 3, False), (a >= 4, False), (a > 2, True),
            (a == 3, True), (a != 3, False), (3 <= a, True), (4 > a, True),
            (a < Fraction(7, 2), True), (a > Fraction(5, 2), True),
            (a <= x, True), (x < a, False), (x - a > Fraction(1, 2), False),
            (x - a >= Fraction(1, 2), True), (2 * a - 2 * x >= -1, True),
            (a / 2 <= Fraction(3, 2), True), (x != a, True),
            ((a > 3) ^ True, True), (~(a > 3) & (x > 3), True),
            (vorn.implies(a > 2, x > 4), False), (vorn.iff(a > 2, x > 3), True),
            ((a > 2) == (x > 3), True), ((a > 2) != (x > 3), False),
            (vorn.ite(a > 2, x > 3, x > 9), True),
            (vorn.count(a > 2, a > 3, x > 3) == 2, True),
            (vorn.distinct(a, x, 3), False), (vorn.distinct([a, 4]), True),
            (vorn.all_of(a > 2, True), True), (vorn.any_of([a > 3, False]), False),
            (abs(2**70) >= a, True), (a - 2**70 < 0, True),
        ]
        for k, (formula, truth) in enumerate(truths):
            self.assertEqual(model[formula], truth, f"{k}: {formula}")
            self.assertEqual(s.check(formula), vorn.sat if truth else vorn.unsat)
            model = s.model() if truth else (s.check(), s.model())[1]

    def test_values_are_exact_and_of_their_type(self):
        s, a, b = self.s, self.a, self.b
        x, p = s.real("x"), s.bool("p")
        huge = 10**40
        s.add(a == huge, b == a + 1, x == Fraction(huge, 7), p)
        self.assertEqual(s.check(), vorn.sat)
        m = s.model()
        self.assertEqual((m[a], m[b - a], m[x], m[p]),
                         (huge, 1, Fraction(huge, 7), True))
        self.assertIs(type(m[a]), int)
        self.assertIs(type(m[x - x + a]), Fraction)
        self.assertIs(type(m[x]), Fraction)
        self.assertEqual(dict(m.to_dict())["p"], True)
        self.assertEqual(sorted(m), ["a", "b", "p", "x"])

    def test_what_is_no_difference_is_refused_by_name(self):
        s, a, b = self.s, self.a, self.b
        with self.assertRaisesRegex(ValueError, r"\(\+ a b\).*outside"):
            s.add(a + b <= 3)
        with self.assertRaisesRegex(ValueError, r"\(a\) \* \(b \+ 1\)"):
            a * (b + 1)
        with self.assertRaisesRegex(ValueError, "outside"):
            s.minimize(a + b)
        with self.assertRaisesRegex(ValueError, "outside"):
            s.check(a >= 0, a + b >= 1)
        self.assertEqual(s.check(), vorn.sat)
        self.assertEqual(s.script().count("assert"), 0)

    def test_python_is_kept_from_guessing(self):
        s, a, b = self.s, self.a, self.b
        for wrong in [
            lambda: bool(a <= b),
            lambda: a <= b <= 3,
            lambda: bool(a),
            lambda: a + 0.5,
            lambda: a <= 1.0,
            lambda: a + "x",
            lambda: a + True,
            lambda: a & (a <= 1),
            lambda: (a <= 1) & 1,
            lambda: (a <= 1) + 1,
            lambda: s.add(1),
            lambda: s.add("p"),
            lambda: s.minimize("a"),
            lambda: s.int(3),
            lambda: s.check(1),
            lambda: vorn.any_of([]),
            lambda: vorn.ite(1, a, b),
        ]:
            with self.assertRaises(TypeError):
                wrong()
        with self.assertRaises(ZeroDivisionError):
            a / 0
        for name in ["a", "and", "", "x|y", "x\0y"]:
            with self.assertRaises(ValueError):
                s.int(name)


class Solving(unittest.TestCase):
    def test_scopes_close_by_themselves(self):
        s = vorn.Solver()
        a = s.int()
        with s.push():
            s.add(a < 0, a > 0)
            self.assertEqual(s.check(), vorn.unsat)
        self.assertEqual(s.check(), vorn.sat)
        with self.assertRaises(KeyError), s.push():
            s.add(a < 0, a > 0)
            raise KeyError
        self.assertEqual(s.check(), vorn.sat)
        with self.assertRaises(vorn.Error):
            s.pop()

    def test_cores_assumptions_and_explanations(self):
        s = vorn.Solver(minimize_cores=True)
        a, b = s.int("a"), s.int("b")
        s.add(b - a >= 3, name="after")
        s.add(a >= 0, name="start")
        s.add(b <= 100, name="loose")
        late, early = b >= 50, b <= 2
        self.assertEqual(s.check(late, early), vorn.unsat)
        self.assertEqual([f is early for f in s.failed()][-1], True)
        s.add(b <= 1, name="soon")
        self.assertEqual(s.check(), vorn.unsat)
        self.assertEqual(s.core(), ["after", "start", "soon"])
        self.assertIn("assertion 1 (after)", s.explain())
        self.assertEqual(s.failed(), [])
        with self.assertRaises(ValueError):
            s.add(a >= 0, name="soon")

    def test_threads(self):
        s = vorn.Solver(threads=3, machines=False, proofs=True)
        tasks = [s.int() for _ in range(8)]
        for k, x in enumerate(tasks):
            s.add(x >= 0, x <= 14)
            s.add(*((x - y >= 2) | (y - x >= 2) for y in tasks[:k]))
        self.assertEqual(s.check(), vorn.sat)
        starts = sorted(s.model()[x] for x in tasks)
        self.assertEqual(starts, list(range(0, 16, 2)))
        s.add(*(x <= 13 for x in tasks))
        self.assertEqual(s.check(), vorn.unsat)
        self.assertIn("(cl)", s.proof())
        self.assertGreater(
            int(s.statistics()["conflicts of other threads"]), 0)
        for wrong in (0, -1, 2000):
            with self.assertRaises(ValueError):
                vorn.Solver(threads=wrong)

    def test_objectives_wishes_and_bounds(self):
        s = vorn.Solver()
        a, x = s.int("a"), s.real("x")
        s.assert_soft(a <= 1, 2)
        s.assert_soft(a >= 5, Fraction(5, 2))
        s.add(x > a)
        s.minimize(x, "close")
        seen = []
        self.assertEqual(s.check(progress=seen.append), vorn.sat)
        wishes, close = s.objectives()
        self.assertEqual((wishes.low.value, wishes.is_settled), (2, True))
        self.assertEqual((close.name, str(close.low)), ("close", "5+"))
        self.assertEqual([str(e) for e in s.bounds(a)], ["5", "5"])
        self.assertEqual(s.bounds(x)[0].side, 1)
        self.assertTrue(any(p.objective == "close" for p in seen))
        free = s.int("free")
        s.check()
        self.assertEqual([e.value for e in s.bounds(free)], [-math.inf, math.inf])

    def test_proofs_and_charts(self):
        s = vorn.Solver(proofs=True, schedule=True)
        a, b = s.int("a"), s.int("b")
        s.add((b - a >= 3) | (a - b >= 2), a >= 0, b >= 0)
        s.minimize(b)
        self.assertEqual(s.check(), vorn.sat)
        self.assertIn("<svg", s.chart())
        self.assertIn("la_generic", s.proof())
        self.assertEqual(s.improvement(), "(< b 0)")
        self.assertIn("(minimize b", s.script())
        self.assertIn("conflicts", s.statistics())
        with self.assertRaises(vorn.Error):
            vorn.Solver().proof()

    def test_limits(self):
        s = vorn.Solver()
        hard(s)
        start = time.monotonic()
        self.assertEqual(s.check(timeout=0.1), vorn.unknown)
        self.assertLess(time.monotonic() - start, 20)
        self.assertEqual(s.reason(), vorn.Reason.TIMEOUT)
        self.assertEqual(s.check(conflicts=3), vorn.unknown)
        self.assertEqual(s.reason(), vorn.Reason.CONFLICTS)
        with self.assertRaises(ValueError):
            s.check(timeout=0)

    def test_interrupts(self):
        s = vorn.Solver()
        hard(s)
        timer = threading.Timer(0.2, os.kill, (os.getpid(), signal.SIGINT))
        timer.start()
        with self.assertRaises(KeyboardInterrupt):
            s.check(timeout=60)
        timer.join()
        threading.Timer(0.1, s.stop).start()
        self.assertEqual(s.check(timeout=60), vorn.unknown)
        self.assertEqual(s.reason(), vorn.Reason.INTERRUPTED)

        def fail(_):
            raise KeyError("from progress")

        with self.assertRaisesRegex(KeyError, "from progress"):
            s.check(timeout=60, progress=fail)

    def test_threads_run_together_and_one_solver_serves_one(self):
        solvers = [vorn.Solver() for _ in range(4)]
        answers = []

        def work(s):
            hard(s, 5)
            answers.append(s.check())

        threads = [threading.Thread(target=work, args=(s,)) for s in solvers]
        [t.start() for t in threads]
        [t.join() for t in threads]
        self.assertEqual(answers, 4 * [vorn.unsat])
        s = vorn.Solver()
        hard(s)
        errors = []

        def disturb():
            while not s._searching:
                time.sleep(0.001)
            time.sleep(0.05)
            for call in (s.push, s.close, s.check, s.script, s.model):
                try:
                    call()
                except Exception as error:
                    errors.append(type(error).__name__)
            s.stop()

        thread = threading.Thread(target=disturb)
        thread.start()
        self.assertEqual(s.check(timeout=60), vorn.unknown)
        thread.join()
        self.assertEqual(
            errors, 4 * ["RuntimeError"] + ["Error"], "each is turned away"
        )


class Misuse(unittest.TestCase):
    def test_terms_of_others(self):
        s, t = vorn.Solver(), vorn.Solver()
        a, b = s.int("a"), t.int("b")
        for wrong in [
            lambda: a - b,
            lambda: a <= b,
            lambda: (a <= 1) & (b <= 1),
            lambda: t.add(a <= 1),
            lambda: t.add(a <= 1, name="n"),
            lambda: t.minimize(a),
            lambda: t.check(a <= 1),
            lambda: t.assert_soft(a <= 1),
            lambda: vorn.any_of(b <= 1, a <= 1),
            lambda: vorn.distinct(b, a),
            lambda: vorn.ite(b <= 1, a, b),
        ]:
            with self.assertRaisesRegex(ValueError, "another solver"):
                wrong()
        t.check()
        with self.assertRaisesRegex(ValueError, "another solver"):
            t.model()[a]

    def test_after_close(self):
        s = vorn.Solver()
        a, f = s.int("a"), None
        f = (a >= 1) | (a <= -1)
        s.check()
        m = s.model()
        s.close()
        s.close()
        for late in [
            s.check, s.model, s.objectives, s.core, s.failed, s.explain, s.proof,
            s.script, s.statistics, s.push, s.pop, s.int, s.bool, s.reason,
            lambda: s.add(a >= 0), lambda: s.add(f), lambda: f & f, lambda: a + a,
            lambda: m[a], lambda: m[f], lambda: s.bounds(a), lambda: str(a),
            lambda: s.minimize(a), lambda: 2 * a, lambda: a != 3,
        ]:
            with self.assertRaisesRegex(ValueError, "closed"):
                late()
        self.assertIn("closed", repr(a) + repr(f))
        with vorn.Solver() as t:
            b = t.int()
        with self.assertRaises(ValueError):
            t.add(b >= 0)

    def test_old_models(self):
        s = vorn.Solver()
        a = s.int("a")
        s.check()
        old = s.model()
        s.add(a >= 1)
        with self.assertRaises(vorn.Error):
            old[a]
        with self.assertRaises(vorn.Error):
            s.model()
        s.check()
        with self.assertRaises(vorn.Error):
            old[a]
        self.assertGreaterEqual(s.model()[a], 1)
        for early in (s.core, s.explain, s.failed):
            with self.assertRaises(vorn.Error):
                early()

    def test_terms_keep_their_solver(self):
        def make():
            s = vorn.Solver()
            return s.int("a") >= 1

        f = make()
        gc.collect()
        self.assertIn("<=", str(f))
        f._solver.add(f)
        self.assertEqual(f._solver.check(), vorn.sat)

    def test_solvers_are_no_values(self):
        s = vorn.Solver()
        a = s.int("a")
        for wrong in (copy.copy, copy.deepcopy, pickle.dumps):
            with self.assertRaises(TypeError):
                wrong(s)
        with self.assertRaises(TypeError):
            copy.deepcopy(a)

    def test_without_library(self):
        environment = dict(os.environ, VORN_LIBRARY="/nowhere/libvorn.so.0")
        code = subprocess.run(
            [sys.executable, "-c", "import vorn"],
            env=environment, capture_output=True, text=True, check=False,
        )
        self.assertEqual(code.returncode, 1)
        self.assertIn("VORN_LIBRARY", code.stderr)


if __name__ == "__main__":
    unittest.main()
