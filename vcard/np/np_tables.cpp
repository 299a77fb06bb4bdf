#include "vcard/np_tables.h"

#include <algorithm>
#include <cstring>

namespace vcard {

namespace {

// Command words are numbered from bit 127, the first bit on the wire.
uint32_t bits(const std::array<uint8_t, 16>& word, unsigned msb, unsigned length) {
  uint32_t value = 0;
  for (unsigned i = 0; i < length; i++) {
    const unsigned from_start = 127 - msb + i;
    value = value << 1 | (word[from_start / 8] >> (7 - from_start % 8) & 1u);
  }
  return value;
}

// Every block of the chip takes its commands under its own mode number.
constexpr uint32_t kModeEram = 0;
constexpr uint32_t kModeDdr = 1;
constexpr uint32_t kModeZcam = 2;
constexpr uint32_t kModeEtcam = 3;
constexpr uint32_t kModeMulticastHash = 4;

constexpr uint64_t kRowsInBaseUnit = 4096 / 16;

uint32_t zcam_key(bool memory, unsigned zblock, unsigned cell, unsigned index) {
  return (memory ? 1u << 20 : 0u) | zblock << 11 | cell << 9 | index;
}

template <typename Map, typename Key>
auto value_or_zero(const Map& map, const Key& key) {
  const auto found = map.find(key);
  return found == map.end() ? typename Map::mapped_type{} : found->second;
}

}  // namespace

class NpTables::Reader {
 public:
  explicit Reader(std::span<const uint8_t> bytes) : bytes_(bytes) {}
  bool empty() const {
    return bytes_.empty();
  }
  template <size_t N>
  bool take(std::array<uint8_t, N>* into) {
    return take(std::span<uint8_t>(*into));
  }
  bool take(std::span<uint8_t> into) {
    if (bytes_.size() < into.size()) {
      return false;
    }
    std::copy_n(bytes_.begin(), into.size(), into.begin());
    bytes_ = bytes_.subspan(into.size());
    return true;
  }

 private:
  std::span<const uint8_t> bytes_;
};

NpStatus NpTables::execute(std::span<const uint8_t> block) {
  counters_.blocks++;
  Reader rest(block);
  NpStatus status = rest.empty() ? NpStatus::empty : NpStatus::success;
  while (status == NpStatus::success && !rest.empty()) {
    Row command;
    if (!rest.take(&command)) {
      status = NpStatus::truncated;
    } else if (bits(command, 127, 1) == 0) {
      status = NpStatus::not_valid;
    } else {
      switch (bits(command, 126, 3)) {
        case kModeEram:
          status = execute_eram(command, rest);
          break;
        case kModeDdr:
          status = execute_ddr(command, rest);
          break;
        case kModeZcam:
          status = execute_zcam(command, rest);
          break;
        case kModeEtcam:
          status = execute_etcam(command, rest);
          break;
        case kModeMulticastHash:
          status = execute_multicast_hash(command);
          break;
        default:
          status = NpStatus::unknown_mode;
      }
    }
    counters_.commands += status == NpStatus::success ? 1 : 0;
  }
  if (status != NpStatus::success) {
    counters_.errors[status]++;
  }
  return status;
}

NpStatus NpTables::execute_eram(const Row& command, Reader& rest) {
  const uint32_t data_mode = bits(command, 123, 2);
  const uint32_t address = bits(command, 113, 26);
  if (bits(command, 121, 1) == 0 || bits(command, 120, 1) != 0 || data_mode == 3) {
    return NpStatus::unsupported;
  }
  if (data_mode == 0) {
    Row data;
    if (!rest.take(&data)) {
      return NpStatus::truncated;
    }
    eram_[address] = data;
  } else if (data_mode == 1) {
    std::copy_n(command.begin() + 8, 8, eram_[address / 2].begin() + address % 2 * 8);
  } else {
    uint8_t& byte = eram_[address / 128][address % 128 / 8];
    const auto mask = static_cast<uint8_t>(0x80u >> address % 8);
    byte = static_cast<uint8_t>(bits(command, 0, 1) != 0 ? byte | mask : byte & ~mask);
  }
  return NpStatus::success;
}

NpStatus NpTables::execute_ddr(const Row& command, Reader& rest) {
  const uint32_t length = bits(command, 123, 2);
  if (length == 3) {
    return NpStatus::unsupported;
  }
  const uint64_t first = bits(command, 119, 20) * kRowsInBaseUnit + bits(command, 29, 30);
  std::vector<Row> rows(size_t{1} << length);
  for (Row& row : rows) {
    if (!rest.take(&row)) {
      return NpStatus::truncated;
    }
  }
  for (size_t i = 0; i < rows.size(); i++) {
    ddr_[first + i] = rows[i];
  }
  return NpStatus::success;
}

NpStatus NpTables::execute_zcam(const Row& command, Reader& rest) {
  Item data;
  if (!rest.take(&data)) {
    return NpStatus::truncated;
  }
  const unsigned zblock = bits(command, 122, 2) * 8 + bits(command, 120, 3);
  const bool memory = bits(command, 123, 1) != 0;
  const unsigned index = bits(command, 111, 9);
  if (!memory && index != 0) {
    return NpStatus::unsupported;  // a cell has one register
  }
  Item& item = zcam_[zcam_key(memory, zblock, bits(command, 117, 2), index)];
  for (unsigned quarter = 0; quarter < 4; quarter++) {
    if ((bits(command, 115, 4) & 8u >> quarter) != 0) {
      std::copy_n(data.begin() + quarter * 16, 16, item.begin() + quarter * 16);
    }
  }
  return NpStatus::success;
}

NpStatus NpTables::execute_etcam(const Row& command, Reader& rest) {
  std::array<uint8_t, 80> data;
  if (bits(command, 108, 1) != 0) {
    return NpStatus::unsupported;  // a read
  }
  if (!rest.take(&data)) {
    return NpStatus::truncated;
  }
  auto& entry = etcam_[{bits(command, 123, 3), bits(command, 98, 9), bits(command, 99, 1)}];
  for (unsigned row = 0; row < 8; row++) {
    if ((bits(command, 107, 8) & 0x80u >> row) != 0) {
      std::copy_n(data.begin() + row * 10, 10, entry.begin() + row * 10);
    }
  }
  return NpStatus::success;
}

NpStatus NpTables::execute_multicast_hash(const Row& command) {
  multicast_hash_ = uint64_t{bits(command, 63, 32)} << 32 | bits(command, 31, 32);
  return NpStatus::success;
}

std::array<uint8_t, 16> NpTables::eram_row(uint32_t row) const {
  return value_or_zero(eram_, row);
}

NpTables::Item NpTables::zcell_item(unsigned zblock, unsigned cell, unsigned index) const {
  return value_or_zero(zcam_, zcam_key(true, zblock, cell, index));
}

NpTables::Item NpTables::zreg_item(unsigned zblock, unsigned cell) const {
  return value_or_zero(zcam_, zcam_key(false, zblock, cell, 0));
}

std::array<uint8_t, 16> NpTables::ddr_row(uint32_t base, uint32_t row) const {
  return value_or_zero(ddr_, base * kRowsInBaseUnit + row);
}

std::array<uint8_t, 80> NpTables::etcam_entry(unsigned block, unsigned address, bool mask) const {
  return value_or_zero(etcam_, std::array<unsigned, 3>{block, address, mask ? 1u : 0u});
}

}  // namespace vcard
