// The index stack in steady state beside a vector used as a free list.
#include <algorithm>
#include <random>
#include <vector>

#include "peers.h"
#include "qlix_comm/liststack.h"

namespace {

constexpr std::uint32_t SLOTS = 4096;

class ListStack {
 public:
  ListStack() {
    qlix_comm_liststack_creat(SLOTS, &stack_);
  }
  ~ListStack() {
    qlix_comm_liststack_destroy(stack_);
  }
  ListStack(const ListStack&) = delete;
  ListStack& operator=(const ListStack&) = delete;
  std::uint32_t alloc() {
    std::uint32_t slot;
    qlix_comm_liststack_alloc(stack_, &slot);
    return slot;
  }
  void free(std::uint32_t slot) {
    qlix_comm_liststack_free(stack_, slot);
  }

 private:
  qlix_comm_liststack* stack_ = nullptr;
};

class VectorFreeList {
 public:
  VectorFreeList() {
    for (std::uint32_t slot = SLOTS; slot-- > 0;) {
      free_.push_back(slot);
    }
  }
  std::uint32_t alloc() {
    const std::uint32_t slot = free_.back();
    free_.pop_back();
    return slot;
  }
  void free(std::uint32_t slot) {
    free_.push_back(slot);
  }

 private:
  std::vector<std::uint32_t> free_;
};

// Half of the slots are out; each step gives one of them back and takes one.
template <class Stack>
void steady(benchmark::State& state, std::size_t burst) {
  Stack stack;
  std::vector<std::uint32_t> out;
  for (std::uint32_t i = 0; i < SLOTS / 2; ++i) {
    out.push_back(stack.alloc());
  }
  std::mt19937 random(SEED);
  std::shuffle(out.begin(), out.end(), random);
  double elapsed = 0;
  std::size_t operations = 0;
  for ([[maybe_unused]] auto round : state) {
    elapsed += nanoseconds([&] {
      for (std::size_t at = 0; at + burst <= out.size(); at += burst) {
        for (std::size_t i = 0; i < burst; ++i) {
          stack.free(out[at + i]);
        }
        for (std::size_t i = 0; i < burst; ++i) {
          out[at + i] = stack.alloc();
        }
      }
    });
    operations += out.size() / burst * burst * 2;
  }
  benchmark::DoNotOptimize(out.data());
  state.counters["op"] = elapsed / static_cast<double>(operations);
}

template <class Stack>
void subject_register(const std::string& name, std::size_t burst) {
  benchmark::RegisterBenchmark(("stack/" + name + "/half_full").c_str(),
                               [burst](benchmark::State& state) { steady<Stack>(state, burst); })
      ->Iterations(1000)
      ->Repetitions(9);
}

}  // namespace

void stack_benchmarks_register() {
  subject_register<ListStack>("liststack", 1);
  subject_register<VectorFreeList>("vector_free_list", 1);
  // Runs of 16 show what the free chain costs: it is followed through memory, as its record has it.
  subject_register<ListStack>("liststack_16", 16);
  subject_register<VectorFreeList>("vector_free_list_16", 16);
}
