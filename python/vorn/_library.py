# SPDX-License-Identifier: MIT
"""Finds libvorn and says what its functions take; vorn.h has their meaning."""

import ctypes
import os
import pathlib
from ctypes import POINTER, c_char_p, c_int, c_int32, c_int64, c_size_t
from ctypes import c_uint32, c_uint64, c_void_p

NAME = "libvorn.so.0"


class Progress(ctypes.Structure):
    _fields_ = [
        ("decisions", c_uint64),
        ("conflicts", c_uint64),
        ("restarts", c_uint64),
        ("objective", c_char_p),
        ("low", c_char_p),
        ("high", c_char_p),
    ]


class Extent(ctypes.Structure):
    _fields_ = [("infinity", c_int32), ("side", c_int32), ("value", c_char_p)]


Terminate = ctypes.CFUNCTYPE(c_int, c_void_p)
Watch = ctypes.CFUNCTYPE(None, c_void_p, POINTER(Progress))

_TEXT = POINTER(c_char_p)
_SOLVER = c_void_p
_TERM = c_int32
_TERMS = POINTER(c_int32)

# Quick calls, which keep Python's lock: nobody can close the solver meanwhile,
# and taking the lock anew would cost more than most of them.
_QUICK = {
    "version": (c_char_p, []),
    "error_name": (c_char_p, [c_int]),
    "solver_new": (c_void_p, [c_uint32, c_uint64]),
    "solver_free": (None, [_SOLVER]),
    "solver_error": (c_int, [_SOLVER]),
    "solver_error_text": (c_char_p, [_SOLVER]),
    "new_bool": (_TERM, [_SOLVER, c_char_p]),
    "new_int": (_TERM, [_SOLVER, c_char_p]),
    "new_real": (_TERM, [_SOLVER, c_char_p]),
    "constant": (_TERM, [_SOLVER, c_char_p]),
    "sum": (_TERM, [_SOLVER, c_size_t, _TERMS]),
    "times": (_TERM, [_SOLVER, c_char_p, _TERM]),
    "choose": (_TERM, [_SOLVER, _TERM, _TERM, _TERM]),
    "is_int": (c_int, [_SOLVER, _TERM]),
    "true": (_TERM, [_SOLVER]),
    "at_most": (_TERM, [_SOLVER, _TERM, _TERM, c_int64]),
    "at_most_text": (_TERM, [_SOLVER, _TERM, _TERM, c_char_p]),
    "below_text": (_TERM, [_SOLVER, _TERM, _TERM, c_char_p]),
    "equals_text": (_TERM, [_SOLVER, _TERM, _TERM, c_char_p]),
    "distinct": (_TERM, [_SOLVER, c_size_t, _TERMS]),
    "and": (_TERM, [_SOLVER, c_size_t, _TERMS]),
    "or": (_TERM, [_SOLVER, c_size_t, _TERMS]),
    "xor": (_TERM, [_SOLVER, _TERM, _TERM]),
    "implies": (_TERM, [_SOLVER, _TERM, _TERM]),
    "iff": (_TERM, [_SOLVER, _TERM, _TERM]),
    "ite": (_TERM, [_SOLVER, _TERM, _TERM, _TERM]),
    "add": (c_int, [_SOLVER, _TERM]),
    "add_named": (c_int, [_SOLVER, _TERM, c_char_p]),
    "add_at_most": (c_int, [_SOLVER, _TERM, _TERM, c_int64]),
    "minimize": (c_int, [_SOLVER, _TERM, c_char_p]),
    "maximize": (c_int, [_SOLVER, _TERM, c_char_p]),
    "add_soft": (c_int, [_SOLVER, _TERM, c_char_p, c_char_p]),
    "push": (c_int, [_SOLVER]),
    "pop": (c_int, [_SOLVER]),
    "assume": (c_int, [_SOLVER, _TERM]),
    "drop_assumptions": (c_int, [_SOLVER]),
    "unknown_reason": (c_int, [_SOLVER]),
    "set_timeout": (c_int, [_SOLVER, c_uint64]),
    "set_conflict_limit": (c_int, [_SOLVER, c_uint64]),
    "set_terminate": (c_int, [_SOLVER, c_void_p, Terminate]),
    "set_progress": (c_int, [_SOLVER, c_void_p, Watch]),
    "stop": (None, [_SOLVER]),
    "has_model": (c_int, [_SOLVER]),
    "value": (c_int, [_SOLVER, _TERM]),
    "number_value": (c_int, [_SOLVER, _TERM, POINTER(c_int64)]),
    "number_value_text": (c_int, [_SOLVER, _TERM, _TEXT]),
    "num_objectives": (c_size_t, [_SOLVER]),
    "objective": (
        c_int,
        [_SOLVER, c_size_t, _TEXT, POINTER(c_int)] + 2 * [POINTER(Extent)],
    ),
    "failed": (c_int, [_SOLVER, _TERM]),
    "improvement": (c_int, [_SOLVER, _TEXT]),
    "script": (c_int, [_SOLVER, _TEXT]),
    "statistics": (c_int, [_SOLVER, _TEXT]),
    "formula_text": (c_int, [_SOLVER, _TERM, _TEXT]),
    "number_text": (c_int, [_SOLVER, _TERM, _TEXT]),
}

# Calls that search, during which other threads of Python run.
_LONG = {
    "solve": (c_int, [_SOLVER]),
    "bounds": (c_int, [_SOLVER, _TERM] + 2 * [POINTER(Extent)]),
    "core": (c_int, [_SOLVER, POINTER(c_size_t), POINTER(POINTER(c_char_p))]),
    "explanation": (c_int, [_SOLVER, _TEXT]),
    "proof": (c_int, [_SOLVER, _TEXT]),
    "chart": (c_int, [_SOLVER, _TEXT]),
}


def _places():
    """Where the library may be, the likeliest first."""
    chosen = os.environ.get("VORN_LIBRARY")
    if chosen:
        return [chosen]
    here = pathlib.Path(__file__).resolve().parent
    # Beside the package, or in the tree that it was installed with: PREFIX/lib/
    # python3/dist-packages/vorn, PREFIX/lib/python3.11/site-packages/vorn.
    folders = [here] + list(here.parents)[1:4]
    found = [str(f / NAME) for f in folders if (f / NAME).exists()]
    return found + [NAME]


def _load():
    places = _places()
    for place in places:
        try:
            # Both for one library, whose functions differ in the lock alone.
            return ctypes.PyDLL(place), ctypes.CDLL(place)
        except OSError as error:
            reason = error
    raise ImportError(
        f"{NAME} is not found: {reason}. Install it (Debian: libvorn0), or set "
        "VORN_LIBRARY to its path"
    )


class Library:
    """The functions of vorn.h by their names, without vorn_ before them."""

    def __init__(self):
        quick, long = _load()
        for table, library in ((_QUICK, quick), (_LONG, long)):
            for name, (result, arguments) in table.items():
                function = getattr(library, "vorn_" + name)
                function.restype = result
                function.argtypes = arguments
                setattr(self, name, function)
