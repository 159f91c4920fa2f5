# SPDX-License-Identifier: MIT
"""Sessions of many rounds, each with something of its own: what a round costs
early and late, in time and in memory.

  bench/sessions.py VORN [--rounds N ...] [--kind KIND ...]

prints a Markdown table: microseconds of processor time a round, and mebibytes
of peak resident memory, for sessions of N rounds (5,000 and 100,000). The time
of a session without rounds is taken off. Every answer has to be sat or unsat.

  variables    push, a new variable between two others, check, pop
  bounds       push, a bound on two of 50 variables, check, pop
  disjunctions push, three disjunctions of two such bounds, check, pop
  base         as bounds, with 60 variables and 240 disjunctions for good
  formulas     push, one of 200 Booleans, check, pop; with 400 disjunctions of
               three of them and a bound on a long sum for good
  assumptions  a check under such a bound, on a chain of 50 variables
  facts-N      push, two bounds on 20 of the variables, check, pop; beside N facts
               on groups of 20 variables and one disjunction for good
  assumed-N    the same, with a check under one bound
  levels       push, a new variable above the last one, check; no pop
  closer       push, a closer bound on the same two variables, check; no pop

With --kind only:

  levels+or    levels, and closer, beside one disjunction
  closer+or    as above
"""

import argparse
import os
import random
import subprocess
import sys
import tempfile
import time


def at_most(x, y, value):
    return f"(<= (- x{x} x{y}) {value})"


