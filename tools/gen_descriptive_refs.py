#!/usr/bin/env python3
"""Reference values for the descriptive statistics entries (tests/stats/descriptive).

Writes tests/data/descriptive_refs.tsv: one row per call, the shell expression
of the call, the expected value (a number, or [a, b, ...] for a list or a
vector; u is the undefined float) to 60 significant digits, and the
tolerance in units of the last place at the working precision.

Every data value is a short binary fraction, so that it converts exactly at
any Digits and the exact statistic of the exact data is the reference. Each
statistic is computed here from its definition in exact rational arithmetic
(fractions), with mpmath at 120 digits only for the final log, exp and sqrt
of the geometric and quadratic means and the standard deviation; nothing
comes from the library.

Usage: python3 tools/gen_descriptive_refs.py
"""
import os
import random
from fractions import Fraction as Q

import mpmath
from mpmath import mp, mpf

mp.dps = 120
OUT_DIGITS = 60
U = None  # the undefined float


def mp_of(v):
    """A fraction as an mpmath number."""
    return mpf(v.numerator) / v.denominator if isinstance(v, Q) else mpf(v)


def num(v):
    if v is None:
        return "u"
    return mpmath.nstr(mp_of(v), OUT_DIGITS, min_fixed=1, max_fixed=0) if v != 0 else "0"


def shell(v):
    """A data value as the shell writes it."""
    if v is None:
        return "undefined"
    if v.denominator == 1:
        return str(v.numerator)
    return repr(float(v))  # short binary fractions print exactly


def vec(values):
    return "Vector([" + ", ".join(shell(v) for v in values) + "])"


def as_list(values):
    return "[" + ", ".join(num(v) for v in values) + "]"


ROWS = []


DIGITS = (15, 30, 50)  # the Digits the test runs at


def row(expr, expected, ulps, digits="*"):
    """A call, its expected value and tolerance, at one Digits or (*) all."""
    ROWS.append((digits, expr, expected if isinstance(expected, str) else num(expected), ulps))


# ------------------------------------------------------------ definitions

def mean(x, w, kind):
    if any(v is None for v in x) or (w and any(v is None for v in w)):
        return U
    n = len(x)
    W = sum(w) if w else Q(n)
    w = w or [Q(1)] * n
    if kind == 1:
        return mp.exp(sum(mp_of(wi) * mp.log(mp_of(xi)) for xi, wi in zip(x, w)) / mp_of(W))
    if kind == 2:
        return W / sum(wi / xi for xi, wi in zip(x, w))
    if kind == 3:
        return mp.sqrt(mp_of(sum(wi * xi * xi for xi, wi in zip(x, w)) / W))
    return sum(wi * xi for xi, wi in zip(x, w)) / W


def drop_missing(x, w=None):
    if w is None:
        return [v for v in x if v is not None], None
    pairs = [(a, b) for a, b in zip(x, w) if a is not None and b is not None]
    return [a for a, _ in pairs], [b for _, b in pairs]


def key(v):
    return (1, 0) if v is None else (0, v)


def method_params(m):
    table = {1: (0, 0, 1, 0), 2: (Q(1, 2), 0, 0, 0), 3: (0, 0, 0, 1), 4: (Q(1, 2), 0, 0, 1),
             5: (0, 1, 0, 1), 6: (1, -1, 0, 1), 7: (Q(1, 3), Q(1, 3), 0, 1), 8: (Q(3, 8), Q(1, 4), 0, 1)}
    return [Q(v) for v in table.get(m, table[1])]


def floor(q):
    return q.numerator // q.denominator


