#!/usr/bin/env bash
# Writes bench/accuracy.md: the worst error per numerical routine and per
# distribution entry at each tested Digits, as the two accuracy tests of a
# build measure them against their mpmath tables.
#
# Usage: bash bench/run_accuracy.sh [build directory, default build]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-build}
[[ "$build" = /* ]] || build="$root/$build"
report=$(mktemp)
trap 'rm -f "$report"' EXIT
cat > "$report" <<'TEXT'
# Accuracy of the distribution routines and entries

Written by `bash bench/run_accuracy.sh`, which runs tests/platform/numerics/accuracy_test.cpp and
tests/stats/distributions/entry_accuracy_test.cpp and collects the worst error each finds per
function and Digits.

- Binary ulps: units of 2^(exponent - WorkingBits) of the reference value; a correctly rounded
  result is within 0.5. The target of every entry is 1.
- Decimal ulps: the result rounded to Digits significant digits, in units of its last digit.

TEXT
for test in accuracy_test entry_accuracy_test; do
  QUARN_SOURCE_DIR="$root" QUARN_ACCURACY_REPORT="$report" "$build/bin/$test" > /dev/null
done
cp "$report" "$root/bench/accuracy.md"
echo "wrote bench/accuracy.md"
