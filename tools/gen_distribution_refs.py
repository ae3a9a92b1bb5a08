#!/usr/bin/env python3
"""Reference values for the distribution tests (tests/stats/distributions).

Writes two tables into tests/data:

- distribution_refs.tsv: one row per value, the host entry (without the STATS_
  prefix and the _MP suffix), its arguments, and the value to 70 significant
  digits, computed by mpmath at 150 digits (the tests check at most 50). Every
  argument is a short binary fraction, so that it converts exactly at any
  Digits. Probabilities come from mpmath's own special functions (regularized
  incomplete gamma and beta, erfc), deviates from closed forms or from a root
  finder on those probabilities, never from the library. The integer-valued
  families' probabilities are exact rational sums or mpmath's incomplete
  gamma and beta, their deviates the smallest integer whose probability
  reaches the level, found by stepping through the integers; the non-central
  probabilities are the Poisson-mixture series of
  tools/gen_numerics_reference.py.
- distribution_moments.tsv: mean, variance and kurtosis (fourth central
  moment over the squared variance) of each family at the parameters of the
  conformance suite, by numerical integration of the textbook density, which
  is first checked to integrate to 1 and to agree with the distribution
  function above where there is one; sums over the masses for the
  integer-valued families; closed forms from the cumulants or the mixture
  representation for the non-central ones.

Usage: python3 tools/gen_distribution_refs.py
"""
import math
import os
from fractions import Fraction

import mpmath
from mpmath import mp, mpf

import gen_numerics_reference as numerics  # the non-central series (tools/)

mp.dps = 150
DIGITS_OUT = 70


def normal_cdf(z):
    return mp.erfc(-z / mp.sqrt(2)) / 2


def student_cdf(t, nu):
    tail = mp.betainc(nu / 2, mpf(1) / 2, 0, nu / (nu + t * t), regularized=True) / 2
    return 1 - tail if t > 0 else tail


def gamma_cdf(x, scale, shape):
    return mp.gammainc(shape, 0, x / scale, regularized=True)


def beta_cdf(x, a, b):
    return mp.betainc(a, b, 0, x, regularized=True)


def f_cdf(x, nu1, nu2):
    return beta_cdf(nu1 * x / (nu1 * x + nu2), nu1 / 2, nu2 / 2)


def invert(cdf, u, lo, hi):
    """The x in [lo, hi] where the increasing cdf reaches u: bisection to 40
    digits, then mpmath's secant root finder to the full precision."""
    lo, hi = mpf(lo), mpf(hi)
    while hi - lo > mpf(10) ** -40 * max(1, abs(lo)):
        mid = (lo + hi) / 2
        if cdf(mid) < u:
            lo = mid
        else:
            hi = mid
    return mp.findroot(lambda x: cdf(x) - u, (lo, hi), tol=mpf(10) ** (-mp.dps + 10))


def triangular_cdf(x, a, b, c):
    if x < a:
        return mpf(0)
    if x < c:
        return (x - a) ** 2 / ((b - a) * (c - a))
    if x < b:
        return 1 - (b - x) ** 2 / ((b - a) * (b - c))
    return mpf(1)


def triangular_quantile(u, a, b, c):
    split = (c - a) / (b - a)
    if u < split:
        return a + mp.sqrt(u * (b - a) * (c - a))
    return b - mp.sqrt((1 - u) * (b - a) * (b - c))


