#!/usr/bin/env python3
"""Reference tables for tests/platform/numerics/accuracy_test.cpp.

Writes tests/data/numerics_<routine>.tsv for the twelve continuous
distribution routines (g01eac ... g01ffc), the three discrete ones (g01bjc,
g01bkc, g01blc) and the four non-central ones (g01gbc ... g01gec). Every value is computed once with mpmath at DPS decimal
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
    final check that the tail at the root matches the target;
  - binomial: exact rational sums (the probability is a binary fraction) up to
    n = 5000, the incomplete beta continued fraction I_{1-p}(n-k, k+1) above;
    the mass from mpmath's binomial;
  - Poisson: the gamma series and continued fraction Q(k+1, lambda), checked
    against plain sums of the masses where k is small;
  - hypergeometric: exact integer sums of C(m, j) C(n-m, l-j) over C(n, l)
    (truncated 60 digits below the working digits for large populations);
  - non-central chi-square and beta (and F through beta): the Poisson mixture
    sum_j w_j F(a + j) in j, the central probability F at the largest j from
    the series or continued fraction and the others by the additive
    recurrence downwards (the library sums a rearranged series instead);
  - non-central t: Lenth's series of incomplete beta functions, with the
    reflection P(t; delta) = 1 - P(-t; -delta) for t < 0 at the extra digits
    the subtraction loses; a few rows are checked against the defining
    integral by mpmath's quadrature.

Inputs are binary fractions of at most 40 significant bits, written as
hexadecimal floats ("0x1.8p+1"), so that they convert exactly at every tested
Digits (Digits 10 carries 42 bits).

Row format (tab separated): digits, tail (L, U, S, C, or - when the routine
takes none), the inputs (three, - when unused; four for g01blc, g01gdc and
g01gec), then the value (three values for g01eec: p, q, pdf; for the
discrete routines: P(X <= k), P(X > k), P(X = k)). Integer inputs are
written as the same hexadecimal floats.

Usage: python3 tools/gen_numerics_reference.py [output directory [routine ...]]
(default tests/data relative to the repository root, every routine; about
ten minutes in all).
"""
import math
import os
from fractions import Fraction
import sys
import time

import mpmath
from mpmath import mp, mpf

DIGITS = [10, 15, 30, 50, 100, 300]
DPS = int(os.environ.get("GEN_DPS", 2 * max(DIGITS) + 40))
# The discrete and non-central routines are checked up to Digits 100, with
# references at 240 digits.
SERIES_DIGITS = [10, 15, 30, 50, 100]
SERIES_DPS = 2 * max(SERIES_DIGITS) + 40
SERIES_ROUTINES = {"g01bjc", "g01bkc", "g01blc", "g01gbc", "g01gcc", "g01gdc", "g01gec"}
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


# ----------------------------------------------------------------- discrete

def to_mpf(q):
    """An exact fraction at the working precision."""
    return mpf(q.numerator) / q.denominator


def ratio(a, b):
    """a / b for integers a >= 0, b > 0 at the working precision, from the
    integer quotient with 64 bits more than the precision (a Fraction of
    ten-million-bit integers would spend hours on its gcd)."""
    if a == 0:
        return mpf(0)
    shift = mp.prec + 64 + b.bit_length() - a.bit_length()
    q = (a << shift) // b if shift >= 0 else a // (b << -shift)
    return mp.ldexp(mpf(q), -shift)


def binomial_all(n, p, k):
    """P(X <= k), P(X > k), P(X = k) for X ~ binomial(n, p), k in 0..n."""
    n, k = int(n), int(k)
    if n <= 5000:
        # p = a / 2^e exactly; the masses are C(n, j) a^j b^(n-j) / 2^(e n)
        # with b = 2^e - a, summed as integers.
        q = Fraction(float(p))
        a, e = q.numerator, q.denominator.bit_length() - 1
        b = 2 ** e - a
        term = b ** n  # j = 0
        lower = 0
        at_k = 0
        for j in range(0, k + 1):
            lower += term
            if j == k:
                at_k = term
            term = term * (n - j) * a // ((j + 1) * b) if j < n else 0
        total = 2 ** (e * n)
        return (to_mpf(Fraction(lower, total)), to_mpf(Fraction(total - lower, total)),
                to_mpf(Fraction(at_k, total)))
    y = 1 - p
    lower = mpf(1) if k == n else beta_tail(mpf(n - k), mpf(k + 1), y, p, False)
    upper = mpf(0) if k == n else beta_tail(mpf(k + 1), mpf(n - k), p, y, False)
    mass = mp.exp(mp.loggamma(n + 1) - mp.loggamma(k + 1) - mp.loggamma(n - k + 1) + k * mp.log(p) +
                  (n - k) * mp.log(y))
    return lower, upper, mass


