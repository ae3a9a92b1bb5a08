#!/usr/bin/env python3
"""Reference table for the deviate solver's double-precision tails.

Writes tests/data/double_tails.tsv: for the beta tail I_x(a, b) at
x = 1 / (1 + e^-w), the gamma tails P(a, z) and Q(a, z) at z = e^w, and the
standard normal quantile, the log of the tail (the quantile itself for the
normal rows) and the log density of w, computed by mpmath's betainc, gammainc
and erfinv at 40 digits from the double w exactly as the library sees it.

Columns: family (beta, gamma_lower, gamma_upper, normal), a, b (beta only,
else 0), w (q for normal rows), accept (1 where the double method must not
decline: moderate shapes), the reference log tail (or quantile), the
reference log density (0 for normal rows).

Usage: python3 tools/gen_double_tails.py > tests/data/double_tails.tsv
"""
from mpmath import mp, mpf, betainc, gammainc, loggamma, log, exp, erfinv, sqrt, log1p

mp.dps = 40

BETA = [
    # a, b, w values, accept
    (2.5, 7.1, [-12.0, -6.0, -1.5, -0.3, 0.4, 2.0, 5.0], 1),
    (3.7 / 2, 0.5, [-20.0, -3.0, 0.0, 3.0, 9.0], 1),
    (0.5, 3.7 / 2, [-9.0, -1.0, 2.0, 15.0], 1),
    (0.01, 0.02, [-300.0, -2.0, 0.5, 40.0], 0),
    (150.0, 3.0, [1.0, 3.5, 4.0, 6.0], 1),
    (4000.0, 2500.0, [0.3, 0.47, 0.6], 0),
    # log B in double is noise here: a small complement must not be trusted.
    (1e17, 2.5, [36.5, 37.2, 38.5], 0),
]
GAMMA = [
    (3.7 / 2, [-8.0, -1.0, 0.5, 1.2, 2.5, 3.3], 1),
    (3.7, [-30.0, 0.0, 1.3, 2.2, 3.4], 1),
    (0.05, [-50.0, -3.0, 0.0, 1.5], 0),
    (250.0, [5.0, 5.5, 5.6, 6.0], 1),
]
NORMAL = [1e-300, 1e-100, 1e-10, 0.001, 0.02425, 0.1, 0.3, 0.45, 0.7, 0.99, 1 - 1e-9]


def row(*fields):
    print("\t".join(str(f) for f in fields))


print("# family\ta\tb\tw\taccept\tlog_tail\tlog_density")
for a, b, ws, accept in BETA:
    A, B = mpf(a), mpf(b)
    lbeta = loggamma(A) + loggamma(B) - loggamma(A + B)
    for w in ws:
        W = mpf(w)
        x = 1 / (1 + exp(-W))
        y = 1 / (1 + exp(W))
        # On the side where the hypergeometric series converges fast.
        if x <= mpf(1) / 2:
            tail = betainc(A, B, 0, x, regularized=True)
        else:
            tail = 1 - betainc(B, A, 0, y, regularized=True)
        density = A * log(x) + B * log(y) - lbeta
        row("beta", repr(a), repr(b), repr(w), accept, mp.nstr(log(tail), 25), mp.nstr(density, 25))
for a, ws, accept in GAMMA:
    A = mpf(a)
    for w in ws:
        W = mpf(w)
        z = exp(W)
        density = A * W - z - loggamma(A)
        lower = gammainc(A, 0, z, regularized=True)
        upper = gammainc(A, z, mp.inf, regularized=True)
        row("gamma_lower", repr(a), 0, repr(w), accept, mp.nstr(log(lower), 25), mp.nstr(density, 25))
        row("gamma_upper", repr(a), 0, repr(w), accept, mp.nstr(log(upper), 25), mp.nstr(density, 25))
for q in NORMAL:
    Q = mpf(q)
    z = -sqrt(2) * erfinv(1 - 2 * Q) if Q > mpf(10) ** -30 else None
    if z is None:
        # erfinv loses the far tail: solve Phi(z) = q by Newton from the
        # asymptotic start.
        u = -2 * log(Q)
        z = -sqrt(u - log(u) - log(2 * mp.pi))
        for _ in range(60):
            phi = exp(-z * z / 2) / sqrt(2 * mp.pi)
            cdf = mp.erfc(-z / sqrt(2)) / 2
            z -= (cdf - Q) / phi
    row("normal", 0, 0, repr(q), 1, mp.nstr(z, 25), 0)