def ceil(q):
    return -((-q.numerator) // q.denominator)


def quantile(x, w, p, m):
    """The quantile of level p by method m: h = a + (n + b) p locates it
    among the order statistics (weighted: by cumulative weight), and the
    result interpolates with weight c + d (h - floor(h))."""
    a, b, c, d = method_params(m)
    s = sorted(range(len(x)), key=lambda i: key(x[i]))
    xs = [x[i] for i in s]
    n = len(xs)

    def interp(lo, hi, h):
        if lo is None or hi is None:
            return U
        return lo + (hi - lo) * (c + d * (h - floor(h)))

    if w is None:
        h = (n + b) * p + a
        lo = min(max(floor(h) - 1, 0), n - 1)
        hi = max(ceil(h) - 1, 0)
        if hi == lo or lo == n - 1:
            return xs[lo]
        return interp(xs[lo], xs[lo + 1], h)
    ws = [w[i] for i in s]
    W = sum(ws)
    h = a + (W + b) * p
    cum, i = Q(0), 0
    while i < n:
        cum += ws[i]
        if cum > h:
            break
        i += 1
    k = max(i - 1, 0)
    return interp(xs[k], xs[k + 1] if k + 1 <= n - 1 else xs[k], h)


def levels_text(levels):
    return "[" + ", ".join(shell(p) for p in levels) + "]"


def on_cumulative_weight(w, p):
    """Whether method 7's h = 1/3 + (W + 1/3) p equals a partial sum of w
    (in any order: the partial sums of the sorted weights are among them)."""
    h = Q(1, 3) + (sum(w) + Q(1, 3)) * p
    return h.denominator <= 4


def median(x, w):
    if w is not None:
        return quantile(x, w, Q(1, 2), 1)
    xs = sorted(x, key=key)
    n = len(xs)
    if n % 2:
        return xs[(n - 1) // 2]
    lo, hi = xs[n // 2 - 1], xs[n // 2]
    return U if lo is None or hi is None else (lo + hi) / 2


# ---------------------------------------------------------------- cases

def means_and_moments(rng):
    x = [Q(1), Q(2), Q(4)]
    for kind in range(4):
        row(f"QuarnMean({vec(x)}, Vector([]), false, {kind})", mean(x, None, kind), 1)
    for n in (1, 2, 7, 40):
        x = [Q(rng.randint(1, 4000), 64) for _ in range(n)]
        w = [Q(rng.randint(0, 12), 4) for _ in range(n)]
        w[0] += 1
        for kind in range(5):
            row(f"QuarnMean({vec(x)}, Vector([]), true, {kind})", mean(x, None, kind), 1)
            row(f"QuarnMean({vec(x)}, {vec(w)}, false, {kind})", mean(x, w, kind), 1)
        c = Q(rng.randint(-200, 200), 8)
        orders = [1, 2, 3, 4, 7]
        moments = [sum((xi - c) ** k for xi in x) / n for k in orders]
        row(f"QuarnMoment({vec(x)}, {orders}, {shell(c)}, Vector([]), false)", as_list(moments), 1)
        wmoments = [sum(wi * (xi - c) ** k for xi, wi in zip(x, w)) / sum(w) for k in orders]
        row(f"QuarnMoment({vec(x)}, {orders}, {shell(c)}, {vec(w)}, false)", as_list(wmoments), 1)
        row(f"QuarnMoment({vec(x)}, -2, {shell(c)}, Vector([]), false)",
            sum((xi - c) ** -2 for xi in x) / n if c not in x else "skip", 1)
        row(f"QuarnAbsoluteDeviation({vec(x)}, {shell(c)}, {vec(w)}, false)",
            sum(wi * abs(xi - c) for xi, wi in zip(x, w)) / sum(w), 1)
        row(f"QuarnExpectedValue(t -> t^2 - 3*t, {vec(x)}, Vector([]), false)",
            sum(xi * xi - 3 * xi for xi in x) / n, 2)
    # Missing data: dropped with ignore on, propagating with it off.
    x, w = [Q(3), U, Q(5, 2), Q(7)], [Q(1), Q(2), U, Q(1, 2)]
    kept_x, kept_w = drop_missing(x, w)
    row(f"QuarnMean({vec(x)}, {vec(w)}, true, 0)", mean(kept_x, kept_w, 0), 1)
    row(f"QuarnMean({vec(x)}, {vec(w)}, false, 0)", "u", 0)
    row(f"QuarnMoment({vec(x)}, [2], 1, Vector([]), true)", as_list([sum((v - 1) ** 2 for v in drop_missing(x)[0]) / 3]), 1)


def covariance_and_counts(rng):
    for n, weighted, ignore in ((5, False, 0), (6, True, 0), (8, True, 1), (3, False, 1)):
        x = [Q(rng.randint(-300, 300), 16) for _ in range(n)]
        y = [Q(rng.randint(-300, 300), 8) for _ in range(n)]
        w = [Q(rng.randint(1, 9), 2) for _ in range(n)] if weighted else []
        if ignore:
            y[1] = U
        used = [i for i in range(n) if not (ignore and (x[i] is None or y[i] is None))]
        ww = [w[i] if weighted else Q(1) for i in used]
        W = sum(ww)
        mx = sum(x[i] * wi for i, wi in zip(used, ww)) / W
        my = sum(y[i] * wi for i, wi in zip(used, ww)) / W
        sxy = sum((x[i] - mx) * (y[i] - my) * wi for i, wi in zip(used, ww))
        sxx = sum((x[i] - mx) ** 2 * wi for i, wi in zip(used, ww))
        syy = sum((y[i] - my) ** 2 * wi for i, wi in zip(used, ww))
        row(f"QuarnCovariance({vec(x)}, {vec(y)}, {vec(w)}, {ignore})", as_list([sxy, sxx, syy, W]), 1)
    x, w = [Q(1), U, Q(3), U, Q(5)], [Q(1, 2), Q(2), Q(3), U, Q(1, 4)]
    row(f"QuarnCount({vec(x)}, Vector([]), 0)", Q(5), 0)
    row(f"QuarnCount({vec(x)}, Vector([]), 1)", Q(3), 0)
    row(f"QuarnCount({vec(x)}, {vec(w)}, 1)", Q(1, 2) + 3 + Q(1, 4), 0)
    row(f"QuarnCountMissing({vec(x)}, Vector([]))", Q(2), 0)
    row(f"QuarnCountMissing({vec(x)}, {vec(w)})", Q(2), 0)
    x, w = [Q(3, 2), Q(-2), Q(5, 4), Q(4)], [Q(2), Q(1, 2), Q(3), Q(1)]
    for product in (0, 1):
        for weights in ([], w):
            out, acc = [], None
            for i, xi in enumerate(x):
                t = xi * weights[i] if weights else xi
                acc = t if acc is None else (acc * t if product else acc + t)
                out.append(acc)
            row(f"QuarnCumulative({vec(x)}, {vec(weights)}, Vector([]), {product})", as_list(out), 0)


def order_statistics(rng):
    levels = [Q(0), Q(1, 8), Q(1, 4), Q(3, 8), Q(1, 2), Q(5, 8), Q(7, 8), Q(1)]
    for n in (1, 2, 5, 10, 13, 100, 257):
        x = [Q(rng.randint(-40, 40), 4) for _ in range(n)]
        if n > 4:
            x[3] = x[1]  # a tie
        w = [Q(rng.randint(1, 9), 4) for _ in range(n)]
        for m in range(1, 9):
            # Method 7's 1/3 is rounded in the library: h then differs from
            # the exact one by an ulp, which moves the result continuously
            # (a few ulps) except where the weighted walk compares h with a
            # cumulative weight equal to it; such levels are left out.
            exact = [quantile(x, None, p, m) for p in levels]
            row(f"QuarnQuantile({vec(x)}, {levels_text(levels)}, Vector([]), false, {m}, false)", as_list(exact), 8)
            fair = [p for p in levels if m != 7 or not on_cumulative_weight(w, p)]
            weighted = [quantile(x, w, p, m) for p in fair]
            row(f"QuarnQuantile({vec(x)}, {levels_text(fair)}, {vec(w)}, false, {m}, false)", as_list(weighted), 8)
        row(f"QuarnMedian({vec(x)}, Vector([]), false, false)", median(x, None), 1)
        row(f"QuarnMedian({vec(x)}, {vec(w)}, false, true)", median(x, w), 1)
        m0 = median(x, None)
        row(f"QuarnMedianDeviation({vec(x)}, Vector([]), false)", median([abs(v - m0) for v in x], None), 1)
        mw = median(x, w)
        row(f"QuarnMedianDeviation({vec(x)}, {vec(w)}, false)", median([abs(v - mw) for v in x], w), 1)
        idx = [1, n, -1, (n + 1) // 2, 1, -n]
        xs = sorted(x)
        row(f"QuarnOrderStatistic({vec(x)}, {idx}, 0, false)", as_list([xs[k - 1] if k > 0 else xs[n + k] for k in idx]), 0)
    # Long samples with missing values: dropped, or kept as the largest
    # (in place, on the sample's own array).
    x = [U if i % 17 == 3 else Q(rng.randint(-900, 900), 8) for i in range(120)]
    kept = [v for v in x if v is not None]
    row(f"QuarnQuantile({vec(x)}, {levels_text(levels)}, Vector([]), true, 5, false)",
        as_list([quantile(kept, None, p, 5) for p in levels]), 8)
    row(f"QuarnMedian({vec(x)}, Vector([]), false, true)", median(x, None), 1)
    row(f"QuarnOrderStatistic({vec(x)}, [1, -1, 60, -9], 0, true)",
        as_list([sorted(kept)[k - 1] if k > 0 else sorted(kept)[len(kept) + k] for k in (1, -1, 60, -9)]), 0)
    row(f"QuarnQuantile({vec(x)}, [0.25, 0.75], Vector([]), false, 1, true)",
        as_list([quantile(x, None, p, 1) for p in (Q(1, 4), Q(3, 4))]), 1)
    x = [Q(2), U, Q(1), Q(3)]
    row(f"QuarnMedian({vec(x)}, Vector([]), false, false)", Q(5, 2), 0)
    row(f"QuarnMedian({vec(x)}, Vector([]), true, false)", Q(2), 0)
    row(f"QuarnQuantile({vec(x)}, 0.5, Vector([]), true, 4, false)", quantile([Q(2), Q(1), Q(3)], None, Q(1, 2), 4), 1)
    row(f"QuarnOrderStatistic({vec(x)}, [-1], 0, false)", "[u]", 0)
    row("QuarnQuantile(Vector([]), [0.5, 0.25], Vector([]), false, 1, false)", "[u, u]", 0)


def greater(a, b):
    """a after b: an undefined a after any number, numbers by value."""
    if a is None:
        return b is not None
    return b is not None and a > b


def select(keys, base, n, k):
    """Hoare's selection of the k-th smallest of keys[base .. base+n-1] in
    place, with the median-of-three pivot and the final two-element fix-up
    of the library's selection, so that the layout it leaves is known."""
    a = keys
    l, h = base, base + n - 1
    k += base
    while h > l + 1:
        m = (l + h) // 2
        a[m], a[l + 1] = a[l + 1], a[m]
        if greater(a[l], a[h]):
            a[l], a[h] = a[h], a[l]
        if greater(a[l + 1], a[h]):
            a[l + 1], a[h] = a[h], a[l + 1]
        if greater(a[l], a[l + 1]):
            a[l], a[l + 1] = a[l + 1], a[l]
        pivot, i, j = a[l + 1], l + 1, h
        while True:
            i += 1
            while greater(pivot, a[i]):
                i += 1
            j -= 1
            while greater(a[j], pivot):
                j -= 1
            if j < i:
                break
            a[i], a[j] = a[j], a[i]
        a[l + 1], a[j] = a[j], pivot
        if j >= k:
            h = j - 1
        if j <= k:
            l = i
    if h == l + 1 and a[h] is not None and (a[l] is None or a[h] < a[l]):
        a[l], a[h] = a[h], a[l]
    return a[k]


def bits(digits):
    return -(-digits * 3321928094887362347 // 10 ** 18) + 8  # ceil(D log2 10) + 8


def rounded(q, prec):
    """q rounded to nearest at prec bits, as a fraction."""
    with mpmath.workprec(prec):
        v = mpf(q.numerator) / q.denominator  # one rounding of the quotient
    sign, man, exp, _ = v._mpf_
    return (-1) ** sign * int(man) * Q(2) ** int(exp)


def fraction(pct, prec):
    # percentile * 0.01, with 0.01 the double nearest it
    return rounded(pct * Q(0.01), prec)


def trimmed_and_winsorized(rng):
    for n in (10, 11, 17, 150):
        x = [Q(rng.randint(-500, 500), 8) for _ in range(n)]
        w = [Q(rng.randint(1, 9), 2) for _ in range(n)]
        for lo_pct, hi_pct in ((10, 90), (10, 80), (0, 100), (25, 75), (5, 60), (30, 30)):
            for digits in DIGITS:
                prec = bits(digits)
                lower, upper = fraction(lo_pct, prec), fraction(hi_pct, prec)
                lo = floor(rounded(rounded(lower * n, prec) + Q(1, 2), prec))
                hi = floor(rounded(rounded(upper * n, prec) + Q(1, 2), prec))
                a = list(x)
                if lo < n:
                    select(a, 0, n, lo)
                if lo < hi < n:
                    select(a, lo, n - lo, hi - lo)
                symmetric = n - hi == lo
                count = hi - lo if symmetric else hi - lo - 1
                part = a[lo:lo + count]
                if part:
                    row(f"QuarnTrimmedMean({vec(x)}, {lo_pct}, {hi_pct}, Vector([]), false, 0)", sum(part) / len(part),
                        1, digits)
                top = hi if symmetric else hi - 1
                if n > 0 and lo < n:
                    a[:lo] = [a[lo]] * lo
                if 1 <= top <= n:
                    a[top:] = [a[top - 1]] * (n - top)
                row(f"QuarnWinsorizedMean({vec(x)}, {lo_pct}, {hi_pct}, Vector([]), false, 0)", sum(a) / n, 1, digits)
                # Weighted: the weight between the cuts L and U is kept
                # (trimmed), or the points beyond the first crossing of each
                # cut are clamped (winsorized). The cuts are rounded as the
                # library forms them; the rest is exact for these data.
                order = sorted(range(n), key=lambda i: x[i])
                px, pw = [x[i] for i in order], [w[i] for i in order]
                W = sum(pw)
                L = rounded(lower * W, prec)
                Uc = rounded(W - rounded(rounded(1 - upper, prec) * W, prec), prec)
                kept, below = [], Q(0)
                for xi, wi in zip(px, pw):
                    lo_w, hi_w = max(below, L), min(below + wi, Uc)
                    if hi_w > lo_w:
                        kept.append((xi, hi_w - lo_w))
                    below += wi
                if kept:
                    row(f"QuarnTrimmedMean({vec(x)}, {lo_pct}, {hi_pct}, {vec(w)}, false, 0)",
                        sum(p * q for p, q in kept) / sum(q for _, q in kept), 1, digits)
                cx, cum = list(px), Q(0)
                for i in range(n):
                    cum += pw[i]
                    if cum > L:
                        cx[:i] = [px[i]] * i
                        break
                rem = W
                for i in range(n - 1, -1, -1):
                    rem -= pw[i]
                    if rem < Uc:
                        cx[i + 1:] = [cx[i]] * (n - i - 1)
                        break
                row(f"QuarnWinsorizedMean({vec(x)}, {lo_pct}, {hi_pct}, {vec(w)}, false, 0)",
                    sum(p * q for p, q in zip(cx, pw)) / W, 1, digits)


def summaries(rng):
    for n, weighted in ((2, False), (5, False), (24, False), (9, True), (30, True)):
        x = [Q(rng.randint(-9000, 9000), 32) for _ in range(n)]
        w = [Q(rng.randint(0, 6), 2) for _ in range(n)] if weighted else None
        if weighted:
            w[0], w[1] = Q(1), Q(3, 2)
        ww = w or [Q(1)] * n
        W = sum(ww)
        m = sum(a * b for a, b in zip(x, ww)) / W
        d = W - sum(b * b for b in ww) / W
        s2 = sum(b * (a - m) ** 2 for a, b in zip(x, ww)) / d
        sd = mp.sqrt(mp_of(s2))
        c3 = sum(b * (a - m) ** 3 for a, b in zip(x, ww))
        c4 = sum(b * (a - m) ** 4 for a, b in zip(x, ww))
        d_ = mp_of(d)
        skew = mp_of(c3) / (d_ * sd ** 3)
        kurt = mp_of(c4) / (d_ * sd ** 4) - 3
        pos = [a for a, b in zip(x, ww) if b > 0]
        expected = "[" + ", ".join(num(v) for v in (m, sd, skew, kurt, min(pos), max(pos), W)) + "]"
        row(f"QuarnStatisticSummary({vec(x)}, {vec(w or [])}, false)", expected, 2)
        z = sorted(x)
        mm = n // 2 if n % 2 == 0 else (n + 1) // 2
        k = mm // 2 if mm % 2 == 0 else (mm + 1) // 2
        at = lambda i: z[i - 1]
        if n >= 5:
            five = [at(1), at(k) if mm % 2 else (at(k) + at(k + 1)) / 2,
                    at(mm) if n % 2 else (at(mm) + at(mm + 1)) / 2,
                    at(n - k + 1) if mm % 2 else (at(n - k) + at(n - k + 1)) / 2, at(n)]
            row(f"QuarnFivePointSummary({vec(x)}, false)", as_list(five), 0)
    row("QuarnStatisticSummary(Vector([1, 2, undefined]), Vector([]), false)", "[u, u, u, u, u, u, u]", 0)


def main():
    rng = random.Random(20261123)
    means_and_moments(rng)
    covariance_and_counts(rng)
    order_statistics(rng)
    trimmed_and_winsorized(rng)
    summaries(rng)
    path = os.path.join(os.path.dirname(__file__), "..", "tests", "data", "descriptive_refs.tsv")
    with open(path, "w") as f:
        f.write(f"# generated by tools/gen_descriptive_refs.py (exact rationals; mpmath {mpmath.__version__} at 120 digits)\n")
        f.write("# digits\texpression\texpected\tulps\n")
        for digits, expr, expected, ulps in ROWS:
            if expected == "skip":
                continue
            f.write(f"{digits}\t{expr}\t{expected}\t{ulps}\n")
    print(f"{len(ROWS)} rows")


if __name__ == "__main__":
    main()
