#!/usr/bin/env python3
"""Reference table for the kernel density tests (tests/stats/smoothing/density_test.cpp).

Writes tests/data/kernel_density.tsv with mpmath at 80 digits:

phi rows: the Fourier transform phi(t) of each unit-variance kernel at chosen
t, from its defining integral: phi(t) = integral of K(u) cos(t u) du over the
support (mpmath.quad over 12 pieces), not from the closed forms the library
uses; the Gaussian's is exp(-t^2/2), whose quadrature could not give the
tiny values at large t to any relative accuracy.

case rows and kde rows: kernel density estimates on a grid of N nodes over
[a, b] with a = 0 and b = N - 1, so that every point binned at an integer or
a half-integer splits exactly. The binned data y (total N/(b - a)) are
formed exactly; the estimate is the direct O(N^2) circular sum
  r[k] = sum_i y[i] g[(k - i) mod N],
  g[m] = (1/N) sum_j H[j] e^(2 pi i j m/N),  H[j] = phi(c min(j, N - j)),  c = 2 pi h/(b - a),
which is what scaling the transform of y by H and transforming back
computes, written out without any FFT. For the Gaussian case the generator
also checks that this equals the O(N n) sum of the continuous kernel over
the binned data, r[k] = sum_i y[i] (b - a)/N K_h((k - i)(b - a)/N), to 40
digits (the bandwidth spans 5 grid steps, far from the grid's wrap).

Row formats (tab separated):
  phi  kernel  t  value
  case  name  kernel  N  h  points  weights   (comma separated; weights - for none)
  kde  name  k  value

Usage: python3 tools/gen_smoothing_reference.py [output file]   (about a minute)
"""
import os
import sys

import mpmath
from mpmath import mp, mpf

DPS = 80
SIG = 60
mp.dps = DPS  # before the kernels' constants below

# Unit-variance kernels: (support half-width, density on [0, w]) (even functions).
KERNELS = {
    0: (None, lambda u: mp.exp(-u * u / 2) / mp.sqrt(2 * mp.pi)),
    1: (mp.sqrt(6), lambda u: (mp.sqrt(6) - u) / 6),
    2: (mp.sqrt(3), lambda u: 1 / (2 * mp.sqrt(3))),
    3: (mp.sqrt(5), lambda u: 3 / (4 * mp.sqrt(5)) * (1 - u * u / 5)),
    4: (mp.sqrt(7), lambda u: 15 / (16 * mp.sqrt(7)) * (1 - u * u / 7) ** 2),
}


def phi(kernel, t):
    if t == 0:
        return mpf(1)
    if kernel == 0:
        return mp.exp(-t * t / 2)
    w, K = KERNELS[kernel]
    return 2 * mp.quad(lambda u: K(u) * mp.cos(t * u), mp.linspace(0, w, 13))


PHI_POINTS = ["1e-9", "0.001", "0.5", "2.75", "40"]

CASES = [
    # name, kernel, N, h, points, weights
    ("gauss256", 0, 256, "5", ["120", "122.5", "126", "127", "131.5", "136"], None),
    ("tri64", 1, 64, "3", ["20", "25.5", "31", "33", "40.5"], None),
    ("rect64", 2, 64, "2.5", ["10", "11", "30.5", "50"], ["1", "2", "0.5", "1"]),
    ("epan63", 3, 63, "4", ["5", "30", "30.5", "61"], None),
    ("biw64", 4, 64, "0.001", ["3", "17.5", "40"], None),
    ("gauss63", 0, 63, "1.5", ["0", "31", "62"], ["3", "1", "2"]),
]


def binned(n, points, weights):
    y = [mpf(0)] * n
    total = mpf(0)
    for i, x in enumerate(points):
        w = mpf(weights[i]) if weights else mpf(1)
        u = mpf(x)
        lo = int(mp.floor(u))
        total += w
        if lo == u:
            y[lo] += w
        else:
            y[lo] += (1 - (u - lo)) * w
            y[lo + 1] += (u - lo) * w
    scale = mpf(n) / (n - 1) / total
    return [v * scale for v in y]


def estimate(kernel, n, h, y):
    c = 2 * mp.pi * mpf(h) / (n - 1)
    H = [phi(kernel, c * min(j, n - j)) for j in range(n)]
    cos = [mp.cospi(mpf(2 * q) / n) for q in range(n)]
    g = [mp.fsum(H[j] * cos[(j * m) % n] for j in range(n)) / n for m in range(n)]
    return [mp.fsum(y[i] * g[(k - i) % n] for i in range(n) if y[i]) for k in range(n)]


def continuous(n, h, y):
    step = mpf(n - 1) / n
    hh = mpf(h)
    K = KERNELS[0][1]
    return [mp.fsum(y[i] * step * K((k - i) * step / hh) / hh for i in range(n) if y[i]) for k in range(n)]


def main():
    root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    path = sys.argv[1] if len(sys.argv) > 1 else os.path.join(root, "tests", "data", "kernel_density.tsv")
    mp.dps = DPS
    lines = ["# tools/gen_smoothing_reference.py (mpmath, %d digits)" % DPS]
    for kernel in sorted(KERNELS):
        for t in PHI_POINTS:
            lines.append("phi\t%d\t%s\t%s" % (kernel, t, mp.nstr(phi(kernel, mpf(t)), SIG)))
    for name, kernel, n, h, points, weights in CASES:
        lines.append("case\t%s\t%d\t%d\t%s\t%s\t%s" % (name, kernel, n, h, ",".join(points),
                                                      ",".join(weights) if weights else "-"))
        y = binned(n, points, weights)
        r = estimate(kernel, n, h, y)
        if name == "gauss256":
            d = continuous(n, h, y)
            worst = max(abs(a - b) for a, b in zip(r, d))
            assert worst < mpf(10) ** -40, worst
        for k, v in enumerate(r):
            lines.append("kde\t%s\t%d\t%s" % (name, k, mp.nstr(v, SIG)))
    with open(path, "w") as out:
        out.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