def poisson_all(lam, k):
    """P(X <= k) = Q(k + 1, lambda), P(X > k) = P(k + 1, lambda), P(X = k)."""
    k = int(k)
    lower = gamma_tail(mpf(k + 1), lam, True)
    upper = gamma_tail(mpf(k + 1), lam, False)
    mass = mp.exp(k * mp.log(lam) - lam - mp.loggamma(k + 1))
    if k <= 300 and lam <= 1000:
        direct = mp.fsum(mp.exp(j * mp.log(lam) - lam - mp.loggamma(j + 1)) for j in range(k + 1))
        assert abs(direct - lower) <= lower * mpf(10) ** (30 - mp.dps), (lam, k, lower, direct)
    return lower, upper, mass


def hypergeometric_all(n, l, m, k):
    """P(X <= k), P(X > k), P(X = k) for the number of marked items in a
    sample of l from n of which m are marked: integer sums of
    C(m, j) C(n - m, l - j) over C(n, l), walked outward from k on the side
    away from the mean and stopped once the rest is 60 digits below the
    working digits relative to the sum so far (exact when the walk reaches
    the end of the support).
    Above a population of 10^5 the integers (and CPython's quadratic
    division of them) grow too large: the same walk in mpmath floats at 60
    digits more, from the mass at k by mpmath's loggamma."""
    n, l, m, k = int(n), int(l), int(m), int(k)
    lo, hi = max(0, l + m - n), min(l, m)
    if k < lo:
        return mpf(0), mpf(1), mpf(0)
    if k > hi:
        return mpf(1), mpf(0), mpf(0)
    if n > 10 ** 5:
        return hypergeometric_float(n, l, m, k, lo, hi)
    total = math.comb(n, l)
    at_k = math.comb(m, k) * math.comb(n - m, l - k)
    # The walk stops once a term is 60 digits below the working digits of
    # the sum so far (and the terms are falling by at least half a step).
    cut_bits = int((mp.dps + 60) * 3.33)
    upper_side = k * n >= l * m
    j = k + 1 if upper_side else k
    term = math.comb(m, j) * math.comb(n - m, l - j) if lo <= j <= hi else 0
    acc = 0
    while term:
        acc += term
        if upper_side:
            if j == hi:
                break
            term = term * (m - j) * (l - j) // ((j + 1) * (n - m - l + j + 1))
            j += 1
            shrinking = (m - j) * (l - j) < (j + 1) * (n - m - l + j + 1) // 2
        else:
            if j == lo:
                break
            term = term * j * (n - m - l + j) // ((m - j + 1) * (l - j + 1))
            j -= 1
            shrinking = j * (n - m - l + j) < (m - j + 1) * (l - j + 1) // 2
        if shrinking and term.bit_length() < acc.bit_length() - cut_bits:
            break
    side, rest, mass = (ratio(v, total) for v in (acc, total - acc, at_k))
    return (rest, side, mass) if upper_side else (side, rest, mass)


def hypergeometric_float(n, l, m, k, lo, hi):
    with mp.extradps(60):
        log_c = lambda a, b: mp.loggamma(a + 1) - mp.loggamma(b + 1) - mp.loggamma(a - b + 1)
        at_k = mp.exp(log_c(m, k) + log_c(n - m, l - k) - log_c(n, l))
        eps = mpf(10) ** (-(mp.dps + 20))
        upper_side = k * n >= l * m
        j = k + 1 if upper_side else k
        if not lo <= j <= hi:
            side = mpf(0)
        else:
            term = at_k * (m - k) * (l - k) / ((k + 1) * (n - m - l + k + 1)) if upper_side else at_k
            side = term
            while j != (hi if upper_side else lo):
                if upper_side:
                    ratio = mpf((m - j) * (l - j)) / ((j + 1) * (n - m - l + j + 1))
                    j += 1
                else:
                    ratio = mpf(j * (n - m - l + j)) / ((m - j + 1) * (l - j + 1))
                    j -= 1
                term *= ratio
                side += term
                if ratio < mpf(1) / 2 and term < side * eps:
                    break
        rest = 1 - side
    side, rest, at_k = +side, +rest, +at_k
    return (rest, side, at_k) if upper_side else (side, rest, at_k)


