// The order in which a device behind a PCI Express root sees memory accesses, and in which its writes are seen. A fence
// between threads is too weak for it: on 64-bit ARM it reaches the processors alone, the device lies outside (the outer
// shareable domain). Each function is named by what it orders; the compiler moves no access across any of them.
#pragma once

#include <bit>

static_assert(std::endian::native == std::endian::little && sizeof(void*) == 8,
              "the card's words are little endian, and bus addresses travel in pointers");

/// Between what was written to ordinary memory and the register write that makes the device read it.
inline void qlix_comm_order_memory_before_doorbell() {
#if defined(__x86_64__)
  asm volatile("" ::: "memory");  // stores stay in order
#elif defined(__aarch64__)
  asm volatile("dmb oshst" ::: "memory");
#else
#error "say how this processor orders stores to memory before those to a device"
#endif
}

/// Between words written to device memory and the one that declares them valid. The mapping may combine writes.
inline void qlix_comm_order_words_before_ready() {
#if defined(__x86_64__)
  asm volatile("sfence" ::: "memory");
#elif defined(__aarch64__)
  asm volatile("dmb oshst" ::: "memory");
#endif
}

/// Between the read that found the device done, from its registers or from memory, and reads of what it left.
inline void qlix_comm_order_completion_before_data() {
#if defined(__x86_64__)
  asm volatile("" ::: "memory");  // loads stay in order
#elif defined(__aarch64__)
  asm volatile("dmb oshld" ::: "memory");
#endif
}