PROBABILITIES = {
    "Cauchy": lambda x, a, b: mpf(1) / 2 + mp.atan((x - a) / b) / mp.pi,
    "Exponential": lambda x, b: mpf(0) if x < 0 else -mp.expm1(-x / b),
    "Gumbel": lambda x, a, b: mp.exp(-mp.exp(-(x - a) / b)),
    "Laplace": lambda x, a, b: mp.exp((x - a) / b) / 2 if x < a else 1 - mp.exp(-(x - a) / b) / 2,
    "Logistic": lambda x, a, b: 1 / (1 + mp.exp(-(x - a) / b)),
    "Pareto": lambda x, a, c: mpf(0) if x < a else 1 - (a / x) ** c,
    "Power": lambda x, b, c: mpf(0) if x < 0 else (mpf(1) if x > b else (x / b) ** c),
    "Rayleigh": lambda x, b: mpf(0) if x < 0 else -mp.expm1(-x * x / (2 * b * b)),
    "Triangular": triangular_cdf,
    "Uniform": lambda x, a, b: mpf(0) if x <= a else (mpf(1) if x >= b else (x - a) / (b - a)),
    "Weibull": lambda x, b, c: mpf(0) if x < 0 else -mp.expm1(-((x / b) ** c)),
    "Beta": beta_cdf,
    "ChiSquare": lambda x, nu: gamma_cdf(x, 2, nu / 2),
    "FRatio": f_cdf,
    "Gamma": gamma_cdf,
    "StudentT": student_cdf,
    "Normal": lambda x, mu, sigma: normal_cdf((x - mu) / sigma),
    "LogNormal": lambda x, mu, sigma: normal_cdf((mp.log(x) - mu) / sigma),
}

DEVIATES = {
    "Cauchy": lambda u, a, b: a + b * mp.tan(mp.pi * (u - mpf(1) / 2)),
    "Exponential": lambda u, b: -b * mp.log1p(-u),
    "Gumbel": lambda u, a, b: a - b * mp.log(-mp.log(u)),
    "Laplace": lambda u, a, b: a + b * mp.log(2 * u) if u < mpf(1) / 2 else a - b * mp.log(2 * (1 - u)),
    "Logistic": lambda u, a, b: a + b * mp.log(u / (1 - u)),
    "Pareto": lambda u, a, c: a * (1 - u) ** (-1 / c),
    "Power": lambda u, b, c: b * u ** (1 / c),
    "Rayleigh": lambda u, b: b * mp.sqrt(-2 * mp.log1p(-u)),
    "Triangular": triangular_quantile,
    "Uniform": lambda u, a, b: a + u * (b - a),
    "Weibull": lambda u, b, c: b * (-mp.log1p(-u)) ** (1 / c),
    "Beta": lambda u, a, b: invert(lambda x: beta_cdf(x, a, b), u, 0, 1),
    "ChiSquare": lambda u, nu: invert(lambda x: gamma_cdf(x, 2, nu / 2), u, 0, 100),
    "FRatio": lambda u, nu1, nu2: invert(lambda x: f_cdf(x, nu1, nu2), u, 0, 100),
    "Gamma": lambda u, b, c: invert(lambda x: gamma_cdf(x, b, c), u, 0, 100),
    "StudentT": lambda u, nu: invert(lambda t: student_cdf(t, nu), u, -100, 100),
    "Normal": lambda u, mu, sigma: mu + sigma * mp.sqrt(2) * mp.erfinv(2 * u - 1),
    "LogNormal": lambda u, mu, sigma: mp.exp(mu + sigma * mp.sqrt(2) * mp.erfinv(2 * u - 1)),
}

# --------------------------------------------------------- integer-valued
# Lower-tail probabilities of the integer-valued families as the library
# reduces x (floor, or truncation for the Poisson), by exact rational sums
# (binomial, hypergeometric, discrete uniform, geometric) or mpmath's
# regularized incomplete gamma and beta (Poisson, negative binomial).

def exact(q):
    return mpf(q.numerator) / q.denominator


def binomial_cdf(x, n, p):
    k, n, p = int(mp.floor(x)), int(n), Fraction(float(p))
    return exact(sum(math.comb(n, j) * p ** j * (1 - p) ** (n - j) for j in range(0, min(k, n) + 1)))


