#!/usr/bin/env python3
"""The inference bench's cases computed with mpmath at mp.dps = 30.

    peers_inference.py DIR

DIR holds the problems that inference_bench wrote (hexadecimal floats).
Each case is computed the way an mpmath user would, once (they take seconds):
  regression  mpmath.qr(X, mode='skinny'), b from R b = Q^T y by lu_solve,
              residuals y - X b, leverages as the row sums of Q's squares;
  shapiro     Royston's coefficients from erfinv, W as the squared
              correlation;
  durbin      d, and the two bound probabilities by mpmath.quad of Imhof's
              integral.
Prints `case  mpmath  cpu_seconds  value` lines like inference_bench's.
"""
import sys
import time

import mpmath
from mpmath import mp, mpf


def load(path):
    return [float.fromhex(line) for line in open(path) if line.strip()]


def timed(case, f):
    t0 = time.process_time()
    v = f()
    print(f"{case}\tmpmath\t{time.process_time() - t0:.6f}\t{mpmath.nstr(v, 17)}", flush=True)


def regression(data):
    n, p = 10000, 10
    X = mpmath.matrix(n, p)
    y = mpmath.matrix(n, 1)
    for i in range(n):
        for j in range(p):
            X[i, j] = mpf(data[j * n + i])
        y[i] = mpf(data[p * n + i])
    Q, R = mpmath.qr(X, mode="skinny")
    b = mpmath.lu_solve(R, Q.T * y)
    res = y - X * b
    h = [sum(Q[i, j] ** 2 for j in range(p)) for i in range(n)]
    return b[1] + 0 * res[0] + 0 * h[0]


def poly(c, x):
    r = mpf(0)
    for coef in reversed(c):
        r = r * x + coef
    return r


def shapiro(x):
    n = len(x)
    m = [-mp.sqrt(2) * mp.erfinv(1 - mpf(8 * i - 3) / (4 * n + 1)) for i in range(1, n // 2 + 1)]
    summ2 = 2 * sum(v * v for v in m)
    u = 1 / mp.sqrt(n)
    a1 = -m[0] / mp.sqrt(summ2) + poly([0, 0.221157, -0.147981, -2.071190, 4.434685, -2.706056], u)
    a2 = -m[1] / mp.sqrt(summ2) + poly([0, 0.042981, -0.293762, -1.752461, 5.682633, -3.582633], u)
    fac = mp.sqrt((summ2 - 2 * m[0] ** 2 - 2 * m[1] ** 2) / (1 - 2 * a1 ** 2 - 2 * a2 ** 2))
    half = [a1, a2] + [-v / fac for v in m[2:]]
    a = [-v for v in half] + ([mpf(0)] if n % 2 else []) + half[::-1]
    xs = [mpf(v) for v in x]
    mean = sum(xs) / n
    return sum(ai * xi for ai, xi in zip(a, xs)) ** 2 / sum((v - mean) ** 2 for v in xs)


def durbin(r):
    n, ip = len(r), 3
    rs = [mpf(v) for v in r]
    d = sum((rs[i + 1] - rs[i]) ** 2 for i in range(n - 1)) / sum(v * v for v in rs)

    def bound(first):
        a = [4 * mp.sin(mp.pi * j / (2 * n)) ** 2 - d for j in range(first, first + n - ip)]

        def f(t):
            if t == 0:
                return sum(a) / 2
            theta = sum(mp.atan(aj * t) for aj in a) / 2
            return mp.sin(theta) / (t * mp.exp(sum(mp.log1p((aj * t) ** 2) for aj in a) / 4))
        return mpf(1) / 2 - mp.quad(f, [0, 1, mp.inf]) / mp.pi

    pdl = bound(1)
    bound(ip)
    return pdl


def main():
    d = sys.argv[1]
    mp.dps = 30
    timed("regression", lambda: regression(load(d + "/regression.txt")))
    timed("shapiro", lambda: shapiro(load(d + "/shapiro.txt")))
    timed("durbin", lambda: durbin(load(d + "/durbin.txt")))


if __name__ == "__main__":
    main()
