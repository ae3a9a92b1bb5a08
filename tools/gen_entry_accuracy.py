#!/usr/bin/env python3
"""Reference table for tests/stats/distributions/entry_accuracy_test.cpp.

Writes tests/data/entry_accuracy.tsv: for every continuous distribution with a
probability, its lower and upper probabilities, lower and upper deviates and
density (host entries QuarnXProbability, QuarnXUpperProbability,
QuarnXDeviate, QuarnXUpperDeviate, QuarnXDensity) at inputs chosen where
formulas lose digits: small x and levels near 0 and 1 (1 - exp, log(1 - u)),
far tails (exponentials of large arguments, arctangents near -Pi/2),
arguments next to the ends of a support, and levels whose deviate is near 0
for a nonzero location (a location cancelling a scaled quantile).

Every value is computed with mpmath at DPS digits (more than twice the
largest Digits tested, 100, plus a guard) and written to 100 + EXTRA
significant digits; the test checks each row at Digits 10, 15, 30, 50 and
100. The closed forms are their textbook
formulas in mpmath, with the two-argument arctangent for the Cauchy
probability and the cotangent for its deviate. The normal, Student t,
chi-square, gamma, beta and F values come from the independent series,
continued fractions and root finders of tools/gen_numerics_reference.py (the
upper deviates solved on the tail the level is given for, so that 1 - q is
never formed); the densities are the textbook formulas through mpmath's
log-gamma.

Inputs are binary fractions of at most 40 significant bits, written as
hexadecimal floats, so that they convert exactly at every tested Digits.

Row format (tab separated): entry, inputs (comma separated), value.

Usage: python3 tools/gen_entry_accuracy.py [output directory] (default
tests/data relative to the repository root; about two minutes).
"""
import math
import os
import sys

import mpmath
from mpmath import mp, mpf

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import gen_distribution_refs as dref  # noqa: E402
import gen_numerics_reference as ref  # noqa: E402

DIGITS = [10, 15, 30, 50, 100]
DPS = 2 * max(DIGITS) + 40
EXTRA = 20
TINY = 2.0 ** -997
NEAR1 = 1 - 2.0 ** -40
dy = ref.dy


# ------------------------------------------------------------ closed forms

def loc_scale(cdf, sf, quantile, upper_quantile, pdf):
    """The five functions of a location-scale family from those of its
    standard member (t = (x - a) / b)."""
    return {
        "P": lambda x, a, b: cdf((x - a) / b),
        "Q": lambda x, a, b: sf((x - a) / b),
        "D": lambda u, a, b: a + b * quantile(u),
        "UD": lambda q, a, b: a + b * upper_quantile(q),
        "f": lambda x, a, b: pdf((x - a) / b) / b,
    }


def cot_pi(u):
    """cot(Pi u) with u reduced into (-1/2, 1/2] exactly first (0 at 1/2)."""
    if u == mpf(1) / 2:
        return mpf(0)
    return mp.cot(mp.pi * (u - 1 if u > mpf(1) / 2 else u))


def laplace_quantile(u):
    return mp.log(2 * u) if u < mpf(1) / 2 else -mp.log(2 * (1 - u))


def on_support(lo, hi, fn, outside_low, outside_high):
    """fn on [lo, hi], constants outside."""
    return lambda x, *p: outside_low if x < lo(*p) else (outside_high if x > hi(*p) else fn(x, *p))


def pos(fn, below):
    return lambda x, *p: mpf(below) if x < 0 else fn(x, *p)


