#!/usr/bin/env bash
# Speed of the continuous distributions against their peers, as a table of
# ratios. Builds nothing.
# Usage: bash bench/run_distributions.sh BUILD_DIR   (an optimised build, e.g. build-bench)
#
# Runs distributions_bench (the library, bare Arb calls and Boost.Math) and
# bench/peers_mpmath.py (mpmath on gmpy2, and again on Python's integers with
# MPMATH_NOGMPY=1) on the same rows, Digits by Digits, then the
# samples, in two rounds; merges the fastest round of each row into markdown
# tables, kept with the raw output in BUILD_DIR/distributions_bench/.
# Targets, checked row by row:
#   every row       faster than mpmath and than Boost.Math
#   probabilities   at most 1.5 times the bare Arb call for the same value
#   deviates        at least 10 times faster than mpmath, and at most twice
#                   two bare Arb probabilities at the deviate (a good start
#                   and about two Newton steps), where Arb has the probability
#   normal variates at Digits 30: at most 300 ns each
# and every value must agree with every peer's to Digits - 2 digits (so that
# the comparison is like for like). Missed targets and disagreeing values
# are reported in the table and its last line; the script exits nonzero
# only when a benchmark or a peer fails to run.
#
# Environment: QUARN_BENCH_PYTHON (the interpreter for mpmath, default
# /usr/bin/python3 where it exists), QUARN_BENCH_DIGITS (default
# "15 50 100 500"), QUARN_BENCH_SAMPLE (variates per sample, default 100000), QUARN_BENCH_ROUNDS (default 2),
# QUARN_BENCH_SECONDS (CPU seconds per measurement, default 0.05),
# QUARN_BENCH_ROWS (only the rows whose label contains one of its
# |-separated parts, e.g. "Binomial|NonCentral"; then no samples).
set -u
build=${1:?usage: run_distributions.sh BUILD_DIR}
bench="$build/bin/distributions_bench"
[ -x "$bench" ] || { echo "no $bench: build the distributions_bench target first" >&2; exit 2; }
here=$(cd "$(dirname "$0")" && pwd)
out="$build/distributions_bench"
mkdir -p "$out"
digits=${QUARN_BENCH_DIGITS:-15 50 100 500}
sample=${QUARN_BENCH_SAMPLE:-100000}
rounds=${QUARN_BENCH_ROUNDS:-2}

# mpmath as Debian installs it (python3-mpmath, python3-gmpy2): the system's
# interpreter, which another python3 earlier on the PATH may not see.
python=${QUARN_BENCH_PYTHON:-$( [ -x /usr/bin/python3 ] && echo /usr/bin/python3 || echo python3 )}
backend=$("$python" -c 'import mpmath.libmp as m; print(m.BACKEND)') || { echo "no mpmath for $python" >&2; exit 2; }
[ "$backend" = gmpy ] || echo "warning: mpmath under $python runs without gmpy2 ($backend); both mpmath columns are then alike" >&2

echo "== distributions bench (load: $(cut -d' ' -f1-3 /proc/loadavg))"
status=0
only=${QUARN_BENCH_ROWS:-}
"$bench" rows >"$out/rows.tsv" || status=1
if [ -n "$only" ]; then
  grep -F -f <(tr '|' '\n' <<<"$only") "$out/rows.tsv" >"$out/rows.only" || true
  mv "$out/rows.only" "$out/rows.tsv"
fi
: >"$out/cpp.tsv"
: >"$out/mpmath.tsv"
# Each round runs every Digits in turn, the library's side and mpmath's side
# back to back; the merge keeps each row's fastest round. mpmath runs in
# another process at another moment, and taking the best of the rounds keeps
# a burst of load on the machine from deciding a ratio.
for round in $(seq "$rounds"); do
  for d in $digits; do
    echo "-- round $round, Digits $d: library, Arb, Boost.Math; mpmath"
    "$bench" calls "$d" "$only" >>"$out/cpp.tsv" || status=1
    "$python" "$here/peers_mpmath.py" --rows "$out/rows.tsv" --digits "$d" >>"$out/mpmath.tsv" || status=1
    MPMATH_NOGMPY=1 "$python" "$here/peers_mpmath.py" --rows "$out/rows.tsv" --digits "$d" >>"$out/mpmath.tsv" ||
      status=1
  done
  [ -n "$only" ] && continue
  echo "-- round $round, samples at Digits 30"
  "$bench" sample 30 "$sample" >>"$out/cpp.tsv" || status=1
  "$python" "$here/peers_mpmath.py" --sample "30:$sample" >>"$out/mpmath.tsv" || status=1
  "$bench" resample 30 >>"$out/cpp.tsv" || status=1
