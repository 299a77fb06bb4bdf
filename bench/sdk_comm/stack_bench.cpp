// The index stack in steady state beside a vector used as a free list, which checks nothing, and beside chains of
// four-byte entries that know which slots are out: one that keeps silent about what it refuses, and one that tells,
// which is the like for like.
#include <memory>
#include <random>

#include "containers.h"
#include "qlix_comm/liststack.h"

namespace {

using side_by_side::samples;

constexpr std::uint32_t SLOTS = 4096;
constexpr int ROUNDS = 31;

class ListStack {
 public:
  explicit ListStack(std::uint32_t slots) {
    qlix_comm_liststack_creat(slots, &stack_);
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
  explicit VectorFreeList(std::uint32_t slots) {
    for (std::uint32_t slot = slots; slot-- > 0;) {
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

/// An empty chain, a slot out of range and one that is free already are noticed.
template <bool TELLS>
class CheckedChain {
 public:
  explicit CheckedChain(std::uint32_t slots) : next_(std::make_unique<std::uint32_t[]>(slots)), slots_(slots) {
    for (std::uint32_t slot = 0; slot < slots; ++slot) {
      next_[slot] = slot + 1 < slots ? slot + 1 : END;
    }
  }
  std::uint32_t alloc() {
    const std::uint32_t slot = head_;
    if (slot == END) [[unlikely]] {
      refuse(slot);
      return END;
    }
    head_ = next_[slot];
    next_[slot] = OUT;
    ++used_;
    return slot;
  }
  void free(std::uint32_t slot) {
    if (slot >= slots_ || next_[slot] != OUT) [[unlikely]] {
      refuse(slot);
      return;
    }
    next_[slot] = head_;
    head_ = slot;
    --used_;
  }

 private:
  void refuse(std::uint32_t slot) const {
    if constexpr (TELLS) {
      tell(*this, slot);
    }
  }
  [[gnu::cold, gnu::noinline]] static void tell(const CheckedChain& chain, std::uint32_t slot) {
    std::fprintf(stderr, "slot %u of %u, %u in use\n", slot, chain.slots_, chain.used_);
  }
  static constexpr std::uint32_t END = 0xFFFFFFFF;
  static constexpr std::uint32_t OUT = 0xFFFFFFFE;
  std::unique_ptr<std::uint32_t[]> next_;
  std::uint32_t slots_;
  std::uint32_t head_ = 0;
  std::uint32_t used_ = 0;
};

/// Gives back `BURST` slots and takes as many. The number is known where the loop is made, as in code that uses a
/// stack.
template <std::size_t BURST, class Stack>
double step_time(Stack& stack, std::vector<std::uint32_t>& out, std::size_t passes) {
  const double elapsed = side_by_side::time_of([&] {
    for (std::size_t pass = 0; pass < passes; ++pass) {
      for (std::size_t at = 0; at + BURST <= out.size(); at += BURST) {
        for (std::size_t i = 0; i < BURST; ++i) {
          stack.free(out[at + i]);
        }
        for (std::size_t i = 0; i < BURST; ++i) {
          out[at + i] = stack.alloc();
        }
      }
    }
  });
  side_by_side::keep(out[0]);
  return elapsed / static_cast<double>(passes * (out.size() / BURST) * BURST * 2);
}

/// A stack of which half of the slots are out, in shuffled order.
template <class Stack>
struct HalfFull {
  Stack stack;
  std::vector<std::uint32_t> out;

  explicit HalfFull(std::uint32_t slots) : stack(slots) {
    for (std::uint32_t i = 0; i < slots / 2; ++i) {
      out.push_back(stack.alloc());
    }
    std::shuffle(out.begin(), out.end(), std::mt19937(SEED));
  }
};

template <std::size_t BURST>
void compare(const std::string& what, double chain_limit) {
  HalfFull<ListStack> ours(SLOTS);
  HalfFull<VectorFreeList> vector(SLOTS);
  HalfFull<CheckedChain<true>> telling(SLOTS);
  HalfFull<CheckedChain<false>> silent(SLOTS);
  samples our_times;
  samples vector_times;
  samples telling_times;
  samples silent_times;
  constexpr std::size_t PASSES = 200;
  for (int round = 0; round < ROUNDS; ++round) {
    our_times.push_back(step_time<BURST>(ours.stack, ours.out, PASSES));
    vector_times.push_back(step_time<BURST>(vector.stack, vector.out, PASSES));
    telling_times.push_back(step_time<BURST>(telling.stack, telling.out, PASSES));
    silent_times.push_back(step_time<BURST>(silent.stack, silent.out, PASSES));
  }
  side_by_side::row(what, "ns", our_times, "checked chain, silent", silent_times, chain_limit);
  side_by_side::row(what, "ns", our_times, "checked chain that tells", telling_times, side_by_side::NO_LIMIT);
  side_by_side::row(what, "ns", our_times, "vector free list, unchecked", vector_times, side_by_side::NO_LIMIT);
}

}  // namespace

void stack_bench() {
  compare<1>("index stack, one by one", 1.1);
  compare<16>("index stack, runs of 16", 1.1);
}

void stack_growth() {
  for (const std::uint32_t slots : {1000u, 10000u, 100000u, 1000000u}) {
    HalfFull<ListStack> ours(slots);
    side_by_side::point("index stack", slots, step_time<16>(ours.stack, ours.out, 4000000 / slots), "ns");
  }
}
