// A BAR in memory, seen by both sides at addresses of their own, as two ends of a bus see it.
#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "common/mmio.h"
#include "common/unique_fd.h"

class test_bar {
 public:
  explicit test_bar(size_t size) : size_(size) {
    fd_.reset(memfd_create("test_bar", MFD_CLOEXEC));
    EXPECT_EQ(ftruncate(fd_.get(), static_cast<off_t>(size)), 0);
    tool_ = map();
    card_ = map();
  }
  test_bar(const test_bar&) = delete;
  test_bar& operator=(const test_bar&) = delete;
  ~test_bar() {
    munmap(tool_, size_);
    munmap(card_, size_);
  }
  kx_mmio_region tool() const {
    return {static_cast<volatile uint8_t*>(tool_), size_};
  }
  /// One more mapping, which the tool gives back itself.
  kx_mmio_region map_for_owner() const {
    return {static_cast<volatile uint8_t*>(map()), size_};
  }
  /// The card's side: one word, ordered after everything the other side wrote before.
  uint32_t read(size_t offset) const {
    return __atomic_load_n(word(offset), __ATOMIC_ACQUIRE);
  }
  void write(size_t offset, uint32_t value) const {
    __atomic_store_n(word(offset), value, __ATOMIC_RELEASE);
  }
  std::vector<uint8_t> bytes(size_t offset, size_t count) const {
    std::vector<uint8_t> result(count);
    for (size_t i = 0; i < count; ++i) {
      result[i] = static_cast<uint8_t>(read((offset + i) & ~size_t{3}) >> 8 * ((offset + i) % 4));
    }
    return result;
  }
  void put(size_t offset, const std::vector<uint8_t>& data) const {
    for (size_t i = 0; i < data.size(); ++i) {
      const size_t at = (offset + i) & ~size_t{3};
      const unsigned shift = static_cast<unsigned>(8 * ((offset + i) % 4));
      write(at, (read(at) & ~(0xFFu << shift)) | uint32_t{data[i]} << shift);
    }
  }

 private:
  void* map() const {
    void* data = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED, fd_.get(), 0);
    EXPECT_NE(data, MAP_FAILED);
    return data;
  }
  uint32_t* word(size_t offset) const {
    return reinterpret_cast<uint32_t*>(static_cast<uint8_t*>(card_) + offset);
  }
  kx_unique_fd fd_;
  size_t size_;
  void* tool_ = nullptr;
  void* card_ = nullptr;
};
