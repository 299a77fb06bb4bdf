#include "common/device_memory.h"

#include <signal.h>
#include <sys/mman.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string_view>

std::atomic<uint32_t> kx_device_memory_losses = 0;

namespace {

/// Found by the fault handler, which may run on any thread while another one is added.
struct guarded_region {
  std::atomic<uintptr_t> base = 0;  // 0: free
  std::atomic<size_t> size = 0;
  std::atomic<bool> lost = false;
  char name[48] = {};
};

// A shell keeps the mapping of every function that was bound.
constexpr size_t REGIONS_MAX = 256;
constinit guarded_region regions[REGIONS_MAX];

struct sigaction former;
size_t page_size = 0;  // 0: the handler is not installed

guarded_region* region_of(uintptr_t address) {
  for (guarded_region& region : regions) {
    const uintptr_t base = region.base.load(std::memory_order_acquire);
    if (base != 0 && address >= base && address - base < region.size) {
      return &region;
    }
  }
  return nullptr;
}

struct page_range {
  void* base;
  size_t size;
};

// A BAR smaller than a page lies anywhere in one.
page_range pages_of(uintptr_t base, size_t size) {
  const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
  const uintptr_t first = base - base % page;
  const uintptr_t end = (base + size + page - 1) / page * page;
  return {reinterpret_cast<void*>(first), end - first};  // NOLINT(performance-no-int-to-ptr)
}

// Puts a page of ones in the place of one that is gone, in one step: no other thread sees it half made.
bool page_replace(uintptr_t address) {
  void* const fresh = mmap(nullptr, page_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (fresh == MAP_FAILED) {
    return false;
  }
  memset(fresh, 0xFF, page_size);
  void* const place = reinterpret_cast<void*>(address - address % page_size);  // NOLINT(performance-no-int-to-ptr)
  if (mremap(fresh, page_size, page_size, MREMAP_MAYMOVE | MREMAP_FIXED, place) == MAP_FAILED) {
    munmap(fresh, page_size);
    return false;
  }
  return true;
}

// The line leaves in one call, from where its parts lie: nothing is copied, so nothing can be too long.
void loss_tell(const char* name) {
  const std::string_view erase = isatty(STDERR_FILENO) == 1 ? "\r\033[K" : "";  // a status line may be shown
  const std::string_view texts[] = {erase, "kxtool: ", name,
                                    " was taken away, by a driver or with the card: it reads all ones from now on\n"};
  iovec parts[std::size(texts)];
  for (size_t i = 0; i < std::size(texts); ++i) {
    parts[i] = {.iov_base = const_cast<char*>(texts[i].data()), .iov_len = texts[i].size()};
  }
  [[maybe_unused]] const ssize_t written = writev(STDERR_FILENO, parts, std::size(parts));
}

// On the thread that made the access. Uses nothing but system calls and this file's own memory.
void on_bus_error(int number, siginfo_t* info, void*) {
  const int error = errno;
  const bool is_fault = info->si_code > 0;  // else another process sent it
  const auto address = reinterpret_cast<uintptr_t>(info->si_addr);
  guarded_region* const region = is_fault ? region_of(address) : nullptr;
  if (region == nullptr || !page_replace(address)) {
    sigaction(SIGBUS, &former, nullptr);  // the access is made again, and the fault takes its former effect
    if (!is_fault) {
      raise(number);
    }
  } else if (!region->lost.exchange(true)) {
    kx_device_memory_losses.fetch_add(1);
    loss_tell(region->name);
  }
  errno = error;
}

void handler_install() {
  if (page_size != 0) {
    return;
  }
  page_size = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  struct sigaction action = {};
  action.sa_sigaction = on_bus_error;
  action.sa_flags = SA_SIGINFO | SA_RESTART;
  sigfillset(&action.sa_mask);
  sigaction(SIGBUS, &action, &former);
}

}  // namespace

void kx_device_memory_guard(volatile void* base, size_t size, const char* name) {
  handler_install();
  for (guarded_region& region : regions) {
    if (region.base == 0) {
      region.size = size;
      region.lost = false;
      snprintf(region.name, sizeof region.name, "%s", name);
      region.base.store(reinterpret_cast<uintptr_t>(base), std::memory_order_release);
      return;
    }
  }
}

void kx_device_memory_release(volatile void* base) {
  for (guarded_region& region : regions) {
    if (base != nullptr && region.base == reinterpret_cast<uintptr_t>(base)) {
      region.base = 0;
    }
  }
}

int kx_device_memory_unmap(volatile void* base, size_t size) {
  kx_device_memory_release(base);
  const auto [place, whole] = pages_of(reinterpret_cast<uintptr_t>(base), size);
  return munmap(place, whole);
}

bool kx_device_memory_is_lost(const volatile void* address) {
  const guarded_region* region = region_of(reinterpret_cast<uintptr_t>(address));
  return region != nullptr && region->lost;
}

void kx_device_memory_rearm() {
  if (kx_device_memory_losses.exchange(0) == 0) {
    return;
  }
  for (guarded_region& region : regions) {
    if (region.base == 0 || !region.lost) {
      continue;
    }
    // A mapping of an empty file: every access to it faults.
    const int fd = memfd_create("kxtool", MFD_CLOEXEC);
    const auto [place, size] = pages_of(region.base, region.size);
    if (fd >= 0 && mmap(place, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_FIXED, fd, 0) != MAP_FAILED) {
      region.lost = false;
    }
    if (fd >= 0) {
      close(fd);
    }
  }
}

void kx_device_mapping::reset(void* data, size_t size, const char* name) {
  if (data_ != nullptr) {
    kx_device_memory_unmap(data_, size_);
  }
  data_ = data;
  size_ = size;
  if (data_ != nullptr) {
    kx_device_memory_guard(data_, size_, name);
  }
}
