#!/usr/bin/env bash
# Speed of one float operation and of the shell's arithmetic loop.
# Builds nothing.
# Usage: bash bench/run_float.sh BUILD_DIR   (an optimised build, e.g. build-bench)
#
# Targets, checked row by row:
#   QuarnFloat add, mul   at most 2 times bare MPFR (Digits 15 and 50), and no
#                         slower than Boost's mpfr_float, both as it runs
#                         s = s + t in place ("boost") and with a new number
#                         per result ("boost_fresh")
#   shell loop            s := s + i*1.5 for i to 10^6, under 250 ns per iteration
# Missed targets are reported as MISSED and counted on the last line; the
# script exits nonzero only when a benchmark fails to run or computes a wrong
# result.
set -u
build=${1:?usage: run_float.sh BUILD_DIR}
bench="$build/bin/float_bench"
quarn="$build/bin/quarn"
for b in "$bench" "$quarn"; do
  [ -x "$b" ] || { echo "no $b: build the float_bench and quarn targets first" >&2; exit 2; }
done
echo "== float bench (load: $(cut -d' ' -f1-3 /proc/loadavg))"
status=0
rows=$(for d in 15 50; do "$bench" ops "$d" || exit 1; "$bench" loop "$d" || exit 1; done) || status=1

# The shell loop, five times in one session; the fastest run counts. The
# loop's statements are top-level ones, as a user types them.
script=$(mktemp)
trap 'rm -f "$script"' EXIT
for r in 1 2 3 4 5; do
  cat >>"$script" <<'EOF'
t0 := time(): s := 0: for i to 10^6 do s := s + i*1.5 end do: printf("%.0f %.0f\n", (time() - t0)*1000, s):
EOF
done
shell_out=$("$quarn" "$script") || status=1
echo "== done (load: $(cut -d' ' -f1-3 /proc/loadavg))"

missed=0
echo
echo "| row | Digits | QuarnFloat ns | bare MPFR ns | Boost in place ns | Boost fresh ns | QuarnFloat / MPFR | target |"
echo "|---|---:|---:|---:|---:|---:|---:|---|"
while read -r digits name; do
  get() { awk -F'\t' -v n="$name" -v d="$digits" -v i="$1" '$1 == "op" && $2 == n && $3 == d && $4 == i { print $5 }' <<<"$rows"; }
  q=$(get quarnfloat) m=$(get mpfr) b=$(get boost) f=$(get boost_fresh)
  verdict=$(awk -v q="$q" -v m="$m" -v b="$b" -v f="$f" 'BEGIN {
    s = "";
    if (q > 2 * m) s = s " MISSED: over 2x MPFR;";
    if (q > b) s = s " MISSED: slower than Boost in place;";
    if (q > f) s = s " MISSED: slower than Boost fresh;";
    print (s == "" ? "ok" : s) }')
  case $verdict in *MISSED*) missed=$((missed + $(grep -o MISSED <<<"$verdict" | wc -l))) ;; esac
  ratio=$(awk -v q="$q" -v m="$m" 'BEGIN { printf "%.2f", q / m }')
  echo "| $name | $digits | $q | $m | $b | $f | $ratio | $verdict |"
done <<<"$(printf '15 add\n15 mul\n50 add\n50 mul\n')"

echo
echo "| loop s := s + i*1.5, 10^6 iterations | ns per iteration | target |"
echo "|---|---:|---|"
for d in 15 50; do
  c=$(awk -F'\t' -v d="$d" '$1 == "loop" && $3 == d { print $5 }' <<<"$rows")
  echo "| C++ QuarnFloat, Digits $d | $c | |"
done
best=$(awk '{ print $1 }' <<<"$shell_out" | sort -n | head -1)
# The sum is 1.5 * 10^6 (10^6 + 1) / 2 = 750000750000, exact at Digits 10.
if [ "$(awk '{ print $2 }' <<<"$shell_out" | sort -u)" != "750000750000" ]; then
  echo "shell loop: wrong sum: $shell_out" >&2
  status=1
fi
if [ -n "$best" ] && [ "$best" -lt 250 ]; then verdict=ok; else verdict="MISSED: not under 250"; missed=$((missed + 1)); fi
echo "| quarn shell, Digits 10 (fastest of 5) | $best | $verdict |"
echo
echo "missed targets: $missed"
exit $status
