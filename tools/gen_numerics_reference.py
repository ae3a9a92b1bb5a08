#!/usr/bin/env python3
"""Reference tables for tests/platform/numerics/accuracy_test.cpp.

Writes tests/data/numerics_<routine>.tsv for the twelve distribution routines
(g01eac ... g01ffc). Every value is computed once with mpmath at DPS decimal
digits (more than twice the largest Digits tested, plus a guard) and written
for each tested Digits to Digits + EXTRA significant digits.

The methods differ from the library's (Arb's functions, and positive
hypergeometric series where Arb fails) except for the gamma lower tail below
a + 1, which both sum as the textbook series (the library in ball arithmetic,
here in plain mpmath, cross-checked against mpmath's gammainc):
  - normal: mpmath's erfc;
  - gamma and chi-square: the series for P(a, z) below a + 1 and Legendre's
    continued fraction for Q(a, z) above, checked against mpmath's gammainc
    for a <= 1000 (its hypergeometric method fails for large a);
  - beta, F and Student's t: the continued fraction for I_x(a, b)
    (DLMF 8.17.22) by the modified Lentz method, on the side of the mean where
    it converges fast, with the prefactor from mpmath's loggamma. mpmath's own
    betainc gives up for large parameters;
  - deviates: bisection in a transformed variable (log x or logit x) at low
    precision, then Newton's method with the density at full precision, and a
    final check that the tail at the root matches the target.

Inputs are binary fractions of at most 40 significant bits, written as
hexadecimal floats ("0x1.8p+1"), so that they convert exactly at every tested
Digits (Digits 10 carries 42 bits).

Row format (tab separated): digits, tail (L, U, S, C, or - when the routine
takes none), three inputs (- when unused), then the value (three values for
g01eec: p, q, pdf).

Usage: python3 tools/gen_numerics_reference.py [output directory [routine ...]]
(default tests/data relative to the repository root, every routine; about
four minutes in all).
"""
import math
import os
import sys
import time

import mpmath
from mpmath import mp, mpf

DIGITS = [10, 15, 30, 50, 100, 300]
DPS = int(os.environ.get("GEN_DPS", 2 * max(DIGITS) + 40))
EXTRA = 20


def dy(x, bits=40):
    """x rounded to a binary fraction of `bits` significant bits (a double)."""
    if x == 0:
        return 0.0
    m, e = math.frexp(x)
    return math.ldexp(round(m * 2 ** bits) / 2 ** bits, e)


def hexf(x):
    return "-" if x is None else float(x).hex()


# ------------------------------------------------------------ distributions

def normal_lower(x):
    return mp.erfc(-x / mp.sqrt(2)) / 2


def normal_upper(x):
    return mp.erfc(x / mp.sqrt(2)) / 2


def normal_tail(tail, x):
    """Lower, upper, two-tail significance P(|Z| > |x|), confidence P(|Z| <= |x|)."""
    if tail == "L":
        return normal_lower(x)
    if tail == "U":
        return normal_upper(x)
    outer = 2 * normal_lower(-abs(x))
    return outer if tail == "S" else mp.erf(abs(x) / mp.sqrt(2))


def log_beta(a, b):
    return mp.loggamma(a) + mp.loggamma(b) - mp.loggamma(a + b)


def lentz(b0, terms):
    """b0 + a1 / (b1 + a2 / (b2 + ...)) by the modified Lentz method, for
    terms yielding (a_k, b_k); stops when a step changes the value by less
    than the working precision."""
    tiny = mpf(2) ** (-10 * mp.prec)
    eps = mpf(2) ** (-mp.prec + 4)
    f = b0 if b0 != 0 else tiny
    c, d = f, mpf(0)
    for k, (a_k, b_k) in enumerate(terms):
        d = b_k + a_k * d
        d = tiny if abs(d) < tiny else d
        c = b_k + a_k / c
        c = tiny if abs(c) < tiny else c
        d = 1 / d
        delta = c * d
        f *= delta
        if abs(delta - 1) < eps:
            return f
        if k > 2 * 10 ** 7:
            break
    raise RuntimeError("continued fraction did not converge")


