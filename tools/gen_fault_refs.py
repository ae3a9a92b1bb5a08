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
"""
import mpmath as mp

mp.mp.dps = 40


def lower_gamma_at_mean(a):
    lg, s = mp.loggamma(a), mp.sqrt(a)
    density = lambda t: mp.exp((a - 1) * mp.log(t) - t - lg)
    return mp.quad(density, [a - s * k for k in (60, 40, 30, 20, 15, 10, 7, 5, 3, 2, 1, 0.5, 0)])


def chi_square_quantile(p, nu):
    return mp.findroot(lambda x: mp.gammainc(nu / 2, 0, x / 2, regularized=True) - p, nu)


rows = [
    ("QuarnFRatioDeviate(0.3, 2^64, 5)", 5 / chi_square_quantile(mp.mpf("0.7"), 5)),
    ("QuarnChiSquareProbability(1e15, 1e15)", lower_gamma_at_mean(mp.mpf(5) * 10**14)),
    ("QuarnGammaProbability(1e15, 1, 1e15)", lower_gamma_at_mean(mp.mpf(10) ** 15)),
]
for call, value in rows:
    print(f"{call}\t{mp.nstr(value, 10)}")