# -------------------------------------------------------------- non-central

def poisson_reach(mu):
    """The largest index worth summing of a Poisson(mu) mixture: its upper
    tail beyond is far below 10^-dps."""
    spread = mp.sqrt(2 * (mp.dps + 30) * mp.log(10))
    return int(mu + spread * mp.sqrt(mu + 1) + spread ** 2 + 10)


def mixture(mu, first, step_down, top):
    """sum_{j=0..top} w_j F_j with w_j = e^-mu mu^j / j!, F_top = first and
    F_{j-1} = F_j + step_down(j) (every step adds a positive term)."""
    f = first
    w = mp.exp(top * mp.log(mu) - mu - mp.loggamma(top + 1)) if mu > 0 else mpf(1 if top == 0 else 0)
    total = mpf(0)
    for j in range(top, -1, -1):
        total += w * f
        if j == 0:
            break
        f += step_down(j)
        w = w * j / mu
    return total


def nc_chisq(x, df, lam):
    """P(X <= x) for the non-central chi-square: sum_j w_j P(df/2 + j, x/2)
    with mean lambda/2 of the Poisson weights."""
    a, z, mu = df / 2, x / 2, lam / 2
    if x == 0:
        return mp.exp(-mu) if df == 0 else mpf(0)
    top = poisson_reach(mu) if mu > 0 else 0
    s = a + top
    g = [mp.exp(s * mp.log(z) - z - mp.loggamma(s + 1))]  # g(s) = z^s e^-z / Gamma(s + 1)

    def step(j):
        # P(a + j - 1, z) - P(a + j, z) = g(a + j - 1) = g(a + j) (a + j) / z
        g[0] = g[0] * (a + j) / z
        return g[0]

    return mixture(mu, gamma_tail(s, z, False), step, top)


def nc_beta(x, a, b, lam):
    """P(X <= x) for the non-central beta: sum_j w_j I_x(a + j, b)."""
    if x == 0:
        return mpf(0)
    if x == 1:
        return mpf(1)
    mu = lam / 2
    y = 1 - x
    top = poisson_reach(mu) if mu > 0 else 0
    s = a + top
    # h(s) = Gamma(s + b) / (Gamma(s + 1) Gamma(b)) x^s y^b = I_x(s, b) - I_x(s + 1, b)
    h = [mp.exp(mp.loggamma(s + b) - mp.loggamma(s + 1) - mp.loggamma(b) + s * mp.log(x) + b * mp.log(y))]

    def step(j):
        sj = a + j
        h[0] = h[0] * sj / (x * (sj - 1 + b))
        return h[0]

    return mixture(mu, beta_tail(s, b, x, y, False), step, top)


def nc_f(f, d1, d2, lam):
    s = d1 * f + d2
    return nc_beta(d1 * f / s, d1 / 2, d2 / 2, lam) if f > 0 else mpf(0)


