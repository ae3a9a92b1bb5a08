#!/usr/bin/env bash
# Descriptive statistics on 10^6 values at Digits 30 against their peers, as
# a table of per-value times and ratios. Builds nothing.
# Usage: bash bench/run_descriptive.sh BUILD_DIR   (an optimised build, e.g. build-bench)
#
# Runs descriptive_bench (the library, bare MPFR and Boost's mpfr_float) and
# bench/peers_mpmath_descriptive.py (mpmath) on the same values, and the
# memory case. Targets, checked task by task:
#   mean            at most 2 times bare MPFR's mpfr_sum, and faster than Boost
#   median, quantiles9   at most 50 ns per value
#   sort            at most 1.5 times std::sort over bare mpfr_t
#   every task      faster than Boost and than mpmath
#   memory          the median's peak at most 3 times the data itself
# and every implementation's value must agree with the library's to
# Digits - 2 digits. Missed targets and disagreeing values are reported in
# the table and its last line; the script exits nonzero only when a
# benchmark or a peer fails to run. Environment: QUARN_BENCH_N (default 1000000).
set -u
build=${1:?usage: run_descriptive.sh BUILD_DIR}
bench="$build/bin/descriptive_bench"
[ -x "$bench" ] || { echo "no $bench: build the descriptive_bench target first" >&2; exit 2; }
here=$(cd "$(dirname "$0")" && pwd)
out="$build/descriptive_bench"
mkdir -p "$out"
n=${QUARN_BENCH_N:-1000000}
digits=30

echo "== descriptive bench, $n values at Digits $digits (load: $(cut -d' ' -f1-3 /proc/loadavg))"
status=0
"$bench" data "$n" "$out/values.txt" || status=1
"$bench" time "$n" "$digits" >"$out/cpp.tsv" || status=1
python3 "$here/peers_mpmath_descriptive.py" "$out/values.txt" "$digits" >"$out/mpmath.tsv" || status=1
"$bench" memory "$n" "$digits" >"$out/memory.tsv" || status=1
echo "== done (load: $(cut -d' ' -f1-3 /proc/loadavg))"

python3 - "$digits" "$out/cpp.tsv" "$out/mpmath.tsv" "$out/memory.tsv" >"$out/table.md" <<'PY'
import sys
from mpmath import mp, mpf

digits = int(sys.argv[1])
mp.dps = digits + 10
rows = {}
for name in sys.argv[2:4]:
    for line in open(name):
        task, impl, ns, value = line.rstrip("\n").split("\t")
        rows.setdefault(task, {})[impl] = (float(ns), value)
memory = dict(line.rstrip("\n").split("\t") for line in open(sys.argv[4]))
bad = []
print("| task | quarnstats ns/value | MPFR ns/value | Boost ns/value | mpmath ns/value "
      "| quarnstats / MPFR | Boost / quarnstats | mpmath / quarnstats | targets |")
print("|---|---:|---:|---:|---:|---:|---:|---:|---|")
for task in ("mean", "variance", "median", "quantiles9", "sort", "rank"):
    r = rows.get(task, {})
    t = {k: r[k][0] for k in r}
    q = t.get("quarn")
    notes = []
    for impl, (_, value) in r.items():
        a, b = mpf(value), mpf(r["quarn"][1])
        if abs(a - b) > mpf(10) ** (2 - digits) * max(abs(a), abs(b), 1):
            notes.append(f"{impl} value differs")
    if task == "mean" and q > 2 * t["mpfr"]:
        notes.append("over 2x mpfr_sum")
    if task in ("median", "quantiles9") and q > 50:
        notes.append("over 50 ns per value")
    if task == "sort" and q > 1.5 * t["mpfr"]:
        notes.append("over 1.5x std::sort on mpfr_t")
    for peer in ("boost", "mpmath"):
        if peer in t and t[peer] <= q:
            notes.append(f"slower than {peer}")
    if notes:
        bad.append(task)
    f = lambda v: f"{v:,.1f}" if v is not None else "—"
    ratio = lambda a, b: f"{a / b:.2f}" if a and b else "—"
    print(f"| {task} | {f(q)} | {f(t.get('mpfr'))} | {f(t.get('boost'))} | {f(t.get('mpmath'))} "
          f"| {ratio(q, t.get('mpfr'))} | {ratio(t.get('boost'), q)} | {ratio(t.get('mpmath'), q)} "
          f"| {'; '.join(notes) or 'met'} |")
ratio = float(memory["ratio"])
print()
print(f"Median of the sample: data {memory['data_mb']} MB, extra peak during the median "
      f"{memory['median_extra_mb']} MB, peak / data = {ratio:.2f} (target at most 3): "
      f"{'met' if ratio <= 3 else 'MISSED'}")
if ratio > 3:
    bad.append("memory")
print()
print(f"tasks with a target missed or a value in question: {len(bad)}")
PY
merge=$?
cat "$out/table.md"
[ $merge -eq 0 ] || status=1
exit $status
