#!/usr/bin/env python3
"""The distributions bench rows computed with mpmath, timed per call.

    peers_mpmath.py --rows ROWS.tsv [--digits 15,50,100,500] [--sample 30:100000]

ROWS.tsv is the output of `distributions_bench rows` (label, family, op,
argument, parameters), so that both sides compute the same rows. Each row is
run at mp.dps = Digits the way an mpmath user would compute it:

  probabilities  ncdf, gammainc(..., regularized=True), betainc(...,
                 regularized=True), or the closed formula; the binomial and
                 Poisson by the incomplete beta and gamma functions, the
                 hypergeometric as a sum of its masses, the non-central
                 ones as Poisson mixtures of those functions summed until the
                 weights left are below the working precision (mpmath has no
                 non-central distributions);
  deviates       the normal one by erfinv, the closed forms by their formulas,
                 the rest by findroot: a bracketing solve (Anderson-Bjorck) at
                 15 digits, then Newton with the density as derivative at the
                 working precision; the integer-valued ones by bisection of
                 the integers;
  samples        mp.rand() uniforms at the full precision: normal variates by
                 Marsaglia's polar method, gamma by Marsaglia and Tsang, beta
                 as X / (X + Y).

Output lines are tab-separated, like the C++ bench's:
    call   label  digits  IMPL  ns_per_call  calls  value  wall_ns_per_call
    sample label  digits  IMPL  ns_per_variate  n  mean  variance
where IMPL is mpmath on gmpy2's integers, or mpmath_py on Python's own (with
MPMATH_NOGMPY=1 in the environment, or without python3-gmpy2).
Times are process CPU time (time.process_time), the fastest per call of five
batches, with time.perf_counter alongside; QUARN_BENCH_SECONDS (default 0.05)
is the CPU time one measurement aims for.
"""
import argparse
import math
import os
import random
import sys
import time

import mpmath
from mpmath import mp, mpf

# mpmath computes on gmpy2's integers when python3-gmpy2 is installed and
# MPMATH_NOGMPY is unset, else on Python's own: the two are reported apart.
IMPL = "mpmath" if mpmath.libmp.BACKEND == "gmpy" else "mpmath_py"


def budget_seconds():
    try:
        v = float(os.environ.get("QUARN_BENCH_SECONDS", "0.05"))
    except ValueError:
        v = 0.0
    return v if v > 0 else 0.05


def measure(call):
    """(CPU ns per call, wall ns per call, calls) over the fastest of five
    batches, after a first call that warms caches at this precision."""
    t0 = time.process_time()
    call()
    first = time.process_time() - t0
    batch = budget_seconds() / 5
    n = 1
    if first < batch:
        t0 = time.process_time()
        probe = 0
        while True:
            call()
            probe += 1
            if time.process_time() - t0 >= batch / 10 or probe >= 100000:
                break
        per = (time.process_time() - t0) / probe
        n = max(1, int(batch / max(per, 1e-9)))
    batches = 3 if first > 2 * budget_seconds() else 5
    best_cpu = best_wall = float("inf")
    calls = 0
    for _ in range(batches):
        c0, w0 = time.process_time(), time.perf_counter()
        for _ in range(n):
            call()
        best_cpu = min(best_cpu, (time.process_time() - c0) * 1e9 / n)
        best_wall = min(best_wall, (time.perf_counter() - w0) * 1e9 / n)
        calls += n
    return best_cpu, best_wall, calls


# ------------------------------------------------------------ the families
# Each family: cdf(x, *p), pdf(x, *p) and deviate(u, *p), with the parameters
# in the library's order.


def invert(cdf, pdf, u, start, kind):
    """The x with cdf(x) = u: a bracket grown from start by factors of 4 and
    Anderson-Bjorck on it at 15 digits, then Newton at the working precision
    (also at 15 digits, where the bracketing solve alone stops short).
    kind is the support: "real" (start 0), "positive" or "unit"."""
    with mp.workdps(15):
        lo, hi = (mpf(-1), mpf(1)) if kind == "real" else (start, start)
        while cdf(lo) > u:
            lo = lo * 4 if kind == "real" else lo / 4
        while cdf(hi) < u:
            hi = hi * 4 if kind != "unit" else 1 - (1 - hi) / 4
        x = mp.findroot(lambda t: cdf(t) - u, (lo, hi), solver="anderson")
    return +mp.findroot(lambda t: cdf(t) - u, x, solver="newton", df=pdf)


