// Asking for memory before it is needed.
#pragma once

#include <cstdint>

/// Asks for the cache line at `at`, which need not exist.
inline void qlix_comm_prefetch(const void* at) {
  __builtin_prefetch(at);
  // A function that only prefetches has no effect in the compiler's eyes, and its calls would be dropped.
  asm volatile("");
}

namespace qlix_comm_detail {

/// Asks for a node of `size` bytes and for what begins behind it, mostly its key.
inline void record_prefetch(const void* node, std::uint32_t size) {
  qlix_comm_prefetch(node);
  const auto behind = reinterpret_cast<std::uintptr_t>(node) + size;  // the node may be null
  qlix_comm_prefetch(reinterpret_cast<const void*>(behind));          // NOLINT(performance-no-int-to-ptr)
}

}  // namespace qlix_comm_detail
