#!/usr/bin/env bash
# Speed of the regression, Shapiro-Wilk and Durbin-Watson routines at
# Digits 30 against bare MPFR / Arb computations and mpmath, as a table of
# ratios. Builds nothing.
# Usage: bash bench/run_inference.sh BUILD_DIR   (an optimised build, e.g. build-bench)
# Targets, per case: at least 10 times faster than mpmath, and at most 2
# times the bare computation of the same algorithm (Householder QR on
# mpfr_t for the regression; the Arb evaluation for the others). A missed
# target is reported in the table and counted on its last line; the script
# exits nonzero only when a benchmark or a peer fails to run.
set -u
build=${1:?usage: run_inference.sh BUILD_DIR}
bench="$build/bin/inference_bench"
[ -x "$bench" ] || { echo "no $bench: build the inference_bench target first" >&2; exit 2; }
here=$(cd "$(dirname "$0")" && pwd)
out="$build/inference_bench"
mkdir -p "$out"
echo "== inference bench (load: $(cut -d' ' -f1-3 /proc/loadavg))"
"$bench" "$out" "$here/../tests/data/strd/Filip.dat" | tee "$out/cpp.tsv" || exit 1
python3 "$here/peers_inference.py" "$out" | tee "$out/mpmath.tsv" || exit 1
python3 - "$out/cpp.tsv" "$out/mpmath.tsv" <<'PY'
import sys
t, v = {}, {}
for name in sys.argv[1:]:
    for line in open(name):
        case, who, sec, val = line.split("\t")
        t[case, who], v[case, who] = float(sec), val.strip()
same = {"regression": "mpfr-qr", "shapiro": "arb", "durbin": "arb"}
bad = 0
print("| case (Digits 30) | quarnstats s | bare s | quarnstats / bare | mpmath s | mpmath / quarnstats | targets |")
print("|---|---:|---:|---:|---:|---:|---|")
for case, bare in same.items():
    q = t[case, "quarnstats"]
    r_bare, r_mp = q / t[case, bare], t[case, "mpmath"] / q
    notes = ([] if r_bare <= 2 else ["over 2x bare"]) + ([] if r_mp >= 10 else ["under 10x mpmath"])
    bad += bool(notes)
    print(f"| {case} | {q:.3f} | {t[case, bare]:.3f} ({bare}) | {r_bare:.2f} | {t[case, 'mpmath']:.1f} | {r_mp:.0f} "
          f"| {'; '.join(notes) or 'met'} |")
if ("regression", "arb-normal-equations") in t:
    print(f"\nArb normal equations on the regression case: {t['regression', 'arb-normal-equations']:.3f} s; "
          f"on Filip at the same precision they keep {v['filip', 'arb-normal-equations-accuracy-bits']} bits of "
          f"the estimates")
if ("durbin", "arb-working-precision") in t:
    print(f"One Durbin-Watson pass at the working precision: {t['durbin', 'arb-working-precision']:.3f} s, "
          f"pdl = {v['durbin', 'arb-working-precision']} (the library: {v['durbin', 'quarnstats']})")
print(f"\ncases with a target missed: {bad}")
PY