done
echo "== done (load: $(cut -d' ' -f1-3 /proc/loadavg))"

python3 - "$out/rows.tsv" "$out/cpp.tsv" "$out/mpmath.tsv" >"$out/table.md" <<'EOF'
import sys
from mpmath import mp, mpf

rows_file, *result_files = sys.argv[1:]
labels = [line.split("\t")[0] for line in open(rows_file) if line.strip()]
calls, samples, resamples = {}, {}, {}
for name in result_files:
    for line in open(name):
        f = line.rstrip("\n").split("\t")
        # Rounds repeat every line: keep the fastest time (NaN, a failure,
        # loses) with the first round's value.
        if f[0] == "call":
            r = calls.setdefault((f[1], int(f[2])), {})
            t, old = float(f[4]), r.get(f[3])
            if old is None or old[0] != old[0] or t < old[0]:
                r[f[3]] = (t, f[6] if old is None or old[1].startswith("error") else old[1])
        elif f[0] == "sample":
            r = samples.setdefault(f[1], {})
            t = float(f[4])
            if f[3] not in r or t < r[f[3]][0]:
                r[f[3]] = (t, int(f[5]), float(f[6]), float(f[7]))
        elif f[0] == "resample":
            r = resamples.setdefault(f[1], {})
            t = float(f[4])
            if f[3] not in r or t < r[f[3]][0]:
                r[f[3]] = (t, float(f[6]))

IMPLS = [("quarn", "quarnstats"), ("arb", "Arb"), ("boost", "Boost"), ("mpmath", "mpmath"),
         ("mpmath_py", "mpmath without gmpy2")]
NAMES = dict(IMPLS)
bad = []


def ns(v):
    if v is None or v != v:
        return "—"
    return f"{v:,.0f}" if v >= 100 else f"{v:.1f}"


def ratio(a, b):
    return a / b if a is not None and b is not None and a == a and b == b and b > 0 else None


def rx(v):
    return "—" if v is None else f"{v:.2f}"


def agreement(r, digits):
    """The largest relative difference to the library's value, and notes on
    the values that differ by more than 10^(2 - Digits): the implementations
    that disagree with most of the others, or else the pairs that disagree."""
    mp.dps = digits + 10
    r = {k: v for k, v in r.items() if k in NAMES}  # not arb_prob: a probability
    vals = {k: mpf(v[1]) for k, v in r.items() if not v[1].startswith("error")}
    notes = [f"{NAMES[k]} failed" for k, v in r.items() if v[1].startswith("error")]
    tol = mpf(10) ** (2 - digits)

    def diff(a, b):
        scale = max(abs(vals[a]), abs(vals[b]))
        return abs(vals[a] - vals[b]) / scale if scale else mpf(0)

    pairs = [(a, b) for a in vals for b in vals if a < b and diff(a, b) > tol]
    odd = [k for k in vals if 2 * sum(diff(k, o) > tol for o in vals if o != k) > len(vals) - 1]
    if odd:
        notes += [f"{NAMES[k]} value differs" for k in odd]
    elif pairs:
        notes += [f"{NAMES[a]} and {NAMES[b]} values differ" for a, b in pairs]
    worst = max((diff("quarn", k) for k in vals if k != "quarn"), default=mpf(0)) if "quarn" in vals else None
    return worst, notes


print("| function | Digits | quarnstats ns | Arb ns | Arb P ns | Boost ns | mpmath ns | mpmath, no gmpy2, ns "
      "| quarnstats / Arb | quarnstats / 2 Arb P | Boost / quarnstats | mpmath / quarnstats "
      "| mpmath no gmpy2 / quarnstats | max rel. diff | targets |")
