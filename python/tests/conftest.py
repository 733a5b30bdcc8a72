"""Shared pieces of the binding's tests.

The tests read the export list straight from include/celcc/exports*.inc
(not from the generated module the binding is made of), and they build
their reference calls by hand: their own reading of each parameter list,
their own plane geometry, pointers and steps computed from the arrays.
"""
import ctypes
import os
import re
from pathlib import Path

import numpy as np
import pytest

import celcc

# The source tree whose export list is read (another checkout for a cross-check).
ROOT = Path(os.environ.get("CELCC_SOURCE_DIR") or Path(__file__).resolve().parents[2])
INCLUDE = ROOT / "include" / "celcc"

_ENTRY = re.compile(
    r'CEL_EXPORT\(\s*(?P<ret>[^,]+?)\s*,\s*(?P<name>\w+)\s*,\s*\((?P<params>[^)]*)\)\s*,\s*\((?P<args>[^)]*)\)\s*,'
    r'\s*(?P<doc>(?:"(?:[^"\\]|\\.)*"\s*)+)\)', re.S)


def _strip_comments(text):
    return re.sub(r"/\*.*?\*/", "", text, flags=re.S)


def list_entries():
    """[(ret, name, params text, doc)] of every export, read from the .inc
    files that exports.inc includes, in its order."""
    top = (INCLUDE / "exports.inc").read_text()
    files = re.findall(r'#include\s+"([^"]+)"', _strip_comments(top))
    out = []
    for f in files:
        text = _strip_comments((INCLUDE / f).read_text())
        for m in _ENTRY.finditer(text):
            doc = "".join(re.findall(r'"((?:[^"\\]|\\.)*)"', m.group("doc")))
            params = " ".join(m.group("params").split())
            out.append((m.group("ret").strip(), m.group("name"), params, doc))
    return out


ENTRIES = list_entries()

# ---- The tests' own reading of a parameter list ---------------------------------

_SAMPLE = {"uint8_t": np.uint8, "uint16_t": np.uint16, "int16_t": np.int16, "int32_t": np.int32,
           "uint32_t": np.uint32, "float": np.float32, "double": np.float64}


class P:
    def __init__(self, text):
        m = re.match(r"^(.*?)(\w+)\s*((?:\[\d*\]\s*)*)$", text.strip())
        self.type = " ".join(m.group(1).split())
        self.name = m.group(2)
        # the product of the dimensions: a matrix twist[3][4] is 12 numbers
        self.length = None
        for d in re.findall(r"\[(\d+)\]", m.group(3)):
            self.length = int(d) * (self.length or 1)
        self.stars = self.type.count("*") + (1 if self.length else 0)
        base = re.sub(r"const|\*", " ", self.type).split()
        self.base = base[0] if base else ""
        self.const_data = self.type.startswith("const")


def read_params(params):
    return [P(t) for t in params.split(",")] if params.strip() not in ("", "void") else []


SCRATCH_NAMES = {"scratch", "buffer", "pBuffer", "pScratch"}


def image_params(ps):
    """Pointers with a step, less rows of scratch (a buffer with a step)."""
    names = {p.name for p in ps}
    return [p for p in ps if p.stars >= 1 and p.name + "Step" in names
            and not (p.name in SCRATCH_NAMES and not p.const_data)]


# ---- Geometry, written for the tests -------------------------------------------------

def name_parts(name):
    """(source model, destination model, [layout tokens])."""
    parts = name.split("_")
    if parts[-1] == "L":
        parts = parts[:-1]
    op = parts[0][4:] if parts[0].startswith("celi") else parts[0]
    tokens = re.findall(r"AC4|AP4|C\d|P\d", parts[-1]) if len(parts) > 1 else []
    if "v210" in op:  # v210 words in, one 16-bit sample a pixel out
        tokens = ["V210", "C1"]
    if "To" in op and re.search(r"To[A-Z0-9]", op):
        i = re.search(r"To[A-Z0-9]", op).start()
        return op[:i], op[i + 2:], tokens
    return op, op, tokens


def plane_shapes(token, model, h, w):
    sub = re.findall(r"422|420|411|1620", model)
    s = sub[0] if sub else ("422" if token == "C2" else None)
    cw = {"420": (w + 1) // 2, "422": (w + 1) // 2, "411": (w + 3) // 4, "1620": (w + 3) // 4}.get(s, w)
    ch = {"420": (h + 1) // 2, "1620": (h + 3) // 4}.get(s, h)
    planes = {"V210": [(h, 4 * ((w + 5) // 6))],  # whole groups of 6 pixels in 4 words
              "C1": [(h, w)], "C2": [(h, w, 2)], "C3": [(h, w, 3)], "C4": [(h, w, 4)], "AC4": [(h, w, 4)],
              "P2": [(h, w), (ch, cw, 2)], "P3": [(h, w), (ch, cw), (ch, cw)],
              "P4": [(h, w), (ch, cw), (ch, cw), (h, w)], "AP4": [(h, w), (ch, cw), (ch, cw), (h, w)]}
    assert token in planes, "layout token %r unknown to the tests" % token
    return planes[token]


def random_array(rng, shape, dtype):
    dt = np.dtype(dtype)
    if dt.kind == "f":
        return rng.random(shape, dtype=np.float64).astype(dt)
    info = np.iinfo(dt)
    return rng.integers(info.min, int(info.max) + 1, size=shape, dtype=dt)


def image(shape, dtype=np.uint8, seed=5):
    """A random array: the whole range of an integer type, [0, 1) for floats."""
    return random_array(np.random.default_rng(seed), shape, dtype)


def embedded(rng, shape, dtype):
    """A view of `shape` inside a larger random array (two rows and three
    pixels of margin), rows reversed; returns (view, whole)."""
    whole = random_array(rng, (shape[0] + 4, shape[1] + 6) + tuple(shape[2:]), dtype)
    return whole[2:2 + shape[0], 3:3 + shape[1]][::-1], whole


def pointer(a):
    return a.__array_interface__["data"][0]


@pytest.fixture(scope="session")
def ref_lib():
    """A second handle on the library for the reference calls."""
    return ctypes.CDLL(celcc.library_path())


SANITIZED = os.environ.get("CELCC_SANITIZED") == "1"
