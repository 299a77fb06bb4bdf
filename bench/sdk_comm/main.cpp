// Runs the benchmarks of the common library, interleaved and repeated, and sets the medians beside those of the peers.
#include <cstdio>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "peers.h"

namespace {

// What a subject is measured against. Pool mode is held to its limit from the size on where memory decides.
struct Peering {
  std::string_view ours;
  std::string_view peer;
  double limit;  // 0: none
  long from_entries;
};

constexpr Peering PEERINGS[] = {
    {"rb_node", "boost_set", 1.0, 0},          {"avl_node", "boost_avl_set", 1.0, 0},
    {"rb_pool", "std_set", 0.85, 100000},      {"avl_pool", "std_set", 0.85, 100000},
    {"liststack", "vector_free_list", 1.2, 0}, {"liststack_16", "vector_free_list_16", 0, 0},
    {"write_bits", "shift_write", 1.3, 0},     {"read_bits", "shift_read", 1.3, 0},
};

struct Name {
  std::string subject;
  std::string rest;  // family and case

  explicit Name(const std::string& name) {
    const std::size_t first = name.find('/');
    const std::size_t second = name.find('/', first + 1);
    subject = name.substr(first + 1, second - first - 1);
    rest = name.substr(0, first) + name.substr(second);
  }
};

class PeerReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
        const Name name(run.run_name.function_name);
        for (const auto& [counter, value] : run.counters) {
          medians_[name.rest + " " + counter][name.subject] = value;
        }
        fprintf(stderr, "%s\n", run.run_name.function_name.c_str());
      }
    }
  }

  void table_print() const {
    printf("\n%-40s %-18s %9s %-18s %9s %6s %6s\n", "case and operation", "subject", "ns", "peer", "ns", "ratio",
           "limit");
    for (const auto& [what, subjects] : medians_) {
      for (const Peering& peering : PEERINGS) {
        row_print(what, subjects, peering);
      }
    }
  }

 private:
  using Subjects = std::map<std::string, double, std::less<>>;

  static void row_print(const std::string& what, const Subjects& subjects, const Peering& peering) {
    const auto ours = subjects.find(peering.ours);
    const auto peer = subjects.find(peering.peer);
    if (ours == subjects.end() || peer == subjects.end()) {
      return;
    }
    const std::size_t size_at = what.rfind('/') + 1;
    const bool held =
        peering.limit > 0 && (peering.from_entries == 0 || std::stol(what.substr(size_at)) >= peering.from_entries);
    const double ratio = ours->second / peer->second;
    printf("%-40s %-18s %9.2f %-18s %9.2f %6.2f ", what.c_str(), ours->first.c_str(), ours->second, peer->first.c_str(),
           peer->second, ratio);
    if (held) {
      printf("%6.2f%s\n", peering.limit, ratio > peering.limit ? "  above" : "");
    } else {
      printf("%6s\n", "-");
    }
  }

  std::map<std::string, Subjects> medians_;
};

}  // namespace

int main(int argc, char** argv) {
  std::vector<char*> arguments(argv, argv + argc);
  std::string interleave = "--benchmark_enable_random_interleaving=true";
  arguments.insert(arguments.begin() + 1, interleave.data());
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
    return 1;
  }
  tree_benchmarks_register();
  stack_benchmarks_register();
  bits_benchmarks_register();
  PeerReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.table_print();
  tree_memory_print();
  return 0;
}