def beta_cf(a, b, x, y):
    """I_x(a, b) by the continued fraction (DLMF 8.17.22); converges fast for
    x < (a + 1) / (a + b + 2)."""
    def terms():
        m = 0
        while True:
            # d_(2m+1), then d_(2m+2)
            yield -(a + m) * (a + b + m) * x / ((a + 2 * m) * (a + 2 * m + 1)), 1
            m += 1
            yield m * (b - m) * x / ((a + 2 * m - 1) * (a + 2 * m)), 1

    pre = mp.exp(a * mp.log(x) + b * mp.log(y) - mp.log(a) - log_beta(a, b))
    return pre / lentz(mpf(1), terms())


def beta_tail(a, b, x, y, upper):
    """I_x(a, b), or 1 - I_x(a, b) = I_y(b, a) when upper; y = 1 - x.
    The continued fraction is evaluated on the side where it converges,
    x < (a + 1) / (a + b + 2); across, the complement is taken, recomputed
    with the digits the subtraction loses."""
    if upper:
        a, b, x, y = b, a, y, x
    if x == 0:
        return mpf(0)
    if y == 0:
        return mpf(1)
    if x < (a + 1) / (a + b + 2):
        return beta_cf(a, b, x, y)
    c = beta_cf(b, a, y, x)
    if c > mpf(3) / 4:
        lost = int(-mp.log10(1 - c)) + 10 if c < 1 else mp.dps
        with mp.extradps(lost):
            return +(1 - beta_cf(b, a, y, x))
    return 1 - c


def gamma_series(a, z):
    """P(a, z) by the series z^a e^-z / Gamma(a + 1) sum z^k / (a+1)_k."""
    eps = mpf(2) ** (-mp.prec - 4)
    term = total = 1 / a
    ap = a
    while True:
        ap += 1
        term *= z / ap
        total += term
        if term < total * eps:
            break
    return total * mp.exp(-z + a * mp.log(z) - mp.loggamma(a))


def gamma_cf(a, z):
    """Q(a, z) by Legendre's continued fraction, for z > a + 1."""
    def terms():
        i = 1
        while True:
            yield -i * (i - a), z + 2 * i + 1 - a
            i += 1

    return mp.exp(-z + a * mp.log(z) - mp.loggamma(a)) / lentz(z + 1 - a, terms())


def gamma_tail(a, z, upper):
    """P(a, z) or Q(a, z): the series below a + 1, the continued fraction
    above, each tail directly where it is the smaller. For moderate a the
    value is checked against mpmath's gammainc (its hypergeometric method
    fails for large a)."""
    if z == 0:
        return mpf(1) if upper else mpf(0)
    if z < a + 1:
        p = gamma_series(a, z)
        v = 1 - p if upper else p
    else:
        q = gamma_cf(a, z)
        v = q if upper else 1 - q
    if a <= 1000 and mp.dps >= 100:
        check = mp.gammainc(a, z, mp.inf, regularized=True) if upper else \
            mp.gammainc(a, 0, z, regularized=True)
        assert abs(check - v) <= abs(v) * mpf(10) ** (-(mp.dps - 30)), (a, z, upper, v, check)
    return v


def t_two_sided(t, df):
    """P(|T| > |t|) and P(|T| <= |t|)."""
    s = df + t * t
    x, y = df / s, t * t / s
    return beta_tail(df / 2, mpf(1) / 2, x, y, False), beta_tail(df / 2, mpf(1) / 2, x, y, True)


def t_tail(tail, t, df):
    outer, inner = t_two_sided(t, df)
    if tail == "S":
        return outer
    if tail == "C":
        return inner
    if t == 0:
        return mpf(1) / 2
    in_outer = (tail == "L") == (t < 0)
    return outer / 2 if in_outer else 1 - outer / 2


# ----------------------------------------------------------------- deviates

