"""A time in milliseconds as the MIB shows it: a value and a precision, both integers.

Written from the published rules alone, in exact arithmetic, to be held against the agent.
"""

import fractions
import math
import struct

INT_MIN = -2**31
INT_MAX = 2**31 - 1


def single(number):
    """The 32-bit float nearest to a float, an integer or a decimal text."""
    if isinstance(number, float) and not math.isfinite(number):
        return number
    exact = fractions.Fraction(number)
    try:
        (bits,) = struct.unpack("<i", struct.pack("<f", float(exact)))
    except OverflowError:
        return math.copysign(math.inf, exact)
    # The way through a double may end one step away from the nearest; ties go to the even one.
    steps = (bits - 1, bits, bits + 1)
    nearby = [(step, struct.unpack("<f", struct.pack("<i", step))[0]) for step in steps]
    return min((abs(fractions.Fraction(value) - exact), step & 1, value)
               for step, value in nearby if math.isfinite(value))[2]


def _truncated(number):
    if math.isnan(number) or math.isinf(number) or not INT_MIN <= math.trunc(number) <= INT_MAX:
        return INT_MIN
    return math.trunc(number)


def _thousandths(number):
    return _truncated(single(number * 1000.0) + 0.5) if math.isfinite(number) else INT_MIN


def _digits(number):
    return len(str(abs(number)))


def _without_zeros(number):
    for _ in range(3):
        if number % 10 != 0:
            break
        number = int(number / 10)
    return number


def value_and_precision(number):
    """Of a 32-bit float."""
    if number >= 2147483648.0:
        return INT_MAX, 0
    shifted = single(number + 1.0) if number < 1.0 else number
    precision = _digits(_without_zeros(_thousandths(shifted))) - _digits(_truncated(shifted))
    return _without_zeros(_thousandths(number)), precision