def nc_t_series(t, df, delta):
    """Lenth's series for t >= 0: Phi(-delta) + 1/2 sum_j [p_j I_x(j + 1/2, df/2)
    + q_j I_x(j + 1, df/2)], x = t^2 / (t^2 + df), p_j Poisson(delta^2 / 2)
    weights and q_j = delta e^-mu mu^j / (sqrt 2 Gamma(j + 3/2))."""
    x = t * t / (t * t + df)
    y = df / (t * t + df)
    b = df / 2
    phi = mp.erfc(delta / mp.sqrt(2)) / 2
    if t == 0:
        return phi
    mu = delta * delta / 2
    top = poisson_reach(mu) if mu > 0 else 0
    total = mpf(0)
    for s0, factor in ((mpf(1) / 2, mpf(1)), (mpf(1), delta / mp.sqrt(2))):
        s = s0 + top
        h = mp.exp(mp.loggamma(s + b) - mp.loggamma(s + 1) - mp.loggamma(b) + s * mp.log(x) + b * mp.log(y))
        f = beta_tail(s, b, x, y, False)
        for j in range(top, -1, -1):
            sj = s0 + j
            if s0 == 1:
                w = mp.exp(j * mp.log(mu) - mu - mp.loggamma(j + mpf(3) / 2)) if mu > 0 else mpf(0)
            else:
                w = mp.exp(j * mp.log(mu) - mu - mp.loggamma(j + 1)) if mu > 0 else mpf(1 if j == 0 else 0)
            total += factor * w * f
            if j == 0:
                break
            h = h * sj / (x * (sj - 1 + b))
            f += h
    return phi + total / 2


# Rows of the non-central t checked against the quadrature of the integral.
NC_T_QUADRATURE = {(-1.528, 20.0, 2.0), (2.0, 10.0, 1.0), (-3.0, 5.0, -2.0), (3.0, 5.0, -2.0), (5.0, 1.0, 3.0)}


def nc_t(t, df, delta):
    """P(T <= t) for the non-central t, with 350 extra digits to absorb the
    cancellation of the reflection and of negative deltas."""
    with mp.extradps(350):
        v = nc_t_series(t, df, delta) if t >= 0 else 1 - nc_t_series(-t, df, -delta)
    if (float(t), float(df), float(delta)) in NC_T_QUADRATURE:
        with mp.workdps(40):
            q = nc_t_integral(mpf(t), mpf(df), mpf(delta))
        assert abs(q - v) <= abs(v) * mpf(10) ** -30, (t, df, delta, v, q)
    return +v


def nc_t_integral(t, df, delta):
    """The defining integral P(T <= t) = int_0^inf Phi(t u / sqrt(df) - delta)
    chi_df(u) du, by quadrature, for cross-checks."""
    c = mp.exp(-mp.loggamma(df / 2) - (df / 2 - 1) * mp.log(2))
    integrand = lambda u: mp.erfc(-(t * u / mp.sqrt(df) - delta) / mp.sqrt(2)) / 2 * c * u ** (df - 1) * \
        mp.exp(-u * u / 2)
    peak = mp.sqrt(df)
    return mp.quad(integrand, [0, peak / 2, peak, 2 * peak, mp.inf])


# -------------------------------------------------------------------- cases

