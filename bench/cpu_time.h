// Process CPU time for the benchmarks: steadier than wall time on a machine
// shared with other work.
#ifndef QUARN_BENCH_CPU_TIME_H
#define QUARN_BENCH_CPU_TIME_H

#include <ctime>

inline double CpuSeconds() {
  timespec t;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

#endif