print("|---|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|---|")
digit_list = sorted({d for (_, d) in calls})
for digits in digit_list:
    for label in labels:
        r = calls.get((label, digits))
        if not r:
            continue
        t = {k: (r[k][0] if k in r else None) for k in list(NAMES) + ["arb_prob"]}
        q = t["quarn"]
        arb_r, boost_r, mpm_r = ratio(q, t["arb"]), ratio(t["boost"], q), ratio(t["mpmath"], q)
        newton_r = ratio(q, None if t["arb_prob"] is None else 2 * t["arb_prob"])
        py_r = ratio(t["mpmath_py"], q)
        worst, value_notes = agreement(r, digits)
        notes = []
        if boost_r is not None and boost_r <= 1:
            notes.append("slower than Boost")
        if mpm_r is not None and mpm_r <= 1:
            notes.append("slower than mpmath")
        if "Probability" in label and arb_r is not None and arb_r > 1.5:
            notes.append("over 1.5x Arb")
        if "Deviate" in label and mpm_r is not None and mpm_r < 10:
            notes.append("under 10x mpmath")
        if newton_r is not None and newton_r > 2:
            notes.append("over 2x two Arb probabilities")
        notes += value_notes
        if notes:
            bad.append((label, digits, notes))
        print(f"| {label} | {digits} | {ns(q)} | {ns(t['arb'])} | {ns(t['arb_prob'])} | {ns(t['boost'])} "
              f"| {ns(t['mpmath'])} | {ns(t['mpmath_py'])} "
              f"| {rx(arb_r)} | {rx(newton_r)} | {rx(boost_r)} | {rx(mpm_r)} | {rx(py_r)} "
              f"| {'—' if worst is None else mp.nstr(worst, 2)} | {'; '.join(notes) or 'met'} |")

# Expected mean and variance of each sample.
MOMENTS = {"Normal(0, 1)": (0.0, 1.0), "Gamma(2, 3.5)": (7.0, 14.0), "Beta(2.5, 3.5)": (2.5 / 6, 8.75 / 252)}
print()
print("| variates (Digits 30) | quarnstats ns | MPFR nrandom ns | Boost.Random ns | mpmath ns "
      "| Boost / quarnstats | mpmath / quarnstats | moments | targets |")
print("|---|---:|---:|---:|---:|---:|---:|---|---|")
for label, r in samples.items():
    t = {k: (r[k][0] if k in r else None) for k in ("quarn", "mpfr_nrandom", "boost", "mpmath")}
    q = t["quarn"]
    mean, var = MOMENTS[label]
    moments = []
    for k, (_, n, m, v) in r.items():
        z = (m - mean) / (var / n) ** 0.5
        if abs(z) > 5 or abs(v / var - 1) > 0.03:
            moments.append(f"{k} mean {m:.4g} var {v:.4g}")
    notes = []
    boost_r, mpm_r = ratio(t["boost"], q), ratio(t["mpmath"], q)
    if boost_r is not None and boost_r <= 1:
        notes.append("slower than Boost")
    if mpm_r is not None and mpm_r <= 1:
        notes.append("slower than mpmath")
    if label.startswith("Normal") and q is not None and q > 300:
        notes.append("over 300 ns")
    notes += [f"wrong moments: {m}" for m in moments]
    if notes:
        bad.append((label, 30, notes))
    print(f"| {label} | {ns(q)} | {ns(t['mpfr_nrandom'])} | {ns(t['boost'])} | {ns(t['mpmath'])} "
          f"| {rx(boost_r)} | {rx(mpm_r)} | {'as expected' if not moments else 'WRONG'} "
          f"| {'; '.join(notes) or 'met'} |")

# Resampling: the library against a plain C++ loop doing the same work
# (the standard library's discrete distribution for the urn, bare MPFR for
# the bootstrap); the bootstrap's target is 2 times the MPFR loop.
if resamples:
    print()
    print("| resampling (Digits 30) | quarnstats ns | peer | peer ns | quarnstats / peer | check | targets |")
    print("|---|---:|---|---:|---:|---|---|")
    for label, r in resamples.items():
        q = r.get("quarn")
        for peer in (k for k in r if k != "quarn"):
            t = r[peer][0]
            ratio_q = q[0] / t if q and t > 0 else None
            notes = []
            if label.startswith("Bootstrap") and ratio_q is not None and ratio_q > 2:
                notes.append("over 2x the MPFR loop")
            # Both sides must resample the same law: the mean cell of 1..1000
            # by weight is 666.67 (0-based 666.0); the mean of means of normal
            # data agrees within a few hundredths.
            agree = q is not None and abs(q[1] - r[peer][1]) <= 0.05 * max(1.0, abs(r[peer][1]))
            if not agree:
                notes.append("checks differ")
            if notes:
                bad.append((label, 30, notes))
            print(f"| {label} | {ns(q[0] if q else None)} | {peer} | {ns(t)} | {rx(ratio_q)} "
                  f"| {q[1] if q else '—':.4g} vs {r[peer][1]:.4g} | {'; '.join(notes) or 'met'} |")

print()
print(f"rows with a target missed or a value in question: {len(bad)}")
EOF
merge=$?
cat "$out/table.md"
[ $merge -eq 0 ] || status=1
exit $status