MILLION = 1000000.0
SMALL = 2.0 ** -10  # about 1e-3, exactly representable
SMALL2 = 2.0 ** -7  # about 0.01
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
    # The normal deviate's levels also sit at the edges of its double start:
    # next to 1/4 (where the central and tail forms change over), within an
    # ulp of 1/2, and just inside and outside the doubles' normal range.
    ps = [0.975, 0.025, 0.5 + 2.0 ** -20, 0.3, 1e-10, 1e-100, TINY_P, 1 - 2.0 ** -40, 0.75, 1e-3,
          0.25 + 2.0 ** -30, 0.25 - 2.0 ** -30, 0.5 - 2.0 ** -53, 1e-299]
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
    # Discrete: (n, p, k), (lambda, k), (n, l, m, k). The binomial rows reach
    # n = 10^9 and lower tails near 1e-300 (n = 1875, k = 187); the Poisson
    # rows means up to 10^8 and tails on both sides; the hypergeometric rows
    # populations up to 10^7, k below and above the support, and tails near
    # 1e-300 on either side.
    binomial_rows = [(4, 0.5, 2), (19, 0.44, 13), (100, 0.75, 67), (2000, 0.33, 700), (10, 0.3, 0),
                     (10, 0.3, 10), (50, 0.5, 25), (1000, 0.001, 3), (1875, 0.5, 187), (3000, 0.999, 2998),
                     (1e6, 0.5, 499000), (1e6, 0.01, 9700), (1e6, 2.0 ** -30, 0), (1e9, 0.5, 5e8 - 1e5),
                     (1e9, 0.5, 5e8), (1e9, 1e-6, 900), (1e9, 0.75, 750010000)]
    poisson_rows = [(0.3, 0), (1.0, 1), (2.5, 5), (10.0, 3), (10.0, 30), (100.0, 80), (100.0, 150), (1000.0, 100),
                    (10.0, 150), (1e4, 9800), (1e4, 10500), (1e6, 1e6), (2.0 ** -20, 0), (2.0 ** -20, 3),
                    (1e8, 1e8 - 2e4), (1e8, 1e8 + 5e4), (1e8, 1e8)]
    hypergeometric_rows = [(10, 5, 4, 2), (100, 30, 40, 12), (1000, 500, 500, 250), (50, 20, 30, 5),
                           (10, 7, 6, 2), (10, 7, 6, 3), (10, 7, 6, 7), (20, 5, 5, 5), (20, 0, 5, 0),
                           (10000, 5000, 5000, 2000), (10000, 100, 9000, 95), (1e6, 1e5, 1e5, 10500),
                           (1e7, 1000, 1e6, 50), (1e7, 5e6, 3e6, 1497000), (1e7, 5e6, 3e6, 1500000),
                           (10000, 5000, 5000, 1580), (1e6, 1e5, 1e5, 13500)]
    # Non-central: non-centrality up to 10^4, degrees of freedom from 2^-7
    # (about 0.01) to 10^6, lower tails from about 1e-300 to near 1.
    nc_chisq_rows = [(3.5, 4.0, 2.5), (0.5, 1.0, 1.0), (10.0, 3.0, 20.0), (1e-3, 2.0, 5.0), (100.0, 10.0, 50.0),
                     (9000.0, 100.0, 1e4), (10100.0, 100.0, 1e4), (12000.0, 100.0, 1e4), (1.0, SMALL2, 1.0),
                     (1.5, 0.0, 2.0), (2.0 ** -180, 10.0, 100.0), (500.0, 10.0, 100.0), (1e6 + 9000.0, 1e6, 1e4),
                     (5.3, 7.0, 2.0), (0.25, 0.5, 0.125), (2e4, 5.0, 1e4)]
    nc_beta_rows = [(0.25, 2.0, 3.0, 1.0), (0.5, 0.5, 0.5, 10.0), (0.9, 3.0, 4.0, 100.0), (0.05, 5.0, 5.0, 50.0),
                    (0.99, 1.0, 2.0, 1e4), (0.3, SMALL2, 2.0, 3.0), (1e-100, 2.0, 5.0, 1.0), (0.7, 100.0, 50.0, 1e3),
                    (0.999, 5e5, SMALL2, 10.0), (0.5, 1e6, 1e6, 1e4), (0.6, 2.5, 0.5, 2.0), (0.2, 1.0, 1e6, 4.0)]
    nc_f_rows = [(2.5, 3.0, 7.0, 4.0), (0.5, 1.0, 1.0, 1.0), (1e-3, 4.0, 10.0, 10.0), (50.0, 2.0, 2.0, 100.0),
                 (1.25, 1e6, 1e6, 1e4), (3.0, SMALL2, 5.0, 2.0), (0.8, 20.0, 1e6, 1e3), (1.3, 4.0, 9.0, 2.0),
                 (1e-200, 2.0, 4.0, 3.0), (7.0, 0.5, 0.5, 0.5)]
    nc_t_rows = [(-1.528, 20.0, 2.0), (-0.188, 7.5, 1.0), (1.138, 45.0, 0.0), (2.0, 10.0, 1.0), (0.5, SMALL2, 0.5),
                 (10.0, 3.0, 5.0), (-3.0, 5.0, -2.0), (3.0, 5.0, -2.0), (-1.0, 20.0, 30.0), (50.0, 1e6, 45.0),
                 (-50.0, 1e6, -45.0), (1.0, 1e6, 100.0), (120.0, 4.0, 100.0), (1e-3, 2.0, 0.125), (5.0, 1.0, 3.0),
                 (0.0, 3.0, 1.5), (-2.0, 1.0, -0.5), (1.3, 5.0, 1.0)]
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
        "g01bjc": (lambda t, n, p, k: binomial_all(n, p, k), no_tail(binomial_rows)),
        "g01bkc": (lambda t, lam, k: poisson_all(lam, k), no_tail(poisson_rows)),
        "g01blc": (lambda t, n, l, m, k: hypergeometric_all(n, l, m, k), no_tail(hypergeometric_rows)),
        "g01gbc": (lambda t, x, df, delta: nc_t(x, df, delta), no_tail(nc_t_rows)),
        "g01gcc": (lambda t, x, df, lam: nc_chisq(x, df, lam), no_tail(nc_chisq_rows)),
        "g01gdc": (lambda t, f, d1, d2, lam: nc_f(f, d1, d2, lam), no_tail(nc_f_rows)),
        "g01gec": (lambda t, x, a, b, lam: nc_beta(x, a, b, lam), no_tail(nc_beta_rows)),
    }