CLOSED = {
    "Cauchy": loc_scale(lambda t: mp.atan2(1, -t) / mp.pi, lambda t: mp.atan2(1, t) / mp.pi,
                        lambda u: -cot_pi(u), cot_pi, lambda t: 1 / (mp.pi * (1 + t * t))),
    "Gumbel": loc_scale(lambda t: mp.exp(-mp.exp(-t)), lambda t: -mp.expm1(-mp.exp(-t)),
                        lambda u: -mp.log(-mp.log(u)), lambda q: -mp.log(-mp.log1p(-q)),
                        lambda t: mp.exp(-t - mp.exp(-t))),
    "Laplace": loc_scale(lambda t: mp.exp(t) / 2 if t < 0 else 1 - mp.exp(-t) / 2,
                         lambda t: 1 - mp.exp(t) / 2 if t < 0 else mp.exp(-t) / 2,
                         laplace_quantile, lambda q: -laplace_quantile(q), lambda t: mp.exp(-abs(t)) / 2),
    "Logistic": loc_scale(lambda t: 1 / (1 + mp.exp(-t)), lambda t: 1 / (1 + mp.exp(t)),
                          lambda u: mp.log(u / (1 - u)), lambda q: -mp.log(q / (1 - q)),
                          lambda t: mp.exp(-abs(t)) / (1 + mp.exp(-abs(t))) ** 2),
    "Exponential": {
        "P": pos(lambda x, b: -mp.expm1(-x / b), 0), "Q": pos(lambda x, b: mp.exp(-x / b), 1),
        "D": lambda u, b: -b * mp.log1p(-u), "UD": lambda q, b: -b * mp.log(q),
        "f": pos(lambda x, b: mp.exp(-x / b) / b, 0),
    },
    "Rayleigh": {
        "P": pos(lambda x, b: -mp.expm1(-x * x / (2 * b * b)), 0),
        "Q": pos(lambda x, b: mp.exp(-x * x / (2 * b * b)), 1),
        "D": lambda u, b: b * mp.sqrt(-2 * mp.log1p(-u)), "UD": lambda q, b: b * mp.sqrt(-2 * mp.log(q)),
        "f": pos(lambda x, b: x / (b * b) * mp.exp(-x * x / (2 * b * b)), 0),
    },
    "Weibull": {
        "P": pos(lambda x, b, c: -mp.expm1(-(x / b) ** c), 0), "Q": pos(lambda x, b, c: mp.exp(-(x / b) ** c), 1),
        "D": lambda u, b, c: b * (-mp.log1p(-u)) ** (1 / c), "UD": lambda q, b, c: b * (-mp.log(q)) ** (1 / c),
        "f": pos(lambda x, b, c: c / b * (x / b) ** (c - 1) * mp.exp(-(x / b) ** c), 0),
    },
    "Pareto": {
        "P": lambda x, a, c: mpf(0) if x < a else -mp.expm1(-c * mp.log(x / a)),
        "Q": lambda x, a, c: mpf(1) if x < a else (a / x) ** c,
        "D": lambda u, a, c: a * mp.exp(-mp.log1p(-u) / c), "UD": lambda q, a, c: a * q ** (-1 / c),
        "f": lambda x, a, c: mpf(0) if x < a else c / x * (a / x) ** c,
    },
    "Power": {
        "P": on_support(lambda b, c: 0, lambda b, c: b, lambda x, b, c: (x / b) ** c, mpf(0), mpf(1)),
        "Q": on_support(lambda b, c: 0, lambda b, c: b, lambda x, b, c: -mp.expm1(c * mp.log(x / b)), mpf(1), mpf(0)),
        "D": lambda u, b, c: b * u ** (1 / c), "UD": lambda q, b, c: b * mp.exp(mp.log1p(-q) / c),
        "f": on_support(lambda b, c: 0, lambda b, c: b, lambda x, b, c: c / b * (x / b) ** (c - 1), mpf(0), mpf(0)),
    },
    "Uniform": {
        "P": lambda x, a, b: mpf(0) if x <= a else (mpf(1) if x >= b else (x - a) / (b - a)),
        "Q": lambda x, a, b: mpf(1) if x <= a else (mpf(0) if x >= b else (b - x) / (b - a)),
        "D": lambda u, a, b: a + u * (b - a), "UD": lambda q, a, b: b - q * (b - a),
        "f": lambda x, a, b: mpf(0) if x < a or x > b else 1 / (b - a),
    },
    "Triangular": {
        "P": dref.triangular_cdf, "Q": lambda x, a, b, c: 1 - dref.triangular_cdf(x, a, b, c),
        "D": dref.triangular_quantile,
        # P(X > x) = q is the lower quantile of the mirrored law at q, mirrored.
        "UD": lambda q, a, b, c: -dref.triangular_quantile(q, -b, -a, -c),
        "f": dref.triangular_pdf,
    },
}


# ------------------------------------------------------- routine families

def normal_pdf(z):
    return mp.exp(-z * z / 2) / mp.sqrt(2 * mp.pi)


def gamma_pdf(x, shape, scale):
    if x == 0:
        return mpf("inf") if shape < 1 else (1 / scale if shape == 1 else mpf(0))
    return mp.exp((shape - 1) * mp.log(x) - x / scale - mp.loggamma(shape) - shape * mp.log(scale))


def beta_pdf(x, a, b):
    return mp.exp((a - 1) * mp.log(x) + (b - 1) * mp.log1p(-x) - ref.log_beta(a, b))


