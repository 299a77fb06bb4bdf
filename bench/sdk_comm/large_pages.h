// Memory of large pages, as the hash tables keep their entries in. Both sides of a comparison have it: with small pages
// a step down a tree of a million records waits for the translation of its address more than for the tree.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdlib>
#include <new>
#include <vector>

template <class T>
struct LargePages {
  using value_type = T;

  LargePages() = default;
  template <class U>
  explicit(false) LargePages(const LargePages<U>& /*other*/) {}

  T* allocate(std::size_t count) {
    const std::size_t alignment = count * sizeof(T) < LARGE_PAGE ? CACHE_LINE : LARGE_PAGE;
    const std::size_t bytes = (count * sizeof(T) + alignment - 1) / alignment * alignment;
    void* const memory = std::aligned_alloc(alignment, bytes);
    if (memory == nullptr) {
      throw std::bad_alloc();
    }
    if (alignment == LARGE_PAGE) {
      madvise(memory, bytes, MADV_HUGEPAGE);
    }
    return static_cast<T*>(memory);
  }
  void deallocate(T* memory, std::size_t /*count*/) {
    free(memory);
  }
  bool operator==(const LargePages& /*other*/) const {
    return true;
  }

 private:
  static constexpr std::size_t CACHE_LINE = 64;
  static constexpr std::size_t LARGE_PAGE = std::size_t{2} << 20;
};

template <class T>
using LargePageVector = std::vector<T, LargePages<T>>;