def hypergeometric_cdf(x, n, l, m):
    if x < 0:
        return mpf(0)
    if x > l or x > m:
        return mpf(1)
    k, n, l, m = int(mp.floor(x)), int(n), int(l), int(m)
    total = sum(math.comb(m, j) * math.comb(n - m, l - j) for j in range(0, k + 1) if 0 <= l - j <= n - m)
    return exact(Fraction(total, math.comb(n, l)))


DISCRETE_PROBABILITIES = {
    "Bernoulli": lambda x, p: (1 - p) if x == 0 else (p if x == 1 else mpf(0)),
    "Binomial": binomial_cdf,
    "DiscreteUniform": lambda x, a, b: mpf(0) if mp.floor(x) < a else (
        mpf(1) if mp.floor(x) > b else exact(Fraction(int(mp.floor(x) - a + 1), int(b - a + 1)))),
    "Geometric": lambda x, p: mpf(0) if x < 0 else 1 - exact((1 - Fraction(float(p))) ** int(mp.floor(x) + 1)),
    "Hypergeometric": hypergeometric_cdf,
    "NegativeBinomial": lambda x, r, p: mp.betainc(r, mp.floor(x) + 1, 0, p, regularized=True),
    "Poisson": lambda x, lam: mp.gammainc(int(x) + 1, lam, mp.inf, regularized=True),
}


def smallest_reaching(cdf, u, k=0):
    """The smallest integer from k on whose cumulative probability reaches u."""
    while cdf(mpf(k)) < u:
        k += 1
    return mpf(k)


DISCRETE_DEVIATES = {
    "Bernoulli": lambda u, p: mpf(0) if u <= 1 - p else mpf(1),
    # The smallest point of the support (a) for u = 0.
    "DiscreteUniform": lambda u, a, b: smallest_reaching(lambda k: DISCRETE_PROBABILITIES["DiscreteUniform"](k, a, b),
                                                         u, int(a)),
    **{family: (lambda f: lambda u, *params: smallest_reaching(lambda k: f(k, *params), u))(f)
       for family, f in DISCRETE_PROBABILITIES.items() if family not in ("Bernoulli", "DiscreteUniform")},
}

NONCENTRAL_PROBABILITIES = {
    "NonCentralBeta": lambda x, a, b, lam: numerics.nc_beta(x, a, b, lam),
    "NonCentralChiSquare": lambda x, nu, lam: numerics.nc_chisq(x, nu, lam),
    "NonCentralFRatio": lambda x, n1, n2, lam: numerics.nc_f(x, n1, n2, lam),
    "NonCentralStudentT": lambda t, nu, delta: numerics.nc_t(t, nu, delta),
}

