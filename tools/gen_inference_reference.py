#!/usr/bin/env python3
"""Reference tables for the Shapiro-Wilk, regression and Durbin-Watson tests
(tests/platform/numerics/inference_test.cpp, regression_test.cpp).

Writes to tests/data/:
  inference_shapiro_wilk.tsv  W and its significance level from the
      statistic's definition, W = (sum a_i x_(i))^2 / sum (x_i - mean)^2, with
      Royston's coefficients and normalizing approximations evaluated in
      mpmath at 120 digits;
  inference_durbin_watson.tsv  d and the two bound probabilities, by mpmath's
      tanh-sinh quadrature of Imhof's integral in t (accepted only when the
      Gauss-Legendre quadrature agrees, and checked against the closed form
      (2 / pi) atan(sqrt(-a2 / a1)) where there are two terms);
  inference_g02fac.tsv  the four influence statistics from their formulas;
  inference_regression.tsv  least squares problems solved in exact rational
      arithmetic (fractions): estimates, residual sum of squares, standard
      errors, leverages; a rank-deficient problem through the pseudo-inverse
      of a full-rank factorization X = C F, X+ = F^T (F F^T)^-1 (C^T C)^-1 C^T.

Inputs are binary fractions (at most 40 significant bits), written as
hexadecimal floats, so that they convert exactly at every Digits tested.

Usage: python3 tools/gen_inference_reference.py [output directory]
"""
import math
import os
import random
import sys
from fractions import Fraction

import mpmath
from mpmath import mp, mpf

from gen_numerics_reference import dy, hexf  # 40-bit binary fractions, hex floats

OUT_DIGITS = 80  # significant digits written for every reference value


def dec(v):
    return mpmath.nstr(mpf(v), OUT_DIGITS, strip_zeros=False, min_fixed=-5, max_fixed=5)


def frac_mpf(q):
    return mpf(q.numerator) / q.denominator


# ----------------------------------------------------------- Shapiro-Wilk

def poly(c, x):
    r = mpf(0)
    for coef in reversed(c):
        r = r * x + mpf(coef)
    return r


