#!/usr/bin/env python3
"""Reference table for the Fourier transform tests (tests/platform/numerics/fourier_test.cpp).

Writes tests/data/fft_reference.tsv: outputs of the real-to-Hermitian
transform (c06faf) and of the Hermitian-to-real transform (c06fbf) of the
sequences below, each output summed directly (O(n) per output, no FFT) with
mpmath at DPS digits and written to SIG significant digits, enough for the
tests at Digits up to 100.

Input of length n: x[j] = (((j + n) (j + n + 7) 40503 + 12345 (j + n + 1)) mod 65521 - 32760) / 2^15,
binary fractions that every tested precision holds exactly. c06fbf reads the
same numbers as a Hermitian sequence in Hermitian storage: z[0] = x[0],
z[k] = x[k] + i x[n-k] for 0 < k < n/2, z[n/2] = x[n/2] for even n.

  c06faf slot k:  k <= n/2: Re Z[k];  k > n/2: Im Z[n-k],  Z[k] = n^(-1/2) sum_j x[j] e^(-2 pi i j k/n)
  c06fbf slot k:  n^(-1/2) (z[0] + 2 sum_{0<j<n/2} (Re z[j] cos t + Im z[j] sin t) + [n even] z[n/2] (-1)^k),
                  t = 2 pi j k/n

Lengths up to 100 get every output; the longer ones a fixed spread of 48
outputs (the two ends, the middle and evenly spaced slots), which also
checks the tests' own direct sums.

Row format (tab separated): routine, n, slot k, value.

Usage: python3 tools/gen_fft_reference.py [output file]   (a few seconds)
"""
import os
import sys

from mpmath import mp, mpf

LENGTHS = [1, 2, 3, 5, 7, 8, 64, 100, 1000, 1024, 4096]
DPS = 140
SIG = 115


def sequence(n):
    return [mpf(((j + n) * (j + n + 7) * 40503 + 12345 * (j + n + 1)) % 65521 - 32760) / 2 ** 15 for j in range(n)]


def slots(n):
    if n <= 100:
        return list(range(n))
    picked = set(range(8)) | set(range(n - 8, n)) | set(range(n // 2 - 4, n // 2 + 4))
    picked |= {(i * n) // 24 + i for i in range(24)}
    return sorted(k for k in picked if 0 <= k < n)


def roots(n):
    cos = [mp.cospi(mpf(2 * m) / n) for m in range(n)]
    sin = [mp.sinpi(mpf(2 * m) / n) for m in range(n)]
    return cos, sin


def c06faf(x, n, k, cos, sin):
    if k <= n // 2:
        return mp.fsum(x[j] * cos[(j * k) % n] for j in range(n)) / mp.sqrt(n)
    f = n - k
    return -mp.fsum(x[j] * sin[(j * f) % n] for j in range(n)) / mp.sqrt(n)


def c06fbf(x, n, k, cos, sin):
    terms = [x[0]]
    for j in range(1, (n + 1) // 2):
        m = (j * k) % n
        terms.append(2 * (x[j] * cos[m] + x[n - j] * sin[m]))
    if n % 2 == 0:
        terms.append(x[n // 2] * (-1) ** k)
    return mp.fsum(terms) / mp.sqrt(n)


def main():
    root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    path = sys.argv[1] if len(sys.argv) > 1 else os.path.join(root, "tests", "data", "fft_reference.tsv")
    mp.dps = DPS
    lines = ["# routine\tn\tslot\tvalue  (tools/gen_fft_reference.py, mpmath direct sums at %d digits)" % DPS]
    for n in LENGTHS:
        x = sequence(n)
        cos, sin = roots(n)
        for name, f in (("c06faf", c06faf), ("c06fbf", c06fbf)):
            for k in slots(n):
                lines.append("%s\t%d\t%d\t%s" % (name, n, k, mp.nstr(f(x, n, k, cos, sin), SIG, strip_zeros=False)))
    with open(path, "w") as out:
        out.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