# (family, x or u, parameters...) as decimal strings of binary fractions.
# Integer-valued deviates avoid levels equal to a cumulative probability.
PROBABILITY_ROWS = [
    ("Bernoulli", "0", "0.25"), ("Bernoulli", "1", "0.25"), ("Bernoulli", "2", "0.25"),
    ("Binomial", "12", "50", "0.3125"), ("Binomial", "7.5", "20", "0.5"), ("Binomial", "0", "10", "0.125"),
    ("DiscreteUniform", "3.875", "1", "6"), ("DiscreteUniform", "0", "1", "6"), ("DiscreteUniform", "7", "1", "6"),
    ("Geometric", "0", "0.5"), ("Geometric", "-3", "0.5"), ("Geometric", "4.5", "0.25"),
    ("Hypergeometric", "2", "10", "5", "4"), ("Hypergeometric", "5.5", "10", "5", "4"),
    ("Hypergeometric", "12", "100", "30", "40"), ("Hypergeometric", "-1", "100", "30", "40"),
    ("NegativeBinomial", "3", "5", "0.375"), ("NegativeBinomial", "0", "2", "0.75"),
    ("Poisson", "3", "2.5"), ("Poisson", "3.75", "2.5"), ("Poisson", "150", "100"), ("Poisson", "0", "0.25"),
    ("NonCentralBeta", "0.25", "2", "3", "1"), ("NonCentralBeta", "0.875", "0.5", "4", "6"),
    ("NonCentralChiSquare", "3.5", "4", "2.5"), ("NonCentralChiSquare", "0.125", "1", "3"),
    ("NonCentralFRatio", "2.5", "3", "7", "4"), ("NonCentralFRatio", "0.5", "10", "20", "1.5"),
    ("NonCentralStudentT", "-1.5", "20", "2"), ("NonCentralStudentT", "1.25", "5", "1"),
    ("NonCentralStudentT", "2", "3", "-0.5"),

    ("Cauchy", "3", "1", "2"), ("Cauchy", "-1.5", "0.5", "0.25"), ("Cauchy", "0", "0", "1"),
    ("Exponential", "-1", "2"), ("Exponential", "1.5", "2"), ("Exponential", "0.25", "0.5"),
    ("Gumbel", "0.5", "1", "2"), ("Gumbel", "3", "-1", "0.5"),
    ("Laplace", "0", "0", "1"), ("Laplace", "-1.5", "0.5", "2"), ("Laplace", "2.5", "0.5", "2"),
    ("Logistic", "2", "1", "0.5"), ("Logistic", "-3", "0", "2"),
    ("Pareto", "0.5", "1", "2"), ("Pareto", "3", "1", "2"), ("Pareto", "1.5", "0.5", "2.5"),
    ("Power", "2", "2", "3"), ("Power", "2.5", "2", "3"), ("Power", "-1", "2", "3"),
    ("Power", "1.5", "2", "3"), ("Power", "0.75", "2", "0.5"),
    ("Rayleigh", "-1", "1"), ("Rayleigh", "1.5", "1"), ("Rayleigh", "3", "2"),
    ("Triangular", "1", "0", "3", "1"), ("Triangular", "0.5", "0", "3", "1"), ("Triangular", "2", "0", "3", "1"),
    ("Triangular", "-1", "0", "3", "1"), ("Triangular", "4", "0", "3", "1"),
    ("Uniform", "2", "2", "4"), ("Uniform", "4", "2", "4"), ("Uniform", "3", "2", "4"), ("Uniform", "2.5", "2", "4"),
    ("Weibull", "1.5", "2", "1.5"), ("Weibull", "3", "0.5", "2"),
    ("Beta", "0.25", "2", "3"), ("Beta", "0.75", "0.5", "1.5"),
    ("ChiSquare", "2.5", "3"), ("ChiSquare", "10", "7.5"),
    ("FRatio", "1.5", "5", "10"), ("FRatio", "0.25", "2.5", "4"),
    ("Gamma", "5", "2", "3"), ("Gamma", "0.75", "0.5", "1.5"),
    ("StudentT", "0", "5"), ("StudentT", "1.5", "5"), ("StudentT", "-2.25", "2.5"),
    ("Normal", "1.5", "1", "2"), ("Normal", "-3.25", "0", "1"), ("Normal", "1", "1", "3"),
    ("LogNormal", "2", "0.5", "0.75"), ("LogNormal", "0.25", "0", "1"),
]