class Session:
    """Writes a session of some kind."""

    def __init__(self, kind, rounds, out):
        has_choice = kind.endswith("+or")
        kind = kind.removesuffix("+or")
        self.kind = kind
        self.out = out
        self.random = random.Random(1)
        self.num_facts = int(kind.split("-")[1]) if "-" in kind else 0
        self.num_variables = {"variables": 2, "base": 60}.get(
            kind, self.num_facts // 4 or 50)
        self.values = [self.random.randrange(1000)
                       for _ in range(self.num_variables)]
        out.write("(set-logic QF_IDL)\n")
        for i in range(self.num_variables):
            out.write(f"(declare-const x{i} Int)\n")
        if has_choice:
            self.write_assert("(or (< x2 x3) (< x3 x2))")
        if kind == "base":
            for _ in range(4 * self.num_variables):
                self.write_assert(self.disjunction(100))
        if kind == "formulas":
            for i in range(200):
                out.write(f"(declare-const p{i} Bool)\n")
            for _ in range(400):
                summands = " ".join(
                    str(self.random.randrange(100)) for _ in range(40))
                self.write_assert(
                    f"(or {self.boolean()} (not {self.boolean()}) (and "
                    f"{self.boolean()} (< (+ x0 {summands}) x1)))")
        if kind == "assumptions":
            for i in range(1, self.num_variables):
                self.write_assert(f"(< x{i - 1} x{i})")
        if self.num_facts > 0:
            for _ in range(self.num_facts):
                group = self.random.randrange(self.num_variables // GROUP)
                self.write_assert(self.near(group, 0, 30))
            self.write_assert(f"(or {self.near(0, 0, 1)} {self.near(0, 0, 1)})")
        for k in range(rounds):
            self.write_round(k)

    def bound(self, largest):
        x, y = self.random.sample(range(self.num_variables), 2)
        return at_most(x, y, self.random.randrange(largest))

    def near(self, group, least, most):
        """A bound on two variables of a group, so far from their values."""
        x, y = self.random.sample(range(GROUP * group, GROUP * (group + 1)), 2)
        return at_most(x, y, self.values[x] - self.values[y] +
                       self.random.randrange(least, most))

    def disjunction(self, largest):
        return f"(or {self.bound(largest)} {self.bound(largest)})"

    def boolean(self):
        return f"p{self.random.randrange(200)}"

    def write_assert(self, term):
        self.out.write(f"(assert {term})\n")

    def write_round(self, k):
        if self.kind == "assumptions":
            self.out.write(f"(check-sat-assuming ({self.bound(100000)}))\n")
            return
        if self.kind.startswith("assumed"):
            self.out.write(f"(check-sat-assuming ({self.near(0, -40, 40)}))\n")
            return
        self.out.write("(push 1)\n")
        if self.kind in ("levels", "closer"):
            if self.kind == "levels":
                self.out.write(f"(declare-const n{k} Int)\n")
                last = f"n{k - 1}" if k > 0 else "x0"
                self.write_assert(f"(< {last} n{k})")
            else:
                self.write_assert(f"(> (- x0 x1) {k})")
            self.out.write("(check-sat)\n")
            return
        if self.kind == "variables":
            self.out.write(f"(declare-const n{k} Int)\n")
            self.write_assert(f"(<= (- x0 n{k}) 3)")
            self.write_assert(f"(< n{k} x1)")
        elif self.kind == "disjunctions":
            for _ in range(3):
                self.write_assert(self.disjunction(100000))
        elif self.num_facts > 0:
            self.write_assert(self.near(0, -40, 40))
            self.write_assert(self.near(0, -10, 60))
        elif self.kind == "formulas":
            self.write_assert(self.boolean())
        else:
            self.write_assert(self.bound(100000))
        self.out.write("(check-sat)\n(pop 1)\n")


KINDS = [
    "variables", "bounds", "disjunctions", "base", "formulas", "assumptions",
    "facts-10000", "facts-100000", "assumed-10000", "assumed-100000", "levels",
    "closer"
]
# To be asked for: deep down they cost more, as docs/performance.md says.
MORE_KINDS = ["levels+or", "closer+or"]

# Variables whose facts are about each other.
GROUP = 20


def run(vorn, kind, rounds, folder):
    """Processor time in seconds and peak memory in mebibytes."""
    answers = os.path.join(folder, "answers")
    with open(answers, "wb") as out:
        child = subprocess.Popen([vorn], stdin=subprocess.PIPE, stdout=out)
    with open(child.stdin.fileno(), "w", encoding="ascii",
              closefd=False) as script:
        Session(kind, rounds, script)
        script.write('(echo "done")\n')
    while b"done" not in tail(answers) and child.poll() is None:
        time.sleep(0.01)
    # Not the maximum that wait4 gives: this program's own is part of that.
    with open(f"/proc/{child.pid}/status", encoding="ascii") as lines:
        peak = [int(line.split()[1]) for line in lines if "VmHWM" in line]
    child.stdin.close()
    _, status, usage = os.wait4(child.pid, 0)
    child.returncode = os.waitstatus_to_exitcode(status)
    with open(answers, encoding="ascii") as replies:
        verdicts = replies.read().split()[:-1]
    if child.returncode != 0 or len(verdicts) != rounds or not set(
            verdicts) <= {"sat", "unsat"}:
        sys.exit(f"{kind}: a round has no answer")
    return usage.ru_utime + usage.ru_stime, peak[0] / 1024


def tail(path):
    with open(path, "rb") as file:
        file.seek(-min(64, os.path.getsize(path)), os.SEEK_END)
        return file.read()


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("vorn")
    parser.add_argument("--rounds", type=int, nargs="+", default=[5000, 100000])
    parser.add_argument("--kind", nargs="+", choices=KINDS + MORE_KINDS,
                        default=KINDS)
    arguments = parser.parse_args()
    lengths = arguments.rounds
    print("| session |" + "".join(f" {n:,} rounds |" for n in lengths) +
          " last over first |")
    print("|---|" + "---|" * (len(lengths) + 1))
    with tempfile.TemporaryDirectory() as folder:
        for kind in arguments.kind:
            start, _ = run(arguments.vorn, kind, 0, folder)
            costs = []
            cells = []
            for rounds in lengths:
                seconds, mebibytes = run(arguments.vorn, kind, rounds, folder)
                costs.append((seconds - start) / rounds * 1e6)
                cells.append(f" {costs[-1]:.1f} us, {mebibytes:.1f} MiB |")
            print(f"| {kind} |" + "".join(cells) +
                  f" {costs[-1] / costs[0]:.2f} |", flush=True)


if __name__ == "__main__":
    main()