def solve(tail_fn, log_density_fn, to_x, q, lo, hi, increasing):
    """Root in w of tail_fn(w) = q (tail_fn increasing or decreasing in w):
    bisection on the log of the tail at low precision, then Newton at full
    precision with d tail / dw = +-exp(log_density_fn(w))."""
    dps = mp.dps
    mp.dps = 40
    lq = mp.log(q)
    for _ in range(400):
        mid = (lo + hi) / 2
        g = mp.log(tail_fn(mid)) - lq
        if (g < 0) == increasing:
            lo = mid
        else:
            hi = mid
        if hi - lo < mpf(10) ** -25 * max(1, abs(mid)):
            break
    w = (lo + hi) / 2
    width = hi - lo
    mp.dps = dps
    w = mpf(w)
    for _ in range(200):
        h = tail_fn(w) - q
        slope = mp.exp(log_density_fn(w))
        step = h / (slope if increasing else -slope)
        w -= step
        # Newton refines the bisection's root; leaving its bracket means a
        # wrong evaluation somewhere.
        if not lo - width <= w <= hi + width:
            raise RuntimeError("Newton left the bisection bracket")
        if abs(step) < mpf(10) ** (-(dps - 15)) * max(1, abs(w)):
            break
    else:
        raise RuntimeError("Newton did not converge")
    # The tail at the root must match the target.
    r = tail_fn(w)
    assert abs(r - q) <= abs(q) * mpf(10) ** (-(dps - 40)), (r, q)
    return to_x(w)


def deviate_beta_logit(a, b, q, to_x):
    """w = logit x with I_x(a, b) = q (lower tail)."""
    def tail(w):
        x = 1 / (1 + mp.exp(-w))
        y = 1 / (1 + mp.exp(w))
        return beta_tail(a, b, x, y, False)

    def log_density(w):
        return -a * mp.log1p(mp.exp(-w)) - b * mp.log1p(mp.exp(w)) - log_beta(a, b)

    span = 50 + 50 / min(a, b) + 10 * abs(mp.log(q)) / min(a, b)
    return solve(tail, log_density, to_x, q, -span, span, True)


def deviate_gamma(a, p, scale):
    upper = p > mpf(1) / 2
    q = 1 - p if upper else p

    def tail(w):
        return gamma_tail(a, mp.exp(w), upper)

    def log_density(w):
        return a * w - mp.exp(w) - mp.loggamma(a)

    span = 50 + 20 * abs(mp.log(q)) / a + abs(mp.log(a))
    return solve(tail, log_density, lambda w: scale * mp.exp(w), q, -span, 20 + mp.log(a + 1) + abs(mp.log(q)),
                 not upper)


def deviate_beta(p, a, b, to_x_of_logit):
    if p <= mpf(1) / 2:
        return deviate_beta_logit(a, b, p, to_x_of_logit)
    return deviate_beta_logit(b, a, 1 - p, lambda w: to_x_of_logit(-w))


def two_sided(tail, p):
    """For a symmetric distribution: P(|X| > |x|) and P(|X| <= |x|), each
    formed from p directly, and the sign of the deviate x (0 when x = 0)."""
    if tail in "LU":
        if p == mpf(1) / 2:
            return mpf(1), mpf(0), 0
        below = p < mpf(1) / 2
        outer = 2 * (p if below else 1 - p)
        return outer, 1 - outer, -1 if below == (tail == "L") else 1
    if tail == "S":
        return p, 1 - p, 1
    return 1 - p, p, 1


def deviate_normal(tail, p):
    """z with the given tail probability: P(|Z| > |z|) or P(|Z| <= |z|),
    whichever is at most 1/2, formed from p directly and solved in
    w = log |z| with erfc or erf."""
    outer, inner, sign = two_sided(tail, p)
    if sign == 0:
        return mpf(0)
    log_density = lambda w: w - mp.exp(2 * w) / 2 + mp.log(2 / mp.pi) / 2  # of log |Z|
    if outer <= mpf(1) / 2:
        z = solve(lambda w: mp.erfc(mp.exp(w) / mp.sqrt(2)), log_density, mp.exp, outer, mpf(-5), mpf(5), False)
    else:
        z = solve(lambda w: mp.erf(mp.exp(w) / mp.sqrt(2)), log_density, mp.exp, inner, mpf(-2500), mpf(5), True)
    return sign * z


