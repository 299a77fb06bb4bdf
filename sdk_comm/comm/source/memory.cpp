#include "qlix_comm/memory.h"

#include <sys/mman.h>

#include <atomic>
#include <cstdlib>
#include <limits>
#include <memory>

#include "qlix_comm/check.h"

namespace {

constinit std::atomic<void* (*)(std::size_t)> allocate_hook{nullptr};
constinit std::atomic<void (*)(void*)> release_hook{nullptr};

constinit std::atomic<std::uint32_t> g_qlix_malloc_num{0};
constinit std::atomic<std::uint32_t> g_qlix_malloc_size{0};

constexpr std::size_t CACHE_LINE = 64;
constexpr std::size_t LARGE_PAGE = std::size_t{2} << 20;
constexpr std::uint32_t COUNTER_MAX = std::numeric_limits<std::uint32_t>::max();

void allocation_count(std::uint32_t size) {
  std::uint32_t num = g_qlix_malloc_num;
  while (!g_qlix_malloc_num.compare_exchange_weak(num, num == COUNTER_MAX ? 1 : num + 1)) {
  }
  if (num == COUNTER_MAX) {
    QLIX_COMM_PRINT("Note:g_qlixp_malloc_num is maxvalue now, reset 0\n");
  }
  std::uint32_t sum = g_qlix_malloc_size;
  while (!g_qlix_malloc_size.compare_exchange_weak(sum, sum > COUNTER_MAX - size ? size : sum + size)) {
  }
  if (sum > COUNTER_MAX - size) {
    QLIX_COMM_PRINT("Note:g_qlix_malloc_size[0x%x] and size[0x%x] sum is over maxvalue now, reset 0\n", sum, size);
  }
}

// The count never falls below 0: it may have been reset while more was out.
void release_count() {
  std::uint32_t num = g_qlix_malloc_num;
  while (num != 0 && !g_qlix_malloc_num.compare_exchange_weak(num, num - 1)) {
  }
}

}  // namespace

std::uint32_t ic_comm_set_os_callback(const qlix_comm_os_callback* callback) {
  QLIX_COMM_CHECK_POINT(callback);
  allocate_hook = callback->allocate;
  release_hook = callback->release;
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_get_os_callback(qlix_comm_os_callback* callback) {
  QLIX_COMM_CHECK_POINT(callback);
  *callback = {allocate_hook, release_hook};
  return QLIX_COMM_OK;
}

void* ic_comm_malloc_memory(std::size_t size) {
  if (size > QLIX_COMM_MALLOC_MAX) {
    QLIX_COMM_TRACE_ERROR("malloc size err, size more than 512M \n");
    return nullptr;
  }
  if (const auto allocate = allocate_hook.load(); allocate != nullptr) {
    return allocate(size);
  }
  void* const memory = malloc(size);
  if (memory != nullptr) {
    allocation_count(static_cast<std::uint32_t>(size));
  }
  return memory;
}

void* ic_comm_malloc_block(std::size_t size, void** first) {
  // What aligns a large block is never touched and costs addresses only.
  const std::size_t alignment = size < LARGE_PAGE ? CACHE_LINE : LARGE_PAGE;
  void* const memory = ic_comm_malloc_memory(alignment + size);
  if (memory == nullptr) {
    return nullptr;
  }
  std::size_t room = alignment + size;
  *first = memory;
  std::align(alignment, size, *first, room);
  if (size >= LARGE_PAGE) {
    madvise(*first, size / LARGE_PAGE * LARGE_PAGE, MADV_HUGEPAGE);
  }
  return memory;
}

void ic_comm_free_memory(void* pointer) {
  if (pointer == nullptr) {
    return;
  }
  if (const auto release = release_hook.load(); release != nullptr) {
    release(pointer);
    return;
  }
  release_count();
  free(pointer);
}

std::uint32_t qlix_comm_get_malloc_num() {
  return g_qlix_malloc_num;
}

std::uint32_t qlix_comm_get_malloc_size() {
  return g_qlix_malloc_size;
}
