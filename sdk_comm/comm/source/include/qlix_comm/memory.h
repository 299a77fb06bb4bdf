// Memory of the common library and the network-processor driver: one way to take it and one to give it back, with
// hooks for an owner that wants to serve both.
#pragma once

#include <cstddef>
#include <cstdint>

/// Largest single request, 512 MiB.
inline constexpr std::size_t QLIX_COMM_MALLOC_MAX = 0x20000000;

/// Hooks; a null entry leaves its half to malloc or free. Set both or none: each is used for every call of its half.
struct qlix_comm_os_callback {
  void* (*allocate)(std::size_t size);
  void (*release)(void* pointer);
};

/// Copies the record (null: 0x1201). Set it before memory is taken.
std::uint32_t ic_comm_set_os_callback(const qlix_comm_os_callback* callback);
/// Copies the record in force to `callback` (null: 0x1201).
std::uint32_t qlix_comm_get_os_callback(qlix_comm_os_callback* callback);

/// Takes `size` bytes, contents undefined; null when there are none or `size` is above QLIX_COMM_MALLOC_MAX. Goes back
/// through ic_comm_free_memory.
[[nodiscard]] void* ic_comm_malloc_memory(std::size_t size);
/// The same for what is walked at random: `*first`, inside the block, begins a cache line, or from 2 MiB on a large
/// page, and the system is asked for large pages. What goes back is the block that is returned, not `*first`.
[[nodiscard]] void* ic_comm_malloc_block(std::size_t size, void** first);
/// Gives memory back; null is ignored.
void ic_comm_free_memory(void* pointer);

/// Live allocations, and bytes handed out since the start or the last wrap to 0. Both count only what malloc served.
std::uint32_t qlix_comm_get_malloc_num();
std::uint32_t qlix_comm_get_malloc_size();
