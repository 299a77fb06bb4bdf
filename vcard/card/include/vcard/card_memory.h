// The card's internal address space: 64-bit byte addresses, 32-bit words. The tunnel of the configuration space and the
// card's own processors see it. Models claim ranges; what nobody claims is memory that reads 0 until it is written.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <unordered_map>

namespace vcard {

class RequestLog;

/// A claimed range. Offsets are from the base of the range, multiples of 4.
class CardMemoryBlock {
 public:
  virtual ~CardMemoryBlock() = default;
  virtual uint32_t read(uint64_t offset) = 0;
  virtual void write(uint64_t offset, uint32_t value) = 0;
};

class CardMemory {
 public:
  explicit CardMemory(RequestLog& log) : log_(log) {}

  /// Claims [base, base + size). `block` stays the caller's and must outlive this. Claiming a range that overlaps a
  /// claimed one is a mistake of the models and ends the program with a line that says so.
  void attach(uint64_t base, uint64_t size, CardMemoryBlock* block);

  /// An access from outside the card: logged as "card_read ADDRESS VALUE" / "card_write ADDRESS VALUE". The two low
  /// address bits are ignored.
  uint32_t read(uint64_t address);
  void write(uint64_t address, uint32_t value);

  /// The same without a log line, for models that look at or set words.
  uint32_t peek(uint64_t address);
  void poke(uint64_t address, uint32_t value);

 private:
  struct Claim {
    uint64_t size;
    CardMemoryBlock* block;
  };
  const std::pair<const uint64_t, Claim>* find(uint64_t address) const;

  RequestLog& log_;
  std::map<uint64_t, Claim> claims_;
  std::unordered_map<uint64_t, uint32_t> ram_;
};

}  // namespace vcard