def student_cdf(t, nu):
    x = nu / (nu + t * t)
    half = mp.betainc(nu / 2, mpf(0.5), 0, x, regularized=True) / 2
    return half if t < 0 else 1 - half


def student_pdf(t, nu):
    c = mp.gamma((nu + 1) / 2) / (mp.sqrt(nu * mp.pi) * mp.gamma(nu / 2))
    return c * (1 + t * t / nu) ** (-(nu + 1) / 2)


def chisq_cdf(x, k):
    return mp.gammainc(k / 2, 0, x / 2, regularized=True)


def chisq_pdf(x, k):
    return x ** (k / 2 - 1) * mp.exp(-x / 2) / (2 ** (k / 2) * mp.gamma(k / 2))


def f_cdf(f, d1, d2):
    return mp.betainc(d1 / 2, d2 / 2, 0, d1 * f / (d1 * f + d2), regularized=True)


def f_pdf(f, d1, d2):
    return mp.sqrt((d1 * f) ** d1 * d2 ** d2 / (d1 * f + d2) ** (d1 + d2)) / (f * mp.beta(d1 / 2, d2 / 2))


def beta_cdf(x, a, b):
    return mp.betainc(a, b, 0, x, regularized=True)


def beta_pdf(x, a, b):
    return x ** (a - 1) * (1 - x) ** (b - 1) / mp.beta(a, b)


def gamma_cdf(x, b, c):  # scale b, shape c
    return mp.gammainc(c, 0, x / b, regularized=True)


def gamma_pdf(x, b, c):
    return x ** (c - 1) * mp.exp(-x / b) / (mp.gamma(c) * b ** c)


# Integer-valued: the deviate is the smallest k with P(X <= k) >= u, found by
# bisection on the probability from a bracket grown by doubling.
def smallest_reaching(cdf, u, lo, hi=None):
    if cdf(lo) >= u:
        return mpf(lo)
    if hi is None:
        hi = max(2 * lo, 1)
        while cdf(hi) < u:
            lo, hi = hi, 2 * hi
    while hi - lo > 1:
        mid = (lo + hi) // 2
        if cdf(mid) >= u:
            hi = mid
        else:
            lo = mid
    return mpf(hi)


def binomial_cdf(x, n, p):
    k, n = int(mp.floor(x)), int(n)
    return mpf(1) if k >= n else mp.betainc(n - k, k + 1, 0, 1 - p, regularized=True)


def poisson_cdf(x, lam):
    return mp.gammainc(int(x) + 1, lam, mp.inf, regularized=True)


def hypergeometric_cdf(x, n, l, m):
    n, l, m, k = int(n), int(l), int(m), int(mp.floor(x))
    lo = max(0, l + m - n)
    return mp.fsum(mp.binomial(m, j) * mp.binomial(n - m, l - j) for j in range(lo, min(k, l, m) + 1)) / \
        mp.binomial(n, l)


# Non-central: the Poisson mixtures summed from j = 0 until, past the mean,
# a weight is below the working precision (the later ones fall faster still),
# each central probability by mpmath.
def poisson_mixture(mu, central):
    eps = mpf(2) ** (-mp.prec - 10)
    total, w, j = mpf(0), mp.exp(-mu), 0
    while True:
        total += w * central(j)
        if j > mu and w < eps:
            return total
        j += 1
        w = w * mu / j


def nc_chisq_cdf(x, k, lam):
    return poisson_mixture(lam / 2, lambda j: mp.gammainc(k / 2 + j, 0, x / 2, regularized=True))


def nc_beta_cdf(x, a, b, lam):
    return poisson_mixture(lam / 2, lambda j: mp.betainc(a + j, b, 0, x, regularized=True))


