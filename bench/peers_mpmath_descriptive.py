#!/usr/bin/env python3
"""mpmath's side of the descriptive statistics benchmark: the same tasks on
the same values as descriptive_bench, the way an mpmath user writes them
(fsum for sums, sorted() for order statistics, sort and rank).

Usage: peers_mpmath_descriptive.py DATA_FILE DIGITS
Prints lines: task  mpmath  ns_per_value  value   (as descriptive_bench does)
"""
import math
import sys
import time

import mpmath
from mpmath import mp, mpf

path, digits = sys.argv[1], int(sys.argv[2])
# The library's binary precision at this Digits, so that the values agree.
mp.prec = math.ceil(digits * math.log2(10)) + 8
pairs = [line.split() for line in open(path)]
scale = mpf(2) ** -53
xs = [mpf(float.fromhex(a)) + mpf(float.fromhex(b)) * scale for a, b in pairs]
n = len(xs)
per = 1e9 / n


def report(task, seconds, value):
    print(f"{task}\tmpmath\t{per * seconds:.2f}\t{value}", flush=True)


def text(x):
    return mpmath.nstr(x, digits + 4, min_fixed=1, max_fixed=0)


def timed(f):
    t0 = time.process_time()
    r = f()
    return time.process_time() - t0, r


t, m = timed(lambda: mpmath.fsum(xs) / n)
report("mean", t, text(m))


def variance():
    mean = mpmath.fsum(xs) / n
    return mpmath.fsum((x - mean) ** 2 for x in xs) / n


t, v = timed(variance)
report("variance", t, text(v))
t, s = timed(lambda: sorted(xs))
k = n // 2
report("median", t, text((s[k] + s[k - 1]) / 2 if n % 2 == 0 else s[k]))
positions = [math.ceil(mpf(p) * n) - 1 for p in ("0.1", "0.2", "0.3", "0.4", "0.5", "0.6", "0.7", "0.8", "0.9")]
t, s = timed(lambda: sorted(xs))
report("quantiles9", t, text(s[positions[8]]))
t, s = timed(lambda: sorted(xs))
report("sort", t, text(s[n // 3]))


def rank():
    order = sorted(range(n), key=xs.__getitem__)
    r = [0] * n
    for p, i in enumerate(order):
        r[i] = p + 1
    return r


t, r = timed(rank)
report("rank", t, str(r[n // 3]))