DEVIATE_ROWS = [
    ("Bernoulli", "0.5", "0.25"), ("Bernoulli", "0.875", "0.25"),
    ("Binomial", "0.5", "50", "0.3125"), ("Binomial", "0.0625", "1000", "0.5"), ("Binomial", "0.9990234375", "30", "0.25"),
    ("DiscreteUniform", "0", "1", "6"), ("DiscreteUniform", "0.5", "1", "6"), ("DiscreteUniform", "1", "1", "6"),
    ("Geometric", "0.8125", "0.5"), ("Geometric", "0.09375", "0.0625"),
    ("Hypergeometric", "0.5", "100", "30", "40"), ("Hypergeometric", "1", "10", "3", "4"),
    ("Hypergeometric", "0.015625", "1000", "500", "200"),
    ("NegativeBinomial", "0.5", "3", "0.375"), ("NegativeBinomial", "0.96875", "2", "0.25"),
    ("Poisson", "0.5", "0.25"), ("Poisson", "0.9375", "100"), ("Poisson", "0.03125", "1000"), ("Poisson", "0.75", "3.5"),
    ("Cauchy", "0.75", "0", "1"), ("Cauchy", "0.125", "1", "2"),
    ("Exponential", "0.5", "2"), ("Exponential", "0.875", "0.5"),
    ("Gumbel", "0.25", "1", "2"), ("Gumbel", "0.9375", "0", "1"),
    ("Laplace", "0.5", "0", "1"), ("Laplace", "0.125", "1", "2"), ("Laplace", "0.875", "1", "2"),
    ("Logistic", "0.25", "1", "0.5"), ("Logistic", "0.875", "0", "2"),
    ("Pareto", "0.75", "1", "2"), ("Pareto", "0.3125", "0.5", "2.5"),
    ("Power", "0.5", "2", "3"), ("Power", "0.25", "2", "0.5"),
    ("Rayleigh", "0.5", "1"), ("Rayleigh", "0.9375", "2"),
    ("Triangular", "0.25", "0", "3", "1"), ("Triangular", "0.3125", "0", "3", "1"),
    ("Triangular", "0.375", "0", "3", "1"), ("Triangular", "0.875", "0", "3", "1"),
    ("Uniform", "0.25", "2", "4"),
    ("Weibull", "0.5", "2", "1.5"), ("Weibull", "0.875", "0.5", "2"),
    ("Beta", "0.5", "2", "3"), ("Beta", "0.125", "0.5", "1.5"), ("Beta", "0.09375", "2", "3"),
    ("Beta", "0.046875", "5", "7"), ("Beta", "0.90625", "4", "2.5"), ("Beta", "0.25", "10", "20"),
    ("Beta", "0.015625", "30", "40"),
    ("ChiSquare", "0.5", "3"), ("ChiSquare", "0.9375", "7.5"),
    ("FRatio", "0.5", "5", "10"), ("FRatio", "0.875", "2.5", "4"),
    ("Gamma", "0.5", "2", "3"), ("Gamma", "0.25", "0.5", "1.5"),
    ("StudentT", "0.75", "5"), ("StudentT", "0.0625", "2.5"),
    ("Normal", "0.96875", "0", "1"), ("Normal", "0.5", "0", "1"), ("Normal", "0.0078125", "1", "2"),
    ("Normal", "0.25", "-1", "0.5"), ("Normal", "0.9765625", "0", "1"), ("Normal", "0.001953125", "0", "1"),
    ("Normal", "0.75", "0", "1"), ("Normal", "0.0078125", "0", "1"),
    ("LogNormal", "0.75", "0.5", "0.75"),
]


# Densities for the moments, with the points where they have kinks or ends.
# The double exponentials (Gumbel, Moyal) are cut ten scales left of the
# location, where the density is below exp(-22000).
def moyal_pdf(x, a, b):
    z = (x - a) / b
    return mp.exp(-(z + mp.exp(-z)) / 2) / (b * mp.sqrt(2 * mp.pi))


def error_pdf(x, a, b, c):
    t = abs(x - a)
    return mp.exp(-t ** (2 / c) / (2 * b ** (2 / c))) / (b * 2 ** (c / 2 + 1) * mp.gamma(1 + c / 2))


def triangular_pdf(x, a, b, c):
    if x < a or x > b:
        return mpf(0)
    return 2 * (x - a) / ((b - a) * (c - a)) if x < c else 2 * (b - x) / ((b - a) * (b - c))


