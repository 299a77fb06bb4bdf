// Memory hooks for tests: count what is out, and fail the n-th allocation.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <set>

#include "qlix_comm/memory.h"

class MemoryFault {
 public:
  MemoryFault() {
    live().clear();
    countdown() = NEVER;
    const qlix_comm_os_callback hooks{allocate, release};
    ic_comm_set_os_callback(&hooks);
  }
  ~MemoryFault() {
    const qlix_comm_os_callback none{};
    ic_comm_set_os_callback(&none);
    EXPECT_EQ(live().size(), 0u) << "memory was not given back";
  }
  MemoryFault(const MemoryFault&) = delete;
  MemoryFault& operator=(const MemoryFault&) = delete;

  /// The allocation after `after` further ones fails, once.
  void arm(std::size_t after) {
    countdown() = after;
  }
  void disarm() {
    countdown() = NEVER;
  }
  /// True when the armed failure has happened.
  bool fired() const {
    return countdown() == FIRED;
  }
  std::size_t out() const {
    return live().size();
  }

 private:
  static constexpr std::size_t NEVER = SIZE_MAX;
  static constexpr std::size_t FIRED = SIZE_MAX - 1;

  static std::set<void*>& live() {
    static std::set<void*> pointers;
    return pointers;
  }
  static std::size_t& countdown() {
    static std::size_t count = NEVER;
    return count;
  }
  static void* allocate(std::size_t size) {
    if (countdown() < FIRED) {
      if (countdown() == 0) {
        countdown() = FIRED;
        return nullptr;
      }
      --countdown();
    }
    void* const memory = malloc(size);
    live().insert(memory);
    return memory;
  }
  static void release(void* memory) {
    EXPECT_EQ(live().erase(memory), 1u) << "released memory that was not out";
    free(memory);
  }
};