def f_pdf(f, n, m):
    s = n * f + m
    x, y = n * f / s, m / s
    return mp.exp((n / 2 - 1) * mp.log(x) + (m / 2 + 1) * mp.log(y) - ref.log_beta(n / 2, m / 2)) * n / m


def t_pdf(t, nu):
    return mp.exp(mp.loggamma((nu + 1) / 2) - mp.loggamma(nu / 2) - (nu + 1) / 2 * mp.log1p(t * t / nu)) \
        / mp.sqrt(nu * mp.pi)


def gamma_deviate(shape, level, upper, scale):
    """g with P(G > g) = level (upper) or P(G <= g) = level, solved on the
    smaller of the two tails, the other formed exactly."""
    if level > mpf(1) / 2:
        level, upper = 1 - level, not upper
    tail = lambda w: ref.gamma_tail(shape, mp.exp(w), upper)
    log_density = lambda w: shape * w - mp.exp(w) - mp.loggamma(shape)
    span = 50 + 20 * abs(mp.log(level)) / shape + abs(mp.log(shape))
    return ref.solve(tail, log_density, lambda w: scale * mp.exp(w), level, -span,
                     20 + mp.log(shape + 1) + abs(mp.log(level)), not upper)


def beta_deviate(level, a, b, upper, to_x):
    """x with P(B <= x) = level (or P(B > x) = level when upper) for
    B ~ Beta(a, b), to_x mapping logit x to the result."""
    if upper:
        # P(B > x) = P(1 - B < 1 - x), and 1 - B ~ Beta(b, a) with logit -w.
        return beta_deviate(level, b, a, False, lambda w: to_x(-w))
    return ref.deviate_beta(level, a, b, to_x)


def logistic(w):
    return 1 / (1 + mp.exp(-w))


ROUTINES = {
    "Normal": {
        "P": lambda x, mu, s: ref.normal_lower((x - mu) / s), "Q": lambda x, mu, s: ref.normal_upper((x - mu) / s),
        "D": lambda u, mu, s: mu + s * ref.deviate_normal("L", u), "UD": lambda q, mu, s: mu + s * ref.deviate_normal("U", q),
        "f": lambda x, mu, s: normal_pdf((x - mu) / s) / s,
    },
    "LogNormal": {
        "P": lambda x, mu, s: ref.normal_lower((mp.log(x) - mu) / s),
        "Q": lambda x, mu, s: ref.normal_upper((mp.log(x) - mu) / s),
        "D": lambda u, mu, s: mp.exp(mu + s * ref.deviate_normal("L", u)),
        "UD": lambda q, mu, s: mp.exp(mu + s * ref.deviate_normal("U", q)),
        "f": lambda x, mu, s: normal_pdf((mp.log(x) - mu) / s) / (s * x),
    },
    "StudentT": {
        "P": lambda t, nu: ref.t_tail("L", t, nu), "Q": lambda t, nu: ref.t_tail("U", t, nu),
        "D": lambda u, nu: ref.deviate_t("L", u, nu), "UD": lambda q, nu: ref.deviate_t("U", q, nu),
        "f": t_pdf,
    },
    "ChiSquare": {
        "P": lambda x, nu: ref.gamma_tail(nu / 2, x / 2, False), "Q": lambda x, nu: ref.gamma_tail(nu / 2, x / 2, True),
        "D": lambda u, nu: gamma_deviate(nu / 2, u, False, 2), "UD": lambda q, nu: gamma_deviate(nu / 2, q, True, 2),
        "f": lambda x, nu: gamma_pdf(x, nu / 2, 2),
    },
    "Gamma": {
        "P": lambda x, b, c: ref.gamma_tail(c, x / b, False), "Q": lambda x, b, c: ref.gamma_tail(c, x / b, True),
        "D": lambda u, b, c: gamma_deviate(c, u, False, b), "UD": lambda q, b, c: gamma_deviate(c, q, True, b),
        "f": lambda x, b, c: gamma_pdf(x, c, b),
    },
    "Beta": {
        "P": lambda x, a, b: ref.beta_tail(a, b, x, 1 - x, False), "Q": lambda x, a, b: ref.beta_tail(a, b, x, 1 - x, True),
        "D": lambda u, a, b: beta_deviate(u, a, b, False, logistic),
        "UD": lambda q, a, b: beta_deviate(q, a, b, True, logistic),
        "f": beta_pdf,
    },
    "FRatio": {
        "P": lambda f, n, m: ref.f_tail("L", f, n, m), "Q": lambda f, n, m: ref.f_tail("U", f, n, m),
        "D": lambda u, n, m: beta_deviate(u, n / 2, m / 2, False, lambda w: m / n * mp.exp(w)),
        "UD": lambda q, n, m: beta_deviate(q, n / 2, m / 2, True, lambda w: m / n * mp.exp(w)),
        "f": f_pdf,
    },
}
FUNCTIONS = dict(CLOSED, **ROUTINES)