def sw_coefficients(n):
    if n == 3:
        s = mp.sqrt(mpf(1) / 2)
        return [-s, mpf(0), s]
    m = [-mp.sqrt(2) * mp.erfinv(1 - mpf(8 * i - 3) / (4 * n + 1)) for i in range(1, n + 1)]
    summ2 = sum(v * v for v in m)
    u = 1 / mp.sqrt(n)
    an = -m[0] / mp.sqrt(summ2) + poly(["0", "0.221157", "-0.147981", "-2.071190", "4.434685", "-2.706056"], u)
    a = [None] * n
    if n > 5:
        an1 = -m[1] / mp.sqrt(summ2) + poly(["0", "0.042981", "-0.293762", "-1.752461", "5.682633", "-3.582633"], u)
        phi = (summ2 - 2 * m[0] ** 2 - 2 * m[1] ** 2) / (1 - 2 * an ** 2 - 2 * an1 ** 2)
        outer = {0: an, 1: an1}
    else:
        phi = (summ2 - 2 * m[0] ** 2) / (1 - 2 * an ** 2)
        outer = {0: an}
    for i in range(n // 2):
        v = outer[i] if i in outer else -m[i] / mp.sqrt(phi)
        a[i], a[n - 1 - i] = -v, v
    if n % 2:
        a[n // 2] = mpf(0)
    return a


def sw_reference(xs):
    n = len(xs)
    x = sorted(mpf(v) for v in xs)
    a = sw_coefficients(n)
    mean = sum(x) / n
    w = sum(ai * xi for ai, xi in zip(a, x)) ** 2 / (sum(ai * ai for ai in a) * sum((v - mean) ** 2 for v in x))
    if n == 3:
        pw = max(mpf(0), 6 / mp.pi * (mp.asin(mp.sqrt(w)) - mp.pi / 3))
        return w, pw
    y = mp.log(1 - w)
    if n <= 11:
        gamma = poly(["-2.273", "0.459"], n)
        if y >= gamma:
            return w, mpf("1e-19")
        y = -mp.log(gamma - y)
        mean_, sd = poly(["0.5440", "-0.39978", "0.025054", "-0.0006714"], n), mp.exp(
            poly(["1.3822", "-0.77857", "0.062767", "-0.0020322"], n))
    else:
        v = mp.log(n)
        mean_ = poly(["-1.5861", "-0.31082", "-0.083751", "0.0038915"], v)
        sd = mp.exp(poly(["-0.4803", "-0.082676", "0.0030302"], v))
    return w, mp.erfc((y - mean_) / sd / mp.sqrt(2)) / 2


def shapiro_wilk_rows(rng):
    samples = [
        [0.5, 1.25, 3.0],
        [-2.0, 0.0, 7.5],
        [1.0, 2.0, 3.5, 9.0],
        [3.0, 1.0, 4.0, 1.5, 5.0],
        [0.125, 0.25, 0.5, 1.0, 2.0, 4.0, 8.0],   # far from normal
    ]
    for n in (6, 11, 12, 20, 60, 500, 5000):
        samples.append([dy(rng.gauss(10.0, 3.0)) for _ in range(n)])
    samples.append([dy(rng.expovariate(1.0)) for _ in range(40)])
    # normal scores on a large offset: W within about 1e-4 of 1
    samples.append([dy(1e6 + 1e-3 * float(-mp.sqrt(2) * mp.erfinv(1 - mpf(8 * i - 3) / 122))) for i in range(1, 31)])
    rows = []
    for xs in samples:
        w, pw = sw_reference(xs)
        for digits in (10, 30, 50):
            rows.append([str(digits), ",".join(hexf(v) for v in xs), dec(w), dec(pw)])
    return rows


# ------------------------------------------------------- Durbin-Watson

def imhof(a):
    """P(sum a_j u_j^2 <= 0) by Imhof's integral, two quadrature rules."""
    def f(t):
        if t == 0:
            return sum(a) / 2
        theta = sum(mp.atan(aj * t) for aj in a) / 2
        rho = mp.exp(sum(mp.log1p((aj * t) ** 2) for aj in a) / 4)
        return mp.sin(theta) / (t * rho)
    scale = 1 / max(abs(v) for v in a)
    pts = [0, scale / 4, scale, 4 * scale, 16 * scale, mp.inf]
    v1 = mp.quad(f, pts, method="tanh-sinh")
    v2 = mp.quad(f, pts, method="gauss-legendre")
    if abs(v1 - v2) > mpf(10) ** (-(mp.dps - 15)):
        raise RuntimeError("quadratures disagree: %s %s" % (v1, v2))
    return mpf(1) / 2 - v1 / mp.pi


def bound_probability(n, first, m, d):
    lam = [4 * mp.sin(mp.pi * j / (2 * n)) ** 2 for j in range(first, first + m)]
    a = [l - d for l in lam]
    if all(v > 0 for v in a):
        return mpf(0)
    if all(v < 0 for v in a):
        return mpf(1)
    p = imhof(a)
    if m == 2:
        pos, neg = max(a), min(a)
        closed = 2 / mp.pi * mp.atan(mp.sqrt(-neg / pos))
        if abs(closed - p) > mpf(10) ** (-(mp.dps - 15)):
            raise RuntimeError("Imhof disagrees with the closed form")
    return p


def durbin_watson_rows(rng):
    cases = [
        (2, [3.735719, 0.912755, 0.683626, 0.416693, 1.990200, -0.444816, -1.283088, -3.666035, -0.426357,
             -1.918697]),                                    # NAG's example (rounded to 40 bits)
        (2, [1.5, -0.5, -2.0, 1.0]),                         # two terms: the closed form applies
        (3, [dy(rng.gauss(0, 1)) for _ in range(15)]),
        (1, [dy(math.sin(i / 3.0) + 0.1 * rng.gauss(0, 1)) for i in range(30)]),   # positive correlation
        (4, [dy((-1) ** i * (1 + 0.2 * rng.gauss(0, 1))) for i in range(24)]),    # negative correlation
        (5, [dy(rng.gauss(0, 1)) for _ in range(48)]),
    ]
    rows = []
    for ip, res in cases:
        res = [dy(v) for v in res]
        n = len(res)
        r = [mpf(v) for v in res]
        d = sum((r[i + 1] - r[i]) ** 2 for i in range(n - 1)) / sum(v * v for v in r)
        pdl = bound_probability(n, 1, n - ip, d)
        pdu = bound_probability(n, ip, n - ip, d)
        for digits in (10, 20, 30):
            rows.append([str(digits), str(ip), ",".join(hexf(v) for v in res), dec(d), dec(pdl), dec(pdu)])
    return rows


# ---------------------------------------------------------------- g02fac

def g02fac_rows():
    # NAG's example (n = 24, p = 11, rms = 0.5798, the first ten residuals
    # and leverages), rounded to binary fractions.
    res = [0.2660, -0.1387, -0.2971, 0.5926, -0.4013, 0.1396, -1.3173, 1.1226, 0.0321, -0.7111]
    h = [0.5519, 0.9746, 0.6256, 0.3144, 0.4106, 0.6268, 0.5479, 0.2325, 0.4115, 0.3577]
    n, p, rms = 24, 11, dy(0.5798)
    rows = []
    for ri, hi in zip(res, h):
        ri, hi = dy(ri), dy(hi)
        r, hh, s2 = mpf(ri), mpf(hi), mpf(rms)
        internal = r / mp.sqrt(s2 * (1 - hh))
        s2i = ((n - p) * s2 - r * r / (1 - hh)) / (n - p - 1)
        external = r / mp.sqrt(s2i * (1 - hh))
        cook = internal ** 2 * hh / (p * (1 - hh))
        atkinson = external * mp.sqrt((n - p) * hh / (p * (1 - hh)))
        for digits in (10, 30):
            rows.append([str(digits), str(n), str(p), hexf(rms), hexf(ri), hexf(hi)] +
                        [dec(v) for v in (internal, external, cook, atkinson)])
    return rows


# ------------------------------------------------------------ regression

def fsolve(a, b):
    """Solves a x = b (a square, nonsingular) exactly."""
    n = len(a)
    m = [list(row) + [bi] for row, bi in zip(a, b)]
    for c in range(n):
        piv = next(r for r in range(c, n) if m[r][c] != 0)
        m[c], m[piv] = m[piv], m[c]
        for r in range(n):
            if r != c and m[r][c] != 0:
                f = m[r][c] / m[c][c]
                m[r] = [x - f * y for x, y in zip(m[r], m[c])]
    return [m[i][n] / m[i][i] for i in range(n)]


def inverse(a):
    n = len(a)
    cols = [fsolve(a, [Fraction(int(i == j)) for i in range(n)]) for j in range(n)]
    return [[cols[j][i] for j in range(n)] for i in range(n)]


def matmul(a, b):
    return [[sum(a[i][k] * b[k][j] for k in range(len(b))) for j in range(len(b[0]))] for i in range(len(a))]


def transpose(a):
    return [list(r) for r in zip(*a)]


def pseudo_inverse(x):
    """X+ through a full-rank factorization X = C F from the reduced row
    echelon form of X."""
    rows, cols = len(x), len(x[0])
    m = [list(r) for r in x]
    pivots, r = [], 0
    for c in range(cols):
        piv = next((i for i in range(r, rows) if m[i][c] != 0), None)
        if piv is None:
            continue
        m[r], m[piv] = m[piv], m[r]
        m[r] = [v / m[r][c] for v in m[r]]
        for i in range(rows):
            if i != r and m[i][c] != 0:
                f = m[i][c]
                m[i] = [a - f * b for a, b in zip(m[i], m[r])]
        pivots.append(c)
        r += 1
    f = m[:r]
    c = [[x[i][j] for j in pivots] for i in range(rows)]
    ft = transpose(f)
    return matmul(matmul(ft, inverse(matmul(f, ft))), matmul(inverse(matmul(transpose(c), c)), transpose(c))), r


def regression_problem(name, mean, weight, xcols, y, wt, isx):
    n = len(y)
    cols = ([[1] * n] if mean == "M" else []) + [c for c, s in zip(xcols, isx) if s > 0]
    X = [[Fraction(cols[j][i]) for j in range(len(cols))] for i in range(n)]
    Y = [Fraction(v) for v in y]
    W = [Fraction(v) for v in wt] if weight == "W" else [Fraction(1)] * n
    ip = len(cols)
    # Weighted normal equations in exact arithmetic (full rank), or the
    # pseudo-inverse of the unweighted X (rank deficient, unweighted only).
    xtwx = [[sum(W[i] * X[i][a] * X[i][b] for i in range(n)) for b in range(ip)] for a in range(ip)]
    try:
        g = inverse(xtwx)
        rank = ip
        b = [sum(g[a][c] * sum(W[i] * X[i][c] * Y[i] for i in range(n)) for c in range(ip)) for a in range(ip)]
    except StopIteration:
        assert weight == "U"
        xp, rank = pseudo_inverse(X)
        b = [sum(xp[a][i] * Y[i] for i in range(n)) for a in range(ip)]
        g = matmul(xp, transpose(xp))
    fitted = [sum(X[i][a] * b[a] for a in range(ip)) for i in range(n)]
    rss = sum(W[i] * (Y[i] - fitted[i]) ** 2 for i in range(n))
    n_eff = sum(1 for v in W if v > 0)
    idf = n_eff - rank
    s2 = rss / idf
    # leverages w_i x_i G x_i^T with G = (X^T W X)^-1, or X+ X+^T
    h = [W[i] * sum(X[i][a] * g[a][c] * X[i][c] for a in range(ip) for c in range(ip)) for i in range(n)]
    res = [mp.sqrt(frac_mpf(W[i])) * frac_mpf(Y[i] - fitted[i]) for i in range(n)]
    se = [mp.sqrt(frac_mpf(s2 * g[a][a])) for a in range(ip)]
    head = ["problem", name, mean, weight, str(n), str(len(xcols)), ",".join(map(str, isx)), str(ip), str(rank),
            str(idf)]
    rows = [head,
            ["x", name, ",".join(hexf(v) for c in xcols for v in c)],
            ["y", name, ",".join(hexf(v) for v in y)],
            ["wt", name, ",".join(hexf(v) for v in wt) if weight == "W" else "-"],
            ["b", name, ",".join(dec(frac_mpf(v)) for v in b)],
            ["se", name, ",".join(dec(v) for v in se)],
            ["rss", name, dec(frac_mpf(rss))],
            ["res", name, ",".join(dec(v) for v in res)],
            ["h", name, ",".join(dec(frac_mpf(v)) for v in h)]]
    return rows


def regression_rows(rng):
    rows = []
    t = [float(i) for i in range(1, 9)]
    rows += regression_problem("line", "M", "U", [t], [dy(2.5 + 0.75 * v + rng.gauss(0, 1)) for v in t], [], [1])
    u = [0.5 * i for i in range(10)]
    rows += regression_problem("quadratic-through-origin", "Z", "U", [u, [v * v for v in u]],
                               [dy(1.0 + v - 0.25 * v * v + rng.gauss(0, 0.5)) for v in u], [], [1, 1])
    x1 = [dy(rng.uniform(-2, 2)) for _ in range(12)]
    x2 = [dy(rng.uniform(0, 5)) for _ in range(12)]
    x3 = [dy(rng.uniform(-1, 1)) for _ in range(12)]
    yw = [dy(1 + a - 2 * b + c + rng.gauss(0, 1)) for a, b, c in zip(x1, x2, x3)]
    wts = [1.0, 2.0, 0.5, 3.0, 0.0, 1.0, 4.0, 0.25, 1.0, 2.0, 1.5, 1.0]
    rows += regression_problem("weighted-skip-column", "M", "W", [x1, x2, x3], yw, wts, [1, 0, 1])
    # One-way layout with an intercept: rank 4 of 5 parameters.
    groups = [0, 3, 1, 2, 3, 1, 3, 0, 2, 0, 2, 1]
    dummies = [[1.0 if g == k else 0.0 for g in groups] for k in range(4)]
    rows += regression_problem("dummy-trap", "M", "U", dummies, [dy(36 + g + rng.gauss(0, 1)) for g in groups],
                               [], [1, 1, 1, 1])
    # Degree-7 polynomial on 1 .. 12: ill-conditioned, exactly solvable.
    v = [float(i) for i in range(1, 13)]
    powers = [[x ** k for x in v] for k in range(1, 8)]
    rows += regression_problem("degree-7", "M", "U", powers, [dy(math.cos(x) * 100) for x in v], [], [1] * 7)
    return rows


def write(path, header, rows):
    with open(path, "w") as f:
        f.write(header)
        for r in rows:
            f.write("\t".join(r) + "\n")


def main():
    out = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "..", "tests", "data")
    rng = random.Random(20240611)
    mp.dps = 120
    write(os.path.join(out, "inference_shapiro_wilk.tsv"),
          "# digits\tsample (hex floats, any order)\tW\tpw   (tools/gen_inference_reference.py)\n",
          shapiro_wilk_rows(rng))
    write(os.path.join(out, "inference_g02fac.tsv"),
          "# digits\tn\tip\trms\tres\th\tinternal\texternal\tCook's D\tAtkinson's T   "
          "(tools/gen_inference_reference.py)\n", g02fac_rows())
    write(os.path.join(out, "inference_regression.tsv"),
          "# exact rational least squares (tools/gen_inference_reference.py); per problem:\n"
          "# problem name mean weight n m isx ip rank idf; x (column-major) y wt; expected b se rss res h\n",
          regression_rows(rng))
    mp.dps = 80
    write(os.path.join(out, "inference_durbin_watson.tsv"),
          "# digits\tip\tresiduals (hex floats)\td\tpdl\tpdu   (tools/gen_inference_reference.py)\n",
          durbin_watson_rows(rng))


if __name__ == "__main__":
    main()
