# SPDX-License-Identifier: MIT
"""Vorn: exact answers about differences.

    import vorn
    s = vorn.Solver()
    a, b = s.int("a"), s.int("b")
    s.add((b - a >= 3) | (a - b >= 2), a >= 0, b >= 0)
    end = s.int("end"); s.add(end - a >= 2, end - b >= 3)
    s.minimize(end)
    print(s.check(), s.model()[end])

Difference logic is about bounds x - y <= c and x - y < c over integers and
reals, and all that and, or, not make of them. Operators build them; docs/
python.md is the guide.
"""

from ._answers import (
    Answer,
    Error,
    Extent,
    Objective,
    Progress,
    Reason,
    sat,
    unknown,
    unsat,
)
from ._solver import Model, Scope, Solver
from ._terms import (
    Formula,
    Number,
    all_of,
    any_of,
    count,
    distinct,
    iff,
    implies,
    ite,
    lib as _lib,
    total,
)

__all__ = [
    "Answer",
    "Error",
    "Extent",
    "Formula",
    "Model",
    "Number",
    "Objective",
    "Progress",
    "Reason",
    "Scope",
    "Solver",
    "all_of",
    "any_of",
    "count",
    "distinct",
    "iff",
    "implies",
    "ite",
    "sat",
    "total",
    "unknown",
    "unsat",
    "version",
]

version = _lib.version().decode()