# ------------------------------------------------------------------ inputs

LEVELS = [TINY, 1e-100, 1e-10, 0.025, 0.3, 0.5, 0.5 + 2.0 ** -20, 0.9, 0.975, NEAR1]
FEW_LEVELS = [TINY, 1e-10, 0.3, 0.5 + 2.0 ** -30, 0.9, NEAR1]


def scaled(scale, multipliers):
    return [scale * m for m in multipliers]


def located(a, b, ts):
    return [a + b * t for t in ts]


def cases():
    """family -> [(parameters, xs, levels)]; levels serve both deviates."""
    out = {}
    loc_t = {
        "Cauchy": [-1e300, -1e30, -1e6, -37.5, -1.0, -(2.0 ** -30), 0.75, 8.0, 1e10],
        "Gumbel": [-15.0, -6.0, -3.0, -1.0, -(2.0 ** -20), 0.5, 5.0, 40.0, 700.0],
        "Laplace": [-700.0, -30.0, -1.0, -(2.0 ** -30), 2.0 ** -30, 1.0, 30.0, 700.0],
        "Logistic": [-700.0, -30.0, -1.0, 2.0 ** -30, 1.0, 30.0, 700.0],
    }
    # The level whose deviate a + b Q(u) is 0: a nonzero location cancels.
    zero_level = {
        "Cauchy": lambda a, b: 0.5 - math.atan(a / b) / math.pi,
        "Gumbel": lambda a, b: math.exp(-math.exp(a / b)),
        "Laplace": lambda a, b: 0.5 * math.exp(-a / b),
        "Logistic": lambda a, b: 1 / (1 + math.exp(a / b)),
    }
    for fam, ts in loc_t.items():
        rows = []
        for a, b in [(0.0, 1.0), (1.0, 2.0), (-3.0, 0.5)]:
            levels = LEVELS + [zero_level[fam](a, b)] if a != 0 else LEVELS
            if fam == "Gumbel":
                levels = levels + [math.exp(-1.0)]
            rows.append(((a, b), located(a, b, ts), levels))
        out[fam] = rows
    out["Exponential"] = [((b,), [-1.0] + scaled(b, [2.0 ** -30, 1e-5, 0.3, 1.5, 20.0, 700.0, 5e4]), LEVELS)
                          for b in (2.0, 2.0 ** -10, 1e5)]
    out["Rayleigh"] = [((b,), [-1.0] + scaled(b, [2.0 ** -30, 1e-5, 0.5, 1.0, 3.0, 40.0, 400.0]), LEVELS)
                       for b in (1.0, 2.0 ** -10, 300.0)]
    out["Weibull"] = [((b, c), [-1.0] + scaled(b, [2.0 ** -30, 1e-5, 0.3, 1.0, 1.5, 4.0, top]), FEW_LEVELS)
                      for b, c, top in ((2.0, 1.5, 30.0), (0.5, 0.25, 1e4), (1.0, 8.0, 10.0))]
    # A large shape: (x / b)^c grows fast, so x stays near b.
    out["Weibull"].append(((3.0, 200.0), scaled(3.0, [2.0 ** -30, 0.5, 0.99, 1.0, 1.01, 1.05]), FEW_LEVELS))
    out["Pareto"] = [((a, c), scaled(a, [0.5, 1 + 2.0 ** -30, 1 + 1e-5, 1.25, 3.0, 1e3, 1e30]), FEW_LEVELS)
                     for a, c in ((1.0, 2.0), (0.5, 2.5), (3.0, 2.0 ** -10), (2.0, 50.0))]
    out["Power"] = [((b, c), [-1.0] + scaled(b, [2.0 ** -30, 1e-5, 0.5, 0.9, 1 - 2.0 ** -30, 1 - 1e-5, 1.0, 1.5]),
                     FEW_LEVELS)
                    for b, c in ((2.0, 3.0), (2.0, 0.5), (1.0, 100.0), (5.0, 2.0 ** -10))]
    out["Uniform"] = [((a, b), [a - 1] + [a + (b - a) * m for m in (2.0 ** -30, 0.25, 0.5 + 2.0 ** -30, 1 - 2.0 ** -30)]
                       + [b + 1], [TINY, 0.25, 0.25 + 2.0 ** -30, 0.5, 0.75 - 2.0 ** -30, NEAR1])
                      for a, b in ((2.0, 4.0), (-1.0, 3.0), (-1e-3, 1e5))]
    tri = []
    for a, b, c in ((0.0, 3.0, 1.0), (-1.0, 2.0, -1.0 + 2.0 ** -20), (1.0, 5.0, 4.999), (-2.0, 1.0, 0.25)):
        xs = [a - 1, a + 2.0 ** -30, (a + c) / 2, c - 2.0 ** -30, c, c + 2.0 ** -30, (c + b) / 2, b - 2.0 ** -30, b + 1]
        split = (c - a) / (b - a)
        # For (-2, 1, 0.25) a level of 2/3 puts the deviate at 0.
        tri.append(((a, b, c), xs, [TINY, 1e-10, split - 2.0 ** -30, split, 0.5, 2 / 3, 0.9, NEAR1]))
    out["Triangular"] = tri
    out["Normal"] = [((mu, s), sorted(set([mu + s * z for z in (-37.7, -20.0, -3.25, -1e-5, 0.5, 6.25, 37.5)]
                                          + ([-101.1413] if mu == 10 else []))),
                      LEVELS + ([0.5 * math.erfc(mu / s / math.sqrt(2))] if mu != 0 else []))
                     for mu, s in ((0.0, 1.0), (10.0, 3.0), (-2.0, 0.5))]
    out["LogNormal"] = [((mu, s), [math.exp(mu + s * z) for z in (-30.0, -5.0, -1.0, 0.3, 4.0, 30.0)], LEVELS)
                        for mu, s in ((0.0, 1.0), (0.5, 0.75))]
    out["StudentT"] = [((nu,), [-1e10, -37.0, -2.5, -(2.0 ** -20), 0.85, 12.5, 1e5], FEW_LEVELS)
                       for nu in (5.0, 0.5, 1e6)]
    out["ChiSquare"] = [((nu,), [2.0 ** -100, 1e-5, 0.5, 3.5, 30.0, 1050.0, 1500.0], FEW_LEVELS)
                        for nu in (3.0, 2.0 ** -10, 1000.0)]
    out["Gamma"] = [((b, c), scaled(b, [2.0 ** -100, 1e-5, 0.5, 2.5, 30.0, 480.0, 560.0]), FEW_LEVELS)
                    for b, c in ((2.0, 3.0), (0.5, 1.5), (1.0, 500.0))]
    out["Beta"] = [((a, b), [1e-300, 1e-5, 0.25, 0.5, 0.9, 1 - 2.0 ** -30], FEW_LEVELS)
                   for a, b in ((2.0, 3.0), (0.5, 0.5), (1000.0, 1000.0))]
    out["FRatio"] = [((n, m), [1e-200, 1e-3, 0.5, 1.25, 4.0, 1e10], FEW_LEVELS)
                     for n, m in ((5.0, 10.0), (2.5, 4.0), (1000.0, 1000.0))]
    return out


