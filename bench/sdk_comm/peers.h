// What the benchmarks of the common library share: each is named family/subject/case and reports nanoseconds per
// operation in counters, so that the subjects of a case can be set beside their peers.
#pragma once

#include <benchmark/benchmark.h>

#include <ctime>

#include <cstdint>

inline constexpr std::uint64_t SEED = 0x6b78;

/// Processor time of this thread: other programs on the machine disturb it less than they do the clock on the wall.
inline double thread_nanoseconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

/// Nanoseconds spent in `work`.
template <class Work>
double nanoseconds(Work work) {
  const double begin = thread_nanoseconds();
  work();
  return thread_nanoseconds() - begin;
}

void tree_benchmarks_register();
void stack_benchmarks_register();
void bits_benchmarks_register();
void tree_memory_print();