# Rows with parameters as a user types them (7.1), each rounded to nearest at
# the binary precision of its Digits as the library reads it: at Digits 50,
# and where Arb's incomplete beta and gamma change their ways (above about
# 1100 bits).
LONG_ROWS = {
    "g01ebc": [(500, "L", ("1.3", "3.7")), (500, "L", ("-30", "3.7")), (350, "U", ("2.9", "7.1"))],
    "g01ecc": [(500, "L", ("5.3", "7.1"))],
    "g01edc": [(500, "L", ("1.3", "3.7", "7.1")), (50, "U", ("1.3", "3.7", "7.1"))],
    "g01eec": [(500, "-", ("0.37", "2.5", "7.1")), (500, "-", ("0.63", "7.1", "2.5")),
               (50, "-", ("0.37", "2.5", "7.1")), (350, "-", ("0.41", "1.85", "3.55"))],
    "g01efc": [(500, "L", ("6.1", "3.7", "1.7")), (500, "U", ("3.3", "3.7", "1.7"))],
}


def working_bits(digits):
    return math.ceil(digits * 3.321928094887362) + 8


def long_rows(routine, fn, width):
    """The LONG_ROWS of a routine as table lines, each value at 2 Digits + 40."""
    lines = []
    for digits, tail, texts in LONG_ROWS.get(routine, []):
        mp.prec = working_bits(digits)
        ins = [mpf(t) for t in texts]
        mp.dps = 2 * digits + 40
        v = fn(tail, *ins)
        vs = v if isinstance(v, tuple) else (v,)
        pad = ["-"] * (width - len(texts))
        lines.append("\t".join([str(digits), tail] + list(texts) + pad + [fmt(x, digits) for x in vs]) + "\n")
    return lines


def fmt(v, digits):
    if v == 0:
        return "0"
    return mp.nstr(v, digits + EXTRA, strip_zeros=False, min_fixed=1, max_fixed=0)


def main():
    out_dir = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "..", "tests", "data")
    only = set(sys.argv[2:])
    for routine, (fn, rows) in cases().items():
        if only and routine not in only:
            continue
        series = routine in SERIES_ROUTINES
        mp.dps = SERIES_DPS if series else DPS
        digit_list = SERIES_DIGITS if series else DIGITS
        start = time.time()
        values = []
        for tail, inputs in rows:
            inputs = tuple(dy(x) for x in inputs)
            v = fn(tail, *(mpf(x) for x in inputs))
            values.append((tail, inputs, v if isinstance(v, tuple) else (v,)))
        path = os.path.join(out_dir, "numerics_%s.tsv" % routine)
        with open(path, "w") as out:
            width = max(3, max(len(inputs) for _, inputs, _ in values))
            out.write("# generated by tools/gen_numerics_reference.py with mpmath %s at %d digits\n"
                      % (mpmath.__version__, mp.dps))
            out.write("# digits\ttail\t" + "".join("in%d\t" % (i + 1) for i in range(width)) + "value(s)\n")
            for digits in digit_list:
                for tail, inputs, vs in values:
                    ins = list(inputs) + [None] * (width - len(inputs))
                    out.write("\t".join([str(digits), tail] + [hexf(x) for x in ins] + [fmt(v, digits) for v in vs])
                              + "\n")
            out.writelines(long_rows(routine, fn, width))
        print("%s: %d rows in %.1f s" % (routine, len(values), time.time() - start), file=sys.stderr)


if __name__ == "__main__":
    main()
