#!/usr/bin/env bash
# Peak-memory benchmarks of QuarnFloat, each case in its own process.
# Usage: bash bench/run_memory.sh BUILD_DIR   (an optimised build, e.g. build-bench)
# Reports each peak against its target (a miss is reported, not a failure);
# exits nonzero only when a case fails to run or computes a wrong result:
#   ops     10^8 iterations of one addition and one multiplication, Digits 30: < 50 MB
#   ops     the same at 10^6 iterations, to show the peak does not follow the count
#   rtable  a general rtable of 10^6 fresh floats, Digits 30: < 300 MB
set -u
build=${1:?usage: run_memory.sh BUILD_DIR}
bench="$build/bin/memory_bench"
[ -x "$bench" ] || { echo "no $bench: build the memory_bench target first" >&2; exit 2; }

status=0
run() {  # case, count, target MB
  local out
  echo "== memory_bench $1 $2 (target: peak < $3 MB)"
  if ! out=$("$bench" "$1" "$2"); then status=1; fi
  echo "$out"
  local peak
  peak=$(echo "$out" | sed -n 's/^peak_rss_mb=//p')
  if [ -z "$peak" ] || ! awk -v p="$peak" -v t="$3" 'BEGIN { exit !(p < t) }'; then
    echo "MISSED: peak ${peak:-?} MB is not under $3 MB"
    [ -n "$peak" ] || status=1
  else
    echo "ok: peak $peak MB < $3 MB"
  fi
}

run ops 1000000 50
run ops 100000000 50
run rtable 1000000 300
exit $status