INF = mp.inf
DENSITIES = {
    "Beta": (lambda x, a, b: x ** (a - 1) * (1 - x) ** (b - 1) / mp.beta(a, b), lambda a, b: [0, 1]),
    "ChiSquare": (lambda x, nu: x ** (nu / 2 - 1) * mp.exp(-x / 2) / (2 ** (nu / 2) * mp.gamma(nu / 2)),
                  lambda nu: [0, INF]),
    "Error": (error_pdf, lambda a, b, c: [-INF, a, INF]),
    "Exponential": (lambda x, b: mp.exp(-x / b) / b, lambda b: [0, INF]),
    "FRatio": (lambda x, n, m: mp.sqrt((n * x) ** n * m ** m / (n * x + m) ** (n + m)) / (x * mp.beta(n / 2, m / 2)),
               lambda n, m: [0, 1, INF]),
    "Gamma": (lambda x, b, c: x ** (c - 1) * mp.exp(-x / b) / (mp.gamma(c) * b ** c), lambda b, c: [0, INF]),
    "Gumbel": (lambda x, a, b: mp.exp(-((x - a) / b + mp.exp(-(x - a) / b))) / b, lambda a, b: [a - 10 * b, a, INF]),
    "InverseGaussian": (lambda x, mu, lam: mp.sqrt(lam / (2 * mp.pi * x ** 3))
                        * mp.exp(-lam * (x - mu) ** 2 / (2 * mu ** 2 * x)),
                        lambda mu, lam: [0, mu, INF]),
    "Laplace": (lambda x, a, b: mp.exp(-abs(x - a) / b) / (2 * b), lambda a, b: [-INF, a, INF]),
    "Logistic": (lambda x, a, b: mp.exp(-(x - a) / b) / (b * (1 + mp.exp(-(x - a) / b)) ** 2),
                 lambda a, b: [-INF, a, INF]),
    "LogNormal": (lambda x, mu, s: mp.exp(-(mp.log(x) - mu) ** 2 / (2 * s * s)) / (x * s * mp.sqrt(2 * mp.pi)),
                  lambda mu, s: [0, mp.exp(mu), INF]),
    "Maxwell": (lambda x, a: mp.sqrt(2 / mp.pi) * x * x * mp.exp(-x * x / (2 * a * a)) / a ** 3, lambda a: [0, a, INF]),
    "Moyal": (moyal_pdf, lambda a, b: [a - 10 * b, a, INF]),
    "Normal": (lambda x, mu, s: mp.exp(-(x - mu) ** 2 / (2 * s * s)) / (s * mp.sqrt(2 * mp.pi)),
               lambda mu, s: [-INF, mu, INF]),
    "Pareto": (lambda x, a, c: c * a ** c / x ** (c + 1), lambda a, c: [a, INF]),
    "Power": (lambda x, b, c: c * x ** (c - 1) / b ** c, lambda b, c: [0, b]),
    "Rayleigh": (lambda x, b: x / (b * b) * mp.exp(-x * x / (2 * b * b)), lambda b: [0, b, INF]),
    "StudentT": (lambda t, nu: mp.gamma((nu + 1) / 2) / (mp.sqrt(nu * mp.pi) * mp.gamma(nu / 2))
                 * (1 + t * t / nu) ** (-(nu + 1) / 2),
                 lambda nu: [-INF, 0, INF]),
    "Triangular": (triangular_pdf, lambda a, b, c: [a, c, b]),
    "Uniform": (lambda x, a, b: 1 / (b - a), lambda a, b: [a, b]),
    "Weibull": (lambda x, b, c: (c / b) * (x / b) ** (c - 1) * mp.exp(-((x / b) ** c)), lambda b, c: [0, b, INF]),
}

