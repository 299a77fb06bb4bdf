// Contenders measured side by side: interleaved rounds in one run, and a row for each thing that was measured. All
// benchmarks report through this header, and bench/run collects what they print.
//
// A row is one line of text between tabs: what, ours, unit, peer, theirs, ratio, spread, limit. The figures are
// medians; the ratio is the median of the rounds' own ratios, because a round's contenders met the same machine, and
// the spread is half of the distance between their quartiles. A row without a limit has "-" there. With --growth a
// program prints points instead: "growth", structure, size, figure, unit.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

namespace side_by_side {

/// One figure a round, in the order of the rounds.
using samples = std::vector<double>;

inline constexpr double NO_LIMIT = 0;

inline double clock_ns(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

/// Nanoseconds that pass while `work` runs: for what waits, and for what other processes do.
template <typename Work>
double wall_time_of(Work&& work) {
  const double start = clock_ns(CLOCK_MONOTONIC);
  work();
  return clock_ns(CLOCK_MONOTONIC) - start;
}

/// Nanoseconds of this thread's processor time in `work`: other programs on the machine disturb it less.
template <typename Work>
double time_of(Work&& work) {
  const double start = clock_ns(CLOCK_THREAD_CPUTIME_ID);
  work();
  return clock_ns(CLOCK_THREAD_CPUTIME_ID) - start;
}

/// Keeps the compiler from dropping a result, and from knowing what memory holds.
inline void keep(uint64_t value) {
  asm volatile("" : : "r"(value) : "memory");
}

/// A contender that does not work is worth nothing.
inline void must(bool holds, const char* what) {
  if (!holds) {
    std::fprintf(stderr, "%s\n", what);
    std::exit(1);
  }
}

/// The value below which that part of the samples lies.
inline double quantile(samples of, double part) {
  const auto at = static_cast<std::ptrdiff_t>(part * static_cast<double>(of.size() - 1) + 0.5);
  std::nth_element(of.begin(), of.begin() + at, of.end());
  return of[static_cast<size_t>(at)];
}

/// A row: ours beside a peer's, of which `limit` is the largest ratio that is wanted.
inline void row(const std::string& what, const char* unit, const samples& ours, const char* peer, const samples& theirs,
                double limit) {
  must(!ours.empty() && ours.size() == theirs.size(), "a row without rounds");
  samples ratios;
  for (size_t round = 0; round < ours.size(); ++round) {
    ratios.push_back(ours[round] / theirs[round]);
  }
  const double spread = (quantile(ratios, 0.75) - quantile(ratios, 0.25)) / 2;
  const std::string bound = limit > 0 ? std::to_string(limit).substr(0, 5) : "-";
  std::printf("%s\t%.4g\t%s\t%s\t%.4g\t%.3f\t%.3f\t%s\n", what.c_str(), quantile(ours, 0.5), unit, peer,
              quantile(theirs, 0.5), quantile(ratios, 0.5), spread, bound.c_str());
  std::fflush(stdout);
}

/// A point of a growth curve.
inline void point(const char* structure, double size, double figure, const char* unit) {
  std::printf("growth\t%s\t%.0f\t%.4g\t%s\n", structure, size, figure, unit);
  std::fflush(stdout);
}

inline bool growth_asked(int argc, char** argv) {
  return argc > 1 && std::strcmp(argv[1], "--growth") == 0;
}

}  // namespace side_by_side
