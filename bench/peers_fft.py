#!/usr/bin/env python3
"""The real transform of smoothing_bench computed with mpmath, timed.

mpmath has no discrete Fourier transform of its own, so this is the route a
user of mpmath takes: a recursive mixed-radix FFT (decimation in time by the
smallest prime factor) on mpc numbers at mp.dps = 30, with the n roots of
unity computed once per length, and the 1/sqrt(n) scale. Lengths 2^10, 2^16
and 3*10^4, as in `smoothing_bench transforms`.

Output lines, tab separated: transform, n, mpmath, CPU seconds (the faster
of two runs; one run for n > 10^4), and the maximum over a few outputs of
|ours - direct sum| / (largest output), a check that the FFT is right.
"""
import random
import sys
import time

from mpmath import mp, mpc, mpf


def smallest_factor(n):
    p = 2
    while p * p <= n:
        if n % p == 0:
            return p
        p += 1
    return n


def fft(x, roots, total):
    """sum_j x[j] e^(-2 pi i j k/len(x)); roots[m] = e^(-2 pi i m/total)."""
    n = len(x)
    if n == 1:
        return list(x)
    p = smallest_factor(n)
    m = n // p
    parts = [fft(x[r::p], roots, total) for r in range(p)]
    step = total // n
    out = [None] * n
    for k in range(n):
        s = parts[0][k % m]
        for r in range(1, p):
            s += roots[(r * k * step) % total] * parts[r][k % m]
        out[k] = s
    return out


def transform(values):
    n = len(values)
    roots = [mp.expjpi(mpf(-2 * m) / n) for m in range(n)]
    z = fft([mpc(v) for v in values], roots, n)
    scale = 1 / mp.sqrt(n)
    return [w * scale for w in z]


def main():
    mp.dps = 30
    rng = random.Random(7)
    for n in [1024, 65536, 30000]:
        values = [mpf(rng.gauss(0, 1)) for _ in range(n)]
        best = None
        for _ in range(2 if n <= 10000 else 1):
            t0 = time.process_time()
            z = transform(values)
            t = time.process_time() - t0
            best = t if best is None else min(best, t)
        top = max(abs(w) for w in z)
        worst = 0
        for k in (1, 7, n // 3):
            direct = mp.fsum(values[j] * mp.expjpi(mpf(-2 * j * k) / n) for j in range(n)) / mp.sqrt(n)
            worst = max(worst, abs(direct - z[k]) / top)
        print("transform\t%d\tmpmath\t%.3f\t%s" % (n, best, mp.nstr(worst, 3)))
        sys.stdout.flush()


if __name__ == "__main__":
    main()