ENTRIES = [("P", "Probability"), ("Q", "UpperProbability"), ("f", "Density"), ("D", "Deviate"),
           ("UD", "UpperDeviate")]


def fmt(v, digits):
    if v == 0:
        return "0"
    if mp.isinf(v):
        return "inf"
    return mp.nstr(v, digits + EXTRA, strip_zeros=False, min_fixed=1, max_fixed=0)


def main():
    out_dir = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "..", "tests", "data")
    mp.dps = DPS
    rows = []
    for family, groups in cases().items():
        fns = FUNCTIONS[family]
        for params, xs, levels in groups:
            params = tuple(dy(p) for p in params)
            for key, op in ENTRIES:
                inputs = levels if key in ("D", "UD") else xs
                for v in sorted(set(dy(x) for x in inputs)):
                    if key in ("D", "UD") and not 0 < v < 1:
                        continue
                    value = fns[key](*(mpf(z) for z in (v,) + params))
                    rows.append(("Quarn%s%s" % (family, op), (v,) + params, value))
        print("%s: %d rows so far" % (family, len(rows)), file=sys.stderr)
    path = os.path.join(out_dir, "entry_accuracy.tsv")
    with open(path, "w") as out:
        out.write("# generated by tools/gen_entry_accuracy.py with mpmath %s at %d digits\n" % (mpmath.__version__, DPS))
        out.write("# entry\tinputs\tvalue\n")
        for entry, inputs, value in rows:
            out.write("%s\t%s\t%s\n" % (entry, ",".join(float(z).hex() for z in inputs), fmt(value, max(DIGITS))))


if __name__ == "__main__":
    main()
