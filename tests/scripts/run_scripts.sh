#!/usr/bin/env bash
# Runs every NAME.q in this folder with the quarn binary given as $1 and
# compares what it prints (standard output and standard error together) with
# NAME.out. Scripts run in a scratch folder holding a copy of data/, so that
# the files they read are data/... and the files they write go nowhere else. A script may end with an error status (1) when its expected
# output shows the error; a crash, a timeout or a misuse status fails it.
# Prints a closing line "N passed, M failed"; exits nonzero on any failure.
set -u
quarn=${1:?usage: run_scripts.sh PATH_TO_QUARN}
case $quarn in /*) ;; *) quarn=$PWD/$quarn ;; esac
dir=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/run"
cp -r "$dir/data" "$work/run/"

passed=0
failed=0
for script in "$dir"/*.q; do
  [ -e "$script" ] || continue
  name=$(basename "$script" .q)
  expected=$dir/$name.out
  actual=$work/$name.actual
  if [ ! -f "$expected" ]; then
    echo "FAIL $name: no $name.out"
    failed=$((failed + 1))
    continue
  fi
  (cd "$work/run" && timeout 600 "$quarn" "$script" >"$actual" 2>&1)
  status=$?
  if [ "$status" -gt 1 ]; then
    echo "FAIL $name: quarn exited with status $status"
    tail -n 20 "$actual"
    failed=$((failed + 1))
  elif ! diff -u "$expected" "$actual" >"$work/$name.diff"; then
    echo "FAIL $name: output differs from $name.out"
    head -n 60 "$work/$name.diff"
    failed=$((failed + 1))
  else
    echo "ok   $name"
    passed=$((passed + 1))
  fi
done

# The command line: -e shows each statement's result on its own line, and an
# error makes the status 1.
check_cli() {
  local name=$1 want_status=$2 want_output=$3
  shift 3
  local output status
  output=$(cd "$dir" && timeout 60 "$quarn" "$@" 2>&1)
  status=$?
  if [ "$status" -ne "$want_status" ] || [ "$output" != "$want_output" ]; then
    echo "FAIL $name: status $status (want $want_status), output:"
    printf '%s\n' "$output"
    failed=$((failed + 1))
  else
    echo "ok   $name"
    passed=$((passed + 1))
  fi
}
check_cli cli-e 0 $'30\n3.14159265358979323846264338328' -e 'Digits := 30; evalf(Pi);'
check_cli cli-e-quiet 0 $'3' -e 'x := 1: y := 2: x + y'
check_cli cli-e-error 1 $'Error, numeric exception: division by zero\n2' -e '1/0; 1 + 1;'
check_cli cli-syntax 1 $'1\nError, syntax error at line 1, column 9: unexpected `)`' -e '1; (2 + );'
check_cli cli-stdin 0 $'6' - <<<'2 * 3;'

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
