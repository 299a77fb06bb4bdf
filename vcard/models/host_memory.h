// The host's memory as the card reaches it by DMA: by bus address. Huge pages of the processes under the card are found
// by their frame number in the page map.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <span>

namespace vcard {

class Card;

class HostMemory {
 public:
  explicit HostMemory(Card& card) : card_(card) {}
  /// False when no process under the card has the memory behind the address in one huge page.
  bool read(uint64_t bus, std::span<uint8_t> into);
  bool write(uint64_t bus, std::span<const uint8_t> from);

 private:
  struct Place {
    pid_t pid;
    uint64_t address;
  };
  std::optional<Place> find(uint64_t bus, size_t length);

  Card& card_;
  // Where the last page was found; checked again before every use.
  std::optional<Place> last_;
};

}  // namespace vcard
