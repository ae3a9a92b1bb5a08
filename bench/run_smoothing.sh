#!/usr/bin/env bash
# Speed of the Fourier transforms, kernel density estimation, the moving
# median and TallyInto at Digits 30, as a markdown table with the targets.
# Builds nothing.
# Usage: bash bench/run_smoothing.sh BUILD_DIR   (an optimised build, e.g. build-bench)
#
# Targets, checked row by row:
#   c06faf, c06fbf      at most 1.5 times one bare acb_dft of the same length
#   KernelDensity       at least 20 times faster than the direct O(n m) sum
#   MovingMedian        at most 20 us per output (window 101)
#   TallyInto           at most 50 ns per value
# The transforms are also timed against mpmath (bench/peers_fft.py, a pure
# Python FFT), without a target. Missed targets are reported in the table
# and counted on its last line; the script exits nonzero only when a
# benchmark or a peer fails to run.
set -u
build=${1:?usage: run_smoothing.sh BUILD_DIR}
bench="$build/bin/smoothing_bench"
[ -x "$bench" ] || { echo "no $bench: build the smoothing_bench target first" >&2; exit 2; }
here=$(cd "$(dirname "$0")" && pwd)
out="$build/smoothing_bench"
mkdir -p "$out"
echo "== smoothing bench (load: $(cut -d' ' -f1-3 /proc/loadavg))"
status=0
for mode in transforms density median tally; do
  "$bench" "$mode" || status=1
done >"$out/cpp.tsv"
python3 "$here/peers_fft.py" >"$out/mpmath.tsv" || status=1
echo "== done (load: $(cut -d' ' -f1-3 /proc/loadavg))"

python3 - "$out/cpp.tsv" "$out/mpmath.tsv" >"$out/table.md" <<'EOF'
import sys

rows = [line.rstrip("\n").split("\t") for name in sys.argv[1:] for line in open(name) if line.strip()]
missed = 0


def verdict(ok):
    global missed
    missed += not ok
    return "met" if ok else "MISSED"


transforms = {}
for r in rows:
    if r[0] == "transform":
        transforms.setdefault(int(r[1]), {})[r[2]] = float(r[3])
print("| transform, Digits 30 | n | quarnstats s | bare acb_dft s | mpmath s | quarnstats / acb_dft "
      "| mpmath / quarnstats | target (<= 1.5 x acb_dft) |")
print("|---|---:|---:|---:|---:|---:|---:|---|")
for n, t in transforms.items():
    peer = t.get("mpmath")
    for name in ("c06faf", "c06fbf"):
        ratio = t[name] / t["acb_dft"]
        vs_peer = f"{peer / t[name]:.0f}" if peer else "—"
        print(f"| {name} | {n} | {t[name]:.4f} | {t['acb_dft']:.4f} | {peer if peer else '—'} | {ratio:.2f} "
              f"| {vs_peer} | {verdict(ratio <= 1.5)} |")
print()
print("| case, Digits 30 | quarnstats | reference | figure | target |")
print("|---|---|---|---|---|")
for r in rows:
    if r[0] == "density" and r[1] == "quarnstats":
        ours, diff = float(r[2]), r[3]
    elif r[0] == "density":
        direct, speedup = float(r[2]), float(r[3])
        print(f"| KernelDensity, 10^5 points, 1024 nodes | {ours:.3f} s (max diff. {diff} of the peak) "
              f"| {r[1]}: {direct:.1f} s | {speedup:.0f} x faster | {verdict(speedup >= 20)} (>= 20 x) |")
    elif r[0] == "median":
        per = float(r[3].split()[0])
        print(f"| MovingMedian, {r[1]} | {float(r[2]):.3f} s | — | {per:.2f} us per output "
              f"| {verdict(per <= 20)} (<= 20 us) |")
    elif r[0] == "tally":
        per = float(r[3].split()[0])
        print(f"| TallyInto, {r[1]} | {float(r[2]):.4f} s | — | {per:.1f} ns per value ({r[4]}) "
              f"| {verdict(per <= 50)} (<= 50 ns) |")
print()
print(f"targets missed: {missed}")
EOF
merge=$?
cat "$out/table.md"
[ $merge -eq 0 ] || status=1
exit $status