def deviate_t(tail, p, df):
    """t with the given tail probability; both P(|T| > |t|) and
    P(|T| <= |t|) are formed from p directly, and the one at most 1/2 is
    solved for."""
    outer, inner, sign = two_sided(tail, p)
    if sign == 0:
        return mpf(0)
    # Beta(df/2, 1/2) at w = log(df / t^2) has lower tail P(|T| > |t|);
    # Beta(1/2, df/2) at w = log(t^2 / df) has lower tail P(|T| <= |t|).
    if outer <= mpf(1) / 2:
        t = deviate_beta_logit(df / 2, mpf(1) / 2, outer, lambda w: mp.sqrt(df) * mp.exp(-w / 2))
    else:
        t = deviate_beta_logit(mpf(1) / 2, df / 2, inner, lambda w: mp.sqrt(df) * mp.exp(w / 2))
    return sign * t


# -------------------------------------------------------------------- cases

MILLION = 1000000.0
SMALL = 2.0 ** -10  # about 1e-3, exactly representable
TINY_P = 2.0 ** -997  # about 7.5e-301


def f_tail(tail, f, d1, d2):
    s = d1 * f + d2
    return beta_tail(d1 / 2, d2 / 2, d1 * f / s, d2 / s, tail == "U")


def beta_all(x, a, b):
    """p, q and the density of Beta(a, b) at x."""
    y = 1 - x
    pdf = mp.exp((a - 1) * mp.log(x) + (b - 1) * mp.log(y) - log_beta(a, b))
    return beta_tail(a, b, x, y, False), beta_tail(a, b, x, y, True), pdf


def both(rows):
    """Each row with the lower and the upper tail."""
    return [(t, r) for r in rows for t in "LU"]


def alternate(rows):
    """Each row with two of the four tails, in turn."""
    return [(t, r) for i, r in enumerate(rows) for t in ("LUSC"[i % 4], "LUSC"[(i + 1) % 4])]


def no_tail(rows):
    return [("-", r) for r in rows]