def nc_t_cdf(t, nu, delta):
    """Lenth's series for t >= 0, and P(t; delta) = 1 - P(-t; -delta)."""
    if t < 0:
        with mp.extradps(20):
            return +(1 - nc_t_cdf(-t, nu, -delta))
    x = t * t / (t * t + nu)
    mu = delta * delta / 2
    q = delta / mp.sqrt(2) * mp.exp(-mu) / mp.gamma(mpf(3) / 2)  # q_0
    total = poisson_mixture(mu, lambda j: mp.betainc(j + mpf(1) / 2, nu / 2, 0, x, regularized=True))
    eps = mpf(2) ** (-mp.prec - 10)
    j = 0
    while True:
        term = q * mp.betainc(j + 1, nu / 2, 0, x, regularized=True)
        total += term
        if j > mu and abs(q) < eps:
            break
        j += 1
        q = q * mu / (j + mpf(1) / 2)
    return mp.ncdf(-delta) + total / 2


FAMILIES = {
    "Normal": (
        lambda x, mu, s: mp.ncdf(x, mu, s),
        # 2u - 1 formed exactly: rounded, it would cost the lower tail its digits.
        lambda u, mu, s: mu + s * mp.sqrt(2) * mp.erfinv(mp.fsub(2 * u, 1, exact=True)),
    ),
    "StudentT": (
        student_cdf,
        lambda u, nu: invert(lambda t: student_cdf(t, nu), lambda t: student_pdf(t, nu), u, 0, "real"),
    ),
    "ChiSquare": (
        chisq_cdf,
        lambda u, k: invert(lambda x: chisq_cdf(x, k), lambda x: chisq_pdf(x, k), u, k, "positive"),
    ),
    "FRatio": (
        f_cdf,
        lambda u, d1, d2: invert(lambda x: f_cdf(x, d1, d2), lambda x: f_pdf(x, d1, d2), u, mpf(1), "positive"),
    ),
    "Beta": (
        beta_cdf,
        lambda u, a, b: invert(lambda x: beta_cdf(x, a, b), lambda x: beta_pdf(x, a, b), u, a / (a + b), "unit"),
    ),
    "Gamma": (
        gamma_cdf,
        lambda u, b, c: invert(lambda x: gamma_cdf(x, b, c), lambda x: gamma_pdf(x, b, c), u, b * c, "positive"),
    ),
    # Closed forms, written so that neither tail cancels.
    "Exponential": (
        lambda x, b: -mp.expm1(-x / b),
        lambda u, b: -b * mp.log1p(-u),
    ),
    "Weibull": (
        lambda x, b, c: -mp.expm1(-((x / b) ** c)),
        lambda u, b, c: b * (-mp.log1p(-u)) ** (1 / c),
    ),
    "Logistic": (
        lambda x, a, b: 1 / (1 + mp.exp(-(x - a) / b)),
        lambda u, a, b: a + b * mp.log(u / (1 - u)),
    ),
    "Cauchy": (
        lambda x, a, b: mp.atan(b / (a - x)) / mp.pi if x < a else mpf(0.5) + mp.atan((x - a) / b) / mp.pi,
        lambda u, a, b: a - b * mp.cot(mp.pi * u),
    ),
    "Binomial": (
        binomial_cdf,
        lambda u, n, p: smallest_reaching(lambda k: binomial_cdf(mpf(k), n, p), u, 0, int(n)),
    ),
    "Poisson": (
        poisson_cdf,
        lambda u, lam: smallest_reaching(lambda k: poisson_cdf(mpf(k), lam), u, 0),
    ),
    "Hypergeometric": (
        hypergeometric_cdf,
        lambda u, n, l, m: smallest_reaching(lambda k: hypergeometric_cdf(mpf(k), n, l, m), u, 0, int(min(l, m))),
    ),
    "NonCentralChiSquare": (nc_chisq_cdf, None),
    "NonCentralBeta": (nc_beta_cdf, None),
    "NonCentralFRatio": (lambda f, d1, d2, lam: nc_beta_cdf(d1 * f / (d1 * f + d2), d1 / 2, d2 / 2, lam), None),
    "NonCentralStudentT": (nc_t_cdf, None),
}


