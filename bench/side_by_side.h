// Contenders measured side by side: interleaved rounds in one run, medians, and the ratio to the peer.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace side_by_side {

/// Wall time of `work` in nanoseconds.
template <typename Work>
double time_of(Work&& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
}

/// Keeps the compiler from dropping a result.
inline void keep(uint64_t value) {
  asm volatile("" : : "r"(value) : "memory");
}

class table {
 public:
  /// A line "what: ours, peers...", where `limits` names the largest ratio ours / peer that is wanted.
  explicit table(const char* unit) : unit_(unit) {
    std::printf("%-44s %12s %12s %8s %8s  (%s)\n", "work", "ours", "peer", "ratio", "limit", unit_);
  }
  void row(const std::string& work, std::vector<double> ours, std::vector<double> peer, const char* limit) {
    const double a = median(ours), b = median(peer);
    std::printf("%-44s %12.1f %12.1f %8.2f %8s\n", work.c_str(), a, b, a / b, limit);
    std::fflush(stdout);
  }

 private:
  static double median(std::vector<double>& samples) {
    std::nth_element(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2), samples.end());
    return samples[samples.size() / 2];
  }
  const char* unit_;
};

}  // namespace side_by_side
