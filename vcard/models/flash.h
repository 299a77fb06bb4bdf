// The card's flash: 128 MiB, erased by blocks to all ones, written by clearing bits. Content that was not erased first
// spoils what is written over it, as on the real part.
#pragma once

#include <cstdint>
#include <string>

#include "vcard/bytes.h"
#include "vcard/storage.h"

namespace vcard {

class Flash {
 public:
  static constexpr uint64_t size = 0x8000000;
  static constexpr uint64_t block_size = 4096;

  /// Opens the flash file, which keeps its content from run to run; memory when `path` is empty.
  bool create(const std::string& path) {
    return storage_.create(path, size);
  }

  /// Erases every block that holds a byte of [address, address + length).
  void erase(uint64_t address, uint64_t length);
  void write(uint64_t address, ByteView data);
  /// The 32-bit sum of the bytes of [address, address + length).
  uint32_t sum(uint64_t address, uint64_t length) const;

 private:
  Storage storage_;
};

}  // namespace vcard
