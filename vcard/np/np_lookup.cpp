// The chip's searches.
#include <algorithm>

#include "np_crc.h"
#include "vcard/np_tables.h"

namespace vcard {

namespace {

constexpr uint32_t kDdrPolynomial = 0x04C11DB7;

// An entry in an item: valid bit, width and table number in its first byte, the engine in its second, then key and
// result. Entries stand at multiples of their width.
const uint8_t* find_in_item(std::span<const uint8_t> item, const NpHashSetup& setup, std::span<const uint8_t> key,
                            size_t result_length) {
  for (size_t at = 0; at < item.size();) {
    const uint8_t head = item[at];
    const size_t width = (head & 0x80) == 0 ? 16 : size_t{16} << (head >> 5 & 3);
    if ((head & 0x80) != 0 && width <= item.size() - at && (head & 0x1F) == setup.table &&
        item[at + 1] == setup.engine && key.size() + result_length + 2 <= width &&
        std::equal(key.begin(), key.end(), item.begin() + static_cast<std::ptrdiff_t>(at) + 2)) {
      return &item[at + 2 + key.size()];
    }
    at += width;
  }
  return nullptr;
}

bool bit_at(std::span<const uint8_t> bytes, size_t index) {
  return (bytes[index / 8] >> (7 - index % 8) & 1) != 0;
}

bool same_bits(std::span<const uint8_t> a, std::span<const uint8_t> b, size_t count) {
  for (size_t i = 0; i < count; i++) {
    if (bit_at(a, i) != bit_at(b, i)) {
      return false;
    }
  }
  return true;
}

uint32_t big_endian(std::span<const uint8_t> bytes) {
  uint32_t value = 0;
  for (const uint8_t byte : bytes) {
    value = value << 8 | byte;
  }
  return value;
}

}  // namespace

std::optional<NpTables::Bytes> NpTables::hash_lookup(const NpHashSetup& setup, std::span<const uint8_t> key,
                                                     size_t result_length) const {
  if (key.empty()) {
    return std::nullopt;
  }
  Bytes input(key.begin() + 1, key.end());
  input.push_back(key[0] & 0x1F);
  const auto answer = [&](std::span<const uint8_t> item) -> std::optional<Bytes> {
    const uint8_t* result = find_in_item(item, setup, key, result_length);
    return result == nullptr ? std::nullopt : std::optional<Bytes>(Bytes(result, result + result_length));
  };
  if (setup.ddr_base.has_value()) {
    const uint32_t index = np_crc(input, 32, kDdrPolynomial) % setup.ddr_items;
    Bytes item;
    for (uint32_t row = 0; row < 4; row++) {
      const auto part = ddr_row(*setup.ddr_base, index * 4 + row);
      item.insert(item.end(), part.begin(), part.end());
    }
    if (auto found = answer(item)) {
      return found;
    }
  }
  for (const auto& [zblock, cell] : setup.zcells) {
    const uint32_t crc = np_crc(input, 16, setup.polynomial.at(zblock));
    if (auto found = answer(zcell_item(zblock, cell, crc >> cell & 0x1FF))) {
      return found;
    }
  }
  for (const auto& [zblock, cell] : setup.zcells) {
    if (auto found = answer(zreg_item(zblock, cell))) {
      return found;
    }
  }
  return std::nullopt;
}

std::optional<uint32_t> NpTables::lpm_lookup(uint32_t base, std::span<const uint8_t> address) const {
  const auto rows = [&](uint32_t first) {
    Bytes item;
    for (uint32_t row = 0; row < 4; row++) {
      const auto part = ddr_row(base, first + row);
      item.insert(item.end(), part.begin(), part.end());
    }
    return item;
  };
  const Bytes head = rows(0);
  const size_t key_size = head[1];
  if ((head[0] & 0x80) == 0 || key_size != address.size()) {
    return std::nullopt;
  }
  const uint32_t chains = uint32_t{1} << head[2];
  std::optional<uint32_t> result;
  size_t best = 0;
  for (size_t len = 0; len <= key_size * 8; len++) {
    if (!bit_at(std::span(head).subspan(8), len)) {
      continue;
    }
    Bytes input(address.begin(), address.end());
    for (size_t i = len; i < key_size * 8; i++) {
      input[i / 8] = static_cast<uint8_t>(input[i / 8] & ~(0x80u >> i % 8));
    }
    input.push_back(static_cast<uint8_t>(len));
    const uint32_t chain = np_crc(input, 32, kDdrPolynomial) % chains;
    const auto chain_row = ddr_row(base, 4 + chain / 4);
    uint32_t next = big_endian(std::span(chain_row).subspan(chain % 4 * 4, 4));
    // A walk that never ends would be a fault of whoever wrote the chain; the chip gives up.
    for (uint32_t steps = 0; next != 0 && steps < 100000; steps++) {
      const Bytes item = rows(4 + chains / 4 + (next - 1) * 4);
      next = big_endian(std::span(item).subspan(4, 4));
      const std::span<const uint8_t> slots = std::span(item).subspan(8);
      if ((item[0] & 0x80) == 0 || item[1] != len || !same_bits(slots, address, len)) {
        continue;
      }
      for (size_t i = 0; i < (item[0] & 0x0Fu); i++) {
        const auto slot = slots.subspan(i * (key_size + 4), key_size + 4);
        const size_t route_len = slot[key_size];
        if ((!result.has_value() || route_len > best) && same_bits(slot, address, route_len)) {
          best = route_len;
          result = big_endian(slot.subspan(key_size + 1, 3));
        }
      }
    }
  }
  return result;
}

}  // namespace vcard
