#!/usr/bin/env python3
"""Writes tables/cbrt53.h: the tables of the double-precision cube root.

Exact rational arithmetic (integer cube roots at 300 fraction bits), every
double the nearest to its value:
  _s_dwRcp[k]           -1 / (1 + (2k + 1) / 64)
  _s_dwCbrtHi[32e + k]  cbrt(2^e * (1 + (2k + 1) / 64))
  _s_dwCbrtLo[32e + k]  that cube root minus the high part
Run: python3 tables/gen/cbrt53_gen.py > tables/cbrt53.h
"""
from fractions import Fraction

BITS = 300


def icbrt(n):
    x = 1 << ((n.bit_length() + 2) // 3)
    while True:
        y = (2 * x + n // (x * x)) // 3
        if y >= x:
            break
        x = y
    while x ** 3 > n:
        x -= 1
    while (x + 1) ** 3 <= n:
        x += 1
    return x


def hi_lo(v):
    scaled = v.numerator << (3 * BITS)
    n, rem = divmod(scaled, v.denominator)
    c = icbrt(n)
    root = Fraction(c, 1 << BITS)
    hi = float(root)
    rest = root - Fraction(hi)
    if c ** 3 != n or rem:
        rest += Fraction(1, 1 << (BITS + 1))  # the root lies strictly inside the last step
    return hi, float(rest)


def rows(values):
    return ",\n".join("    " + ", ".join(v.hex() for v in values[i:i + 4]) for i in range(0, len(values), 4))


rcp = [float(Fraction(-64, 65 + 2 * k)) for k in range(32)]
pairs = [hi_lo(Fraction(2 ** e) * Fraction(65 + 2 * k, 64)) for e in range(3) for k in range(32)]
print("""// Tables of the double-precision cube root (written by tables/gen/cbrt53_gen.py:
// exact arithmetic, each double the nearest to its value).
//
//   _s_dwRcp[k]           -1 / (1 + (2k + 1) / 64), the reciprocal of the
//                         middle of the k-th 32nd of the mantissa interval
//   _s_dwCbrtHi[32e + k]  cbrt(2^e * (1 + (2k + 1) / 64)), bank e = 0, 1, 2
//   _s_dwCbrtLo[32e + k]  that cube root minus the high part
//
// Constant data, one definition for the whole library.
#pragma once

namespace cel {

alignas(16) inline constexpr double _s_dwRcp[32] = {
%s};

alignas(16) inline constexpr double _s_dwCbrtHi[96] = {
%s};

alignas(16) inline constexpr double _s_dwCbrtLo[96] = {
%s};

}  // namespace cel""" % (rows(rcp), rows([p[0] for p in pairs]), rows([p[1] for p in pairs])))