def run_rows(rows, digits):
    for label, family, op, arg, params in rows:
        mp.dps = digits
        x = mpf(arg)  # the decimal rounded to this precision, as the library does
        p = [mpf(v) for v in params]  # decimals, rounded like the argument
        fn = FAMILIES[family][0 if op == "Probability" else 1]
        result = [None]

        def call():
            result[0] = fn(x, *p)

        try:
            cpu, wall, calls = measure(call)
            value = mpmath.nstr(result[0], digits + 3, strip_zeros=False, min_fixed=1, max_fixed=0)
            print(f"call\t{label}\t{digits}\t{IMPL}\t{cpu:.6g}\t{calls}\t{value}\t{wall:.6g}", flush=True)
        except Exception as e:  # a failed solve is a result to report
            message = str(e).replace("\t", " ").replace("\n", " ")
            print(f"call\t{label}\t{digits}\t{IMPL}\tnan\t0\terror: {message}\tnan", flush=True)


# ----------------------------------------------------------------- samples


class Variates:
    """Normal, gamma and beta variates from mp.rand() at the working precision."""

    def __init__(self):
        self.spare = None

    def normal(self):
        # Marsaglia's polar method gives two variates per accepted pair.
        if self.spare is not None:
            z, self.spare = self.spare, None
            return z
        while True:
            u = 2 * mp.rand() - 1
            v = 2 * mp.rand() - 1
            s = u * u + v * v
            if 0 < s < 1:
                f = mp.sqrt(-2 * mp.log(s) / s)
                self.spare = v * f
                return u * f

    def gamma(self, scale, shape):
        # Marsaglia and Tsang, shape >= 1.
        d = shape - mpf(1) / 3
        c = 1 / mp.sqrt(9 * d)
        while True:
            x = self.normal()
            v = 1 + c * x
            if v <= 0:
                continue
            v = v * v * v
            u = mp.rand()
            if u < 1 - mpf(0.0331) * x ** 4 or mp.log(u) < x * x / 2 + d * (1 - v + mp.log(v)):
                return scale * d * v

    def beta(self, a, b):
        x = self.gamma(1, a)
        y = self.gamma(1, b)
        return x / (x + y)


def run_samples(digits, n):
    mp.dps = digits
    random.seed(20240501)  # mp.rand() draws from Python's generator
    g = Variates()
    cases = [
        ("Normal(0, 1)", g.normal),
        ("Gamma(2, 3.5)", lambda: g.gamma(mpf(2), mpf(3.5))),
        ("Beta(2.5, 3.5)", lambda: g.beta(mpf(2.5), mpf(3.5))),
    ]
    for label, draw in cases:
        draw()
        t0 = time.process_time()
        values = [draw() for _ in range(n)]
        seconds = time.process_time() - t0
        d = [float(v) for v in values]
        mean = math.fsum(d) / n
        var = math.fsum((v - mean) ** 2 for v in d) / (n - 1)
        print(f"sample\t{label}\t{digits}\t{IMPL}\t{seconds * 1e9 / n:.6g}\t{n}\t{mean:.6g}\t{var:.6g}", flush=True)


def main():
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("--rows", help="output of `distributions_bench rows`")
    ap.add_argument("--digits", default="15,50,100,500")
    ap.add_argument("--sample", default="", help="DIGITS:N, e.g. 30:100000")
    args = ap.parse_args()
    if args.rows:
        rows = []
        with open(args.rows) as f:
            for line in f:
                label, family, op, arg, params = line.rstrip("\n").split("\t")
                rows.append((label, family, op, arg, params.split(",")))
        for d in (int(v) for v in args.digits.split(",") if v):
            run_rows(rows, d)
    if args.sample:
        d, n = (int(v) for v in args.sample.split(":"))
        run_samples(d, n)
    return 0


if __name__ == "__main__":
    sys.exit(main())