# The conformance suite's parameters (Cauchy has no moments).
MOMENT_ROWS = [
    ("Beta", "2", "3"), ("ChiSquare", "3"), ("Error", "0.5", "1.5", "3"), ("Exponential", "2"), ("FRatio", "5", "20"),
    ("Gamma", "2", "3"), ("Gumbel", "1", "2"), ("InverseGaussian", "1.5", "2"), ("Laplace", "1", "2"),
    ("Logistic", "1", "2"), ("LogNormal", "0.5", "0.5"), ("Maxwell", "2"), ("Moyal", "0.5", "2"), ("Normal", "1", "2"),
    ("Pareto", "1", "5"), ("Power", "2", "3"), ("Rayleigh", "2"), ("StudentT", "5"), ("Triangular", "0", "3", "1"),
    ("Uniform", "2", "4"), ("Weibull", "2", "1.5"),
    ("Bernoulli", "0.25"), ("Binomial", "20", "0.375"), ("DiscreteUniform", "1", "6"), ("Geometric", "0.25"),
    ("Hypergeometric", "20", "8", "5"), ("NegativeBinomial", "3", "0.375"), ("Poisson", "3.5"),
    ("NonCentralBeta", "2", "3", "1"), ("NonCentralChiSquare", "3", "2"), ("NonCentralFRatio", "5", "20", "2"),
    ("NonCentralStudentT", "10", "1"),
]


def moments(family, params):
    pdf, points = DENSITIES[family]
    cuts = points(*params)
    f = lambda x: pdf(x, *params)
    integral = lambda g: mp.quad(g, cuts)
    total = integral(f)
    assert abs(total - 1) < mpf(10) ** -25, (family, total)
    if family in PROBABILITIES:
        x = cuts[1] if len(cuts) > 2 else (cuts[0] + cuts[-1]) / 2
        lower = mp.quad(f, [cuts[0], x])
        assert abs(lower - PROBABILITIES[family](x, *params)) < mpf(10) ** -25, family
    mean = integral(lambda x: x * f(x))
    var = integral(lambda x: (x - mean) ** 2 * f(x))
    fourth = integral(lambda x: (x - mean) ** 4 * f(x))
    return mean, var, fourth / var ** 2


# Masses of the integer-valued families on the conformance suite's
# parameters, with a range of k beyond which the rest is below 1e-45.
MASSES = {
    "Bernoulli": (lambda k, p: 1 - p if k == 0 else p, lambda p: range(0, 2)),
    "Binomial": (lambda k, n, p: mp.binomial(n, k) * p ** k * (1 - p) ** (n - k), lambda n, p: range(0, int(n) + 1)),
    "DiscreteUniform": (lambda k, a, b: 1 / (b - a + 1), lambda a, b: range(int(a), int(b) + 1)),
    "Geometric": (lambda k, p: p * (1 - p) ** k, lambda p: range(0, 600)),
    "Hypergeometric": (lambda k, n, l, m: mp.binomial(m, k) * mp.binomial(n - m, l - k) / mp.binomial(n, l),
                       lambda n, l, m: range(int(max(0, l + m - n)), int(min(l, m)) + 1)),
    "NegativeBinomial": (lambda k, r, p: mp.binomial(k + r - 1, k) * p ** r * (1 - p) ** k, lambda r, p: range(0, 600)),
    "Poisson": (lambda k, lam: mp.exp(k * mp.log(lam) - lam - mp.loggamma(k + 1)), lambda lam: range(0, 200)),
}


def central_moments(raw):
    """Mean, variance and kurtosis from the raw moments E X, ..., E X^4."""
    m1, m2, m3, m4 = raw
    var = m2 - m1 ** 2
    fourth = m4 - 4 * m1 * m3 + 6 * m1 ** 2 * m2 - 3 * m1 ** 4
    return m1, var, fourth / var ** 2


def discrete_moments(family, params):
    mass, support = MASSES[family]
    ks = support(*params)
    total = mp.fsum(mass(mpf(k), *params) for k in ks)
    assert abs(total - 1) < mpf(10) ** -30, (family, total)
    return central_moments([mp.fsum(mpf(k) ** r * mass(mpf(k), *params) for k in ks) for r in range(1, 5)])


def chi2_raw_moments(nu, lam):
    """E X^r, r = 1..4, of the non-central chi-square from its cumulants
    2^(r-1) (r-1)! (nu + r lambda)."""
    k1, k2, k3, k4 = [2 ** (r - 1) * mp.factorial(r - 1) * (nu + r * lam) for r in range(1, 5)]
    return [k1, k2 + k1 ** 2, k3 + 3 * k2 * k1 + k1 ** 3, k4 + 4 * k3 * k1 + 3 * k2 ** 2 + 6 * k2 * k1 ** 2 + k1 ** 4]


