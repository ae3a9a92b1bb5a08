#!/usr/bin/env python3
"""Reference values quoted in tests/scripts/faults.out, by methods independent
of the library: each printed to 10 significant digits, as the shell shows
them at Digits = 10.

  F deviate at 0.3 with 2^64 and 5 degrees of freedom: as nu1 grows the F
  ratio tends to 5 / chi-square(5), so its 0.3 quantile is 5 over the 0.7
  quantile of chi-square(5) (the difference at nu1 = 2^64 is far below 1e-10).

  P(Gamma(a) <= a) for a = 5e14 (chi-square with 1e15 degrees of freedom at
  1e15) and a = 1e15 (gamma of shape 1e15 at 1e15): the density integrated
  by quadrature over the 60 standard deviations below the mean, in log form.

  P(X <= 520) for the non-central chi-square of 1.962696227e17 degrees of
  freedom and non-centrality 18 (its terms' logs near -3e18): the Poisson
  mixture of central lower tails, each by the lower incomplete gamma
  function's series z^a e^-z / Gamma(a + 1) sum z^n / ((a + 1)...(a + n)),
  summed in logs (the value is near 10^-1.4e18).

  P(X > x) for chi-square with 1.276108209e18 degrees of freedom at
  x = 1.2766677906620416e18, 3.5e5 standard deviations above the mean: the
  density at x/2 times the integral of exp((a - 1) log(1 + u/z) - u) over
  u > 0, by quadrature, in log form (the value is near 10^-2.7e10); the same
  for the gamma of shape 1e18 at twice its mean.
"""
import mpmath as mp

mp.mp.dps = 40


def lower_gamma_at_mean(a):
    lg, s = mp.loggamma(a), mp.sqrt(a)
    density = lambda t: mp.exp((a - 1) * mp.log(t) - t - lg)
    return mp.quad(density, [a - s * k for k in (60, 40, 30, 20, 15, 10, 7, 5, 3, 2, 1, 0.5, 0)])


def chi_square_quantile(p, nu):
    return mp.findroot(lambda x: mp.gammainc(nu / 2, 0, x / 2, regularized=True) - p, nu)


def noncentral_chi_square_far_below(x, k, lam):
    # logs of size 3e18 keep 19 fewer digits than the working precision
    mp.mp.dps = 80
    z, mu = mp.mpf(x) / 2, mp.mpf(lam) / 2
    logs = []
    for j in range(40):
        a = mp.mpf(k) / 2 + j
        series, term, n = mp.mpf(1), mp.mpf(1), 1
        while term > mp.mpf(10) ** -85:
            term *= z / (a + n)
            series += term
            n += 1
        log_tail = a * mp.log(z) - z - mp.loggamma(a + 1) + mp.log(series)
        logs.append(-mu + j * mp.log(mu) - mp.loggamma(j + 1) + log_tail)
    top = max(logs)
    log10 = (top + mp.log(mp.fsum(mp.exp(l - top) for l in logs))) / mp.log(10)
    exponent = mp.floor(log10)
    mantissa = mp.power(10, log10 - exponent)
    mp.mp.dps = 40
    return f"{mp.nstr(mantissa, 30)}e{int(exponent)}"


def upper_gamma_far_above(a, z, digits):
    mp.mp.dps = 60
    a, z = mp.mpf(a), mp.mpf(z)
    scale = 1 / (1 - (a - 1) / z)  # the integrand falls like exp(-u / scale)
    f = lambda u: mp.exp((a - 1) * mp.log1p(u / z) - u)
    integral = mp.quad(f, [0] + [scale * k for k in (0.5, 1, 2, 4, 8, 16, 32, 64, 128, 256)])
    log10 = ((a - 1) * mp.log(z) - z - mp.loggamma(a) + mp.log(integral)) / mp.log(10)
    exponent = mp.floor(log10)
    mantissa = mp.power(10, log10 - exponent)
    mp.mp.dps = 40
    return f"{mp.nstr(mantissa, digits)}e{int(exponent)}"


rows = [
    ("QuarnFRatioDeviate(0.3, 2^64, 5)", 5 / chi_square_quantile(mp.mpf("0.7"), 5)),
    ("QuarnChiSquareProbability(1e15, 1e15)", lower_gamma_at_mean(mp.mpf(5) * 10**14)),
    ("QuarnGammaProbability(1e15, 1, 1e15)", lower_gamma_at_mean(mp.mpf(10) ** 15)),
]
for call, value in rows:
    print(f"{call}\t{mp.nstr(value, 10)}")
print("Digits := 30: QuarnNonCentralChiSquareProbability(520, 1.962696227e+17, 18)\t"
      + noncentral_chi_square_far_below(520, mp.mpf("1.962696227e17"), 18))
print("Digits := 30: QuarnChiSquareUpperProbability(1.2766677906620416e+18, 1.276108209e+18)\t"
      + upper_gamma_far_above(mp.mpf("1.276108209e18") / 2, mp.mpf("1.2766677906620416e18") / 2, 30))
print("QuarnGammaUpperProbability(2e18, 1, 1e18)\t"
      + upper_gamma_far_above(mp.mpf(10) ** 18, 2 * mp.mpf(10) ** 18, 10))