def cases():
    """routine -> (function of the tail and the inputs, [(tail, inputs)])."""
    xs = [0.5, -1.25, 1.96, -3.75, 6.25, -8.5, -20.25, -37.5, 37.5, 1e-5, -(2.0 ** -30)]
    ps = [0.975, 0.025, 0.5 + 2.0 ** -20, 0.3, 1e-10, 1e-100, TINY_P, 1 - 2.0 ** -40, 0.75, 1e-3]
    t_rows = [(0.85, 20.0), (-2.5, 1.0), (50.0, 3.0), (-1e5, 20.0), (1e-3, 1000.0), (-37.0, MILLION),
              (2.0, MILLION), (-(2.0 ** 995), 1.0), (-1e15, 20.0), (1.5, SMALL), (-1e30, SMALL), (0.375, 0.5),
              (-7.0, 0.5), (3.25, 3.0), (-0.125, MILLION), (12.5, 1000.0), (-(2.0 ** -20), 3.0), (4.0, 2.0),
              (-3.0, 7.5), (1e10, 1.0)]
    chi_rows = [(3.5, 4.0), (0.5, SMALL), (1e-3, SMALL), (30.0, SMALL), (1380.0, 2.0), (2.0 ** -498, 4.0),
                (0.25, 1.0), (2.7, 1.0), (60.0, 25.0), (10.0, 25.0), (1050.0, 1000.0), (900.0, 1000.0),
                (1001000.0, MILLION), (999000.0, MILLION), (948500.0, MILLION), (1060000.0, MILLION),
                (1.0, 0.5), (120.0, 0.5)]
    f_rows = [(2.5, 3.0, 7.0), (0.5, 1.0, 1.0), (1e-3, 4.0, 10.0), (1e10, 2.0, 2.0), (1e30, 1.0, 3.0),
              (1.25, 1000.0, 1000.0), (1.0, MILLION, MILLION), (0.999, MILLION, MILLION), (2.0, SMALL, 5.0),
              (0.75, 5.0, SMALL), (4.0, 20.0, MILLION), (0.3, MILLION, 2.0), (1e-200, 2.0, 4.0), (7.0, 0.5, 0.5)]
    beta_rows = [(0.25, 2.0, 3.0), (0.5, 0.5, 0.5), (0.9, 3.0, 4.0), (0.3, SMALL, SMALL), (1e-5, 0.5, 3.0),
                 (1 - 2.0 ** -30, 3.0, 0.5), (0.4999, MILLION, MILLION), (0.5, MILLION, MILLION),
                 (0.3, SMALL, MILLION), (1e-7, SMALL, MILLION), (0.999, MILLION, SMALL), (0.7, MILLION, 3.0),
                 (0.99, 30.0, 2.0), (0.01, 30.0, 2.0), (0.125, 1000.0, 1000.0), (0.5, 1000.0, 1000.0),
                 (1e-300, 2.0, 5.0), (0.75, 1.0, 1.0), (0.6, 0.5, MILLION), (0.5, 30.0, SMALL)]
    gamma_rows = [(2.5, 3.0, 2.0), (0.5, SMALL, 1.0), (1e-3, SMALL, 4.0), (700.0, 2.5, 1.0),
                  (2.0 ** -100, 3.0, 0.5), (499500.0, 500000.0, 1.0), (501000.0, 500000.0, 1.0),
                  (1e6, 500000.0, 2.0), (10.0, 25.0, 1.0), (40.0, 25.0, 1.0), (0.75, 0.5, 0.25),
                  (3.7, 1.0, 0.3), (12.0, 100.0, 0.125), (480000.0, MILLION, 0.5)]
    tdev = [(0.975, 20.0), (0.025, MILLION), (0.25, SMALL), (0.1, SMALL), (TINY_P, 1.0), (1e-100, 20.0),
            (0.6, 3.0), (1 - 2.0 ** -40, 5.0), (0.5 + 2.0 ** -30, 1000.0), (1e-10, MILLION), (0.05, 0.5),
            (0.9, 2.0), (0.4, 7.5), (TINY_P, SMALL), (TINY_P, MILLION), (1 - 2.0 ** -40, MILLION), (0.3, 0.5),
            (TINY_P, 3.0), (0.999, 1000.0), (2.0 ** -20, 1.0), (0.75, SMALL)]
    chidev = [(0.95, 4.0), (0.5, SMALL), (0.99, SMALL), (TINY_P, MILLION), (1 - 2.0 ** -40, MILLION),
              (0.5, MILLION), (1e-100, 2.0), (0.1, 1.0), (0.999, 1.0), (0.3, 25.0), (TINY_P, 25.0), (0.75, 0.5),
              (1 - 2.0 ** -30, 3.0), (0.05, 1000.0), (TINY_P, SMALL), (1 - 2.0 ** -40, SMALL), (0.5, 1.0),
              (0.01, 2.0), (0.5, 0.5), (TINY_P, 1.0), (1 - 2.0 ** -40, 25.0), (0.9, 100000.0)]
    fdev = [(0.95, 3.0, 7.0), (0.5, 1.0, 1.0), (0.01, 4.0, 10.0), (1 - 2.0 ** -40, 2.0, 2.0), (TINY_P, 2.0, 4.0),
            (0.5, MILLION, MILLION), (0.975, 20.0, MILLION), (0.3, SMALL, 5.0), (0.7, 5.0, SMALL),
            (0.05, MILLION, 2.0), (0.999, 0.5, 0.5), (1e-20, 1000.0, 1000.0), (TINY_P, MILLION, MILLION),
            (1 - 2.0 ** -40, SMALL, SMALL), (0.5, SMALL, SMALL), (0.9, 1.0, MILLION), (0.1, MILLION, 1.0),
            (1e-100, 3.0, 3.0), (0.999, 30.0, 0.5), (0.25, 2.0, 50.0)]
    bdev = [(0.3, 2.0, 3.0), (0.5, 0.5, 0.5), (0.25, SMALL, SMALL), (0.9, 3.0, 4.0), (TINY_P, 2.0, 5.0),
            (1 - 2.0 ** -40, 2.0, 5.0), (0.5, MILLION, MILLION), (0.3, SMALL, MILLION), (0.999, MILLION, SMALL),
            (1e-50, 0.5, 30.0), (0.75, 1.0, 1.0), (0.6, 30.0, SMALL), (0.01, MILLION, 3.0), (0.2, 1000.0, 0.5),
            (TINY_P, MILLION, MILLION), (TINY_P, SMALL, 3.0), (1 - 2.0 ** -40, SMALL, MILLION),
            (1 - 2.0 ** -40, MILLION, 0.5), (0.5, 1.0, 2.0), (0.05, 0.5, 0.5), (0.99, 3.0, 1000.0), (0.7, 2.5, 2.5)]
    gdev = [(0.7, 3.0, 2.0), (0.5, SMALL, 1.0), (0.01, SMALL, 3.0), (TINY_P, 3.0, 0.5), (1 - 2.0 ** -40, 3.0, 0.5),
            (0.5, 500000.0, 1.0), (TINY_P, MILLION, 1.0), (0.975, 0.5, 4.0), (0.2, 25.0, 0.125), (0.999, 1.0, 1.0),
            (1e-30, 100.0, 2.0), (0.9, 0.5, 0.3), (TINY_P, SMALL, 1.0), (1 - 2.0 ** -40, SMALL, 1.0),
            (1 - 2.0 ** -40, MILLION, 1.0), (0.5, 1.0, 1.0), (0.05, 0.125, 8.0), (0.3, 1000.0, 1e-3),
            (0.999, 5000.0, 3.0), (1e-10, 2.0, 1.0)]
    logistic = lambda w: 1 / (1 + mp.exp(-w))
    return {
        "g01eac": (normal_tail, [(t, (x,)) for x in xs for t in "LUSC"]),
        "g01fac": (deviate_normal, [(t, (p,)) for p in ps for t in "LUSC"]),
        "g01ebc": (t_tail, alternate(t_rows)),
        "g01ecc": (lambda t, x, df: gamma_tail(df / 2, x / 2, t == "U"), both(chi_rows)),
        "g01edc": (f_tail, both(f_rows)),
        "g01eec": (lambda t, x, a, b: beta_all(x, a, b), no_tail(beta_rows)),
        "g01efc": (lambda t, g, a, b: gamma_tail(a, g / b, t == "U"), both(gamma_rows)),
        "g01fbc": (deviate_t, [(t, r) for i, r in enumerate(tdev) for t in ("LUSC"[i % 4], "LUSC"[(i + 2) % 4])]),
        "g01fcc": (lambda t, p, df: deviate_gamma(df / 2, p, 2), no_tail(chidev)),
        "g01fdc": (lambda t, p, d1, d2: deviate_beta(p, d1 / 2, d2 / 2, lambda w: d2 / d1 * mp.exp(w)),
                   no_tail(fdev)),
        "g01fec": (lambda t, p, a, b: deviate_beta(p, a, b, logistic), no_tail(bdev)),
        "g01ffc": (lambda t, p, a, b: deviate_gamma(a, p, b), no_tail(gdev)),
    }


