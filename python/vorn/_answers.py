# SPDX-License-Identifier: MIT
"""What a Solver says, as plain values."""

import enum
from typing import NamedTuple


class Error(RuntimeError):
    """A call that has no place here: values without a model, say."""


class Answer(enum.Enum):
    """What Solver.check says."""

    SAT = "sat"
    UNSAT = "unsat"
    UNKNOWN = "unknown"

    def __str__(self):
        return self.value


sat, unsat, unknown = Answer.SAT, Answer.UNSAT, Answer.UNKNOWN
ANSWERS = {0: unknown, 10: sat, 20: unsat}


class Reason(enum.Enum):
    """Why an answer is unknown."""

    NONE = "none"
    INTERRUPTED = "interrupted"
    TIMEOUT = "timeout"
    CONFLICTS = "conflicts"
    MEMORY = "memory"
    DEFECT = "defect"

    def __str__(self):
        return self.value


REASONS = list(Reason)


class Extent(NamedTuple):
    """An end of an interval: a number, or an infinity as a float.

    side is 0 if the number is reached; otherwise it is approached, 1 from above
    and -1 from below.
    """

    value: object
    side: int = 0

    def __str__(self):
        return f"{self.value}{('', '+', '-')[self.side]}"


class Objective(NamedTuple):
    """What is known of an objective: its best value lies from low to high."""

    name: str
    is_settled: bool
    low: Extent
    high: Extent


class Progress(NamedTuple):
    """What a check has done so far; objective and its ends may be None."""

    decisions: int
    conflicts: int
    restarts: int
    objective: object
    low: object
    high: object
