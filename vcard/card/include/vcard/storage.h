// Memory that the card shares with the outside: a sparse file mapped shared, or anonymous memory when no file is
// wanted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace vcard {

/// Owns a shared mapping. 32-bit accesses are single and atomic; both sides of a wire use them at the same time.
class Storage {
 public:
  Storage() = default;
  Storage(Storage&& other) noexcept;
  Storage& operator=(Storage&& other) noexcept;
  Storage(const Storage&) = delete;
  Storage& operator=(const Storage&) = delete;
  ~Storage();

  /// A zeroed mapping of `size` bytes; with a path the file is created or kept, and made `size` bytes long (sparse).
  /// False with errno when the system refuses.
  bool create(const std::string& path, size_t size);

  /// Moves to a new file under the same path, with what it holds. Whoever mapped the old file has a bus error at its
  /// next touch; whoever opens the path again shares the new one. Nothing for anonymous memory. False with errno, and
  /// then nothing is changed.
  bool renew();

  size_t size() const {
    return size_;
  }
  std::span<uint8_t> bytes() const {
    return {data_, size_};
  }

  /// The aligned 32-bit word at `offset`; beyond the end reads give all ones and writes are dropped, as on a bus.
  uint32_t read32(size_t offset) const;
  void write32(size_t offset, uint32_t value);

 private:
  std::string path_;  // "" for anonymous memory
  uint8_t* data_ = nullptr;
  size_t size_ = 0;
};

}  // namespace vcard