def fmt(v, digits):
    if v == 0:
        return "0"
    return mp.nstr(v, digits + EXTRA, strip_zeros=False, min_fixed=1, max_fixed=0)


def main():
    out_dir = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "..", "tests", "data")
    mp.dps = DPS
    only = set(sys.argv[2:])
    for routine, (fn, rows) in cases().items():
        if only and routine not in only:
            continue
        start = time.time()
        values = []
        for tail, inputs in rows:
            inputs = tuple(dy(x) for x in inputs)
            v = fn(tail, *(mpf(x) for x in inputs))
            values.append((tail, inputs, v if isinstance(v, tuple) else (v,)))
        path = os.path.join(out_dir, "numerics_%s.tsv" % routine)
        with open(path, "w") as out:
            out.write("# generated by tools/gen_numerics_reference.py with mpmath %s at %d digits\n"
                      % (mpmath.__version__, DPS))
            out.write("# digits\ttail\tin1\tin2\tin3\tvalue(s)\n")
            for digits in DIGITS:
                for tail, inputs, vs in values:
                    ins = list(inputs) + [None] * (3 - len(inputs))
                    out.write("\t".join([str(digits), tail] + [hexf(x) for x in ins] + [fmt(v, digits) for v in vs])
                              + "\n")
        print("%s: %d rows in %.1f s" % (routine, len(values), time.time() - start), file=sys.stderr)


if __name__ == "__main__":
    main()
