// Device memory that is taken away while it is mapped: a driver loads, the card is pulled, the function is reset away.
// The kernel answers the next access with a signal; here it becomes what a read of a card that is gone gives, all ones,
// and one line that names the device. Faults in any other memory end the tool as ever.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

/// How many guarded regions were found taken away since the last kx_device_memory_rearm.
extern std::atomic<uint32_t> kx_device_memory_losses;

/// Guards `size` bytes of mapped device memory at `base`, which may begin and end within a page. From now on an access
/// to a page that was taken away reads all ones and what is written stays in this process; the first one says so on
/// standard error, by `name` (copied). Any thread may access; one thread guards and releases.
void kx_device_memory_guard(volatile void* base, size_t size, const char* name);

/// Ends the guarding, before the memory is unmapped. Harmless for memory that is not guarded.
void kx_device_memory_release(volatile void* base);

/// Ends the guarding, if any, and unmaps every page that holds one of the `size` bytes at `base`. Returns what munmap
/// does.
int kx_device_memory_unmap(volatile void* base, size_t size);

/// True when `address` lies in guarded memory that was found taken away.
bool kx_device_memory_is_lost(const volatile void* address);

/// Counts from 0 again and lets the next access to memory that was lost fault and speak again: each command tells of
/// its own.
void kx_device_memory_rearm();

/// Owns a guarded mapping of device memory; null owns nothing.
class kx_device_mapping {
 public:
  kx_device_mapping() = default;
  kx_device_mapping(const kx_device_mapping&) = delete;
  kx_device_mapping& operator=(const kx_device_mapping&) = delete;
  ~kx_device_mapping() {
    reset(nullptr, 0, "");
  }
  /// Unmaps what it has and owns another mapping.
  void reset(void* data, size_t size, const char* name);

 private:
  void* data_ = nullptr;
  size_t size_ = 0;
};