def nc_beta_raw_moments(a, b, lam):
    """E X^r of the non-central beta: the Poisson mixture of the beta moments
    prod_{i<r} (a + j + i) / (a + j + b + i)."""
    mu = lam / 2
    out = []
    for r in range(1, 5):
        term = lambda j: mp.exp(j * mp.log(mu) - mu - mp.loggamma(j + 1)) * mp.fprod(
            (a + j + i) / (a + j + b + i) for i in range(r))
        out.append(mp.nsum(term, [0, mp.inf]))
    return out


def nc_t_raw_moments(nu, delta):
    """E T^r = E (Z + delta)^r nu^(r/2) E V^(-r/2), V ~ chi-square(nu)."""
    z = [delta, 1 + delta ** 2, delta ** 3 + 3 * delta, delta ** 4 + 6 * delta ** 2 + 3]
    return [z[r - 1] * nu ** (mpf(r) / 2) * 2 ** (-mpf(r) / 2) * mp.gamma(nu / 2 - mpf(r) / 2) / mp.gamma(nu / 2)
            for r in range(1, 5)]


def nc_f_raw_moments(n1, n2, lam):
    """E F^r = (n2 / n1)^r E X^r E Y^-r, X non-central chi-square, Y ~ chi-square(n2)."""
    x = chi2_raw_moments(n1, lam)
    return [(n2 / n1) ** r * x[r - 1] * 2 ** (-r) * mp.gamma(n2 / 2 - r) / mp.gamma(n2 / 2) for r in range(1, 5)]


NONCENTRAL_MOMENTS = {
    "NonCentralBeta": nc_beta_raw_moments,
    "NonCentralChiSquare": chi2_raw_moments,
    "NonCentralFRatio": nc_f_raw_moments,
    "NonCentralStudentT": nc_t_raw_moments,
}


def noncentral_moments(family, params):
    return central_moments(NONCENTRAL_MOMENTS[family](*params))


def write(path, header, lines):
    with open(path, "w") as out:
        out.write("# generated by tools/gen_distribution_refs.py with mpmath %s at %d digits\n"
                  % (mpmath.__version__, mp.dps))
        out.write(header + "\n")
        for line in lines:
            out.write(line + "\n")


def main():
    data = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "data")
    lines = []
    probabilities = {**PROBABILITIES, **DISCRETE_PROBABILITIES, **NONCENTRAL_PROBABILITIES}
    deviates = {**DEVIATES, **DISCRETE_DEVIATES}
    for op, rows, table in (("Probability", PROBABILITY_ROWS, probabilities), ("Deviate", DEVIATE_ROWS, deviates)):
        for family, *args in rows:
            value = table[family](*[mpf(a) for a in args])
            if family in DISCRETE_DEVIATES and op == "Deviate":
                text = str(int(value))
            else:
                text = mp.nstr(value, DIGITS_OUT, strip_zeros=False, min_fixed=1, max_fixed=0)
            lines.append("Quarn%s%s\t%s\t%s" % (family, op, ",".join(args), text))
    write(os.path.join(data, "distribution_refs.tsv"), "# entry\targuments\tvalue", lines)

    mp.dps = 40
    lines = []
    for family, *args in MOMENT_ROWS:
        params = [mpf(a) for a in args]
        m = discrete_moments(family, params) if family in MASSES else (
            noncentral_moments(family, params) if family in NONCENTRAL_MOMENTS else moments(family, params))
        lines.append("%s\t%s\t%s" % (family, ",".join(args), "\t".join(mp.nstr(v, 20) for v in m)))
    write(os.path.join(data, "distribution_moments.tsv"), "# family\tparameters\tmean\tvariance\tkurtosis", lines)


if __name__ == "__main__":
    main()
