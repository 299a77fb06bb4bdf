#include "vcard/np_search.h"

#include <algorithm>
#include <array>

#include "np_crc.h"

namespace vcard {

namespace {

constexpr uint32_t ddr_polynomial = 0x04c11db7;
constexpr uint32_t lines_in_item = 4;
constexpr size_t item_bytes = 64;
using Item = std::array<uint8_t, item_bytes>;

constexpr uint32_t zreg_register = 0x10;  // of each zblock
constexpr uint32_t item_mask = 0x1ff;

constexpr uint8_t valid_bit = 0x80;

void put_words(std::span<const uint32_t> words, uint8_t* into) {
  for (size_t i = 0; i < words.size() * 4; ++i) {
    into[i] = static_cast<uint8_t>(words[i / 4] >> (24 - 8 * (i % 4)));
  }
}

Item item_of(const ZcamLine& line) {
  Item item;
  put_words(line, item.data());
  return item;
}

Item ddr_item(NpTables& tables, uint32_t base, uint32_t first) {
  Item item;
  for (uint32_t i = 0; i < lines_in_item; ++i) {
    put_words(tables.ddr(base * ddr_lines_in_base_unit + first + i), &item[size_t{16} * i]);
  }
  return item;
}

uint32_t big_endian(std::span<const uint8_t> bytes) {
  uint32_t value = 0;
  for (const uint8_t byte : bytes) {
    value = value << 8 | byte;
  }
  return value;
}

// An entry in an item: valid bit, width and table number in its first byte, the engine in its second, then key and
// result. Entries stand at multiples of their width.
const uint8_t* find_in_item(const Item& item, const NpHashSetup& setup, std::span<const uint8_t> key,
                            size_t result_length) {
  for (size_t at = 0; at < item.size();) {
    const uint8_t head = item[at];
    const size_t width = (head & valid_bit) == 0 ? 16 : size_t{16} << (head >> 5 & 3);
    if ((head & valid_bit) != 0 && width <= item.size() - at && key.size() + result_length + 2 <= width &&
        (head & 0x1f) == setup.table && item[at + 1] == setup.engine &&
        std::equal(key.begin(), key.end(), &item[at + 2])) {
      return item.data() + at + 2 + key.size();
    }
    at += width;
  }
  return nullptr;
}

bool bit_at(std::span<const uint8_t> bytes, size_t index) {
  return (bytes[index / 8] >> (7 - index % 8) & 1) != 0;
}

bool same_bits(std::span<const uint8_t> a, std::span<const uint8_t> b, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    if (bit_at(a, i) != bit_at(b, i)) {
      return false;
    }
  }
  return true;
}

/// The area's head: what kind of keys, how many chains, which lengths are worth a look.
struct LpmHead {
  size_t key_size;
  uint32_t chains;
  Item item;
};

struct LpmAnswer {
  size_t length = 0;
  std::optional<uint32_t> result;
};

/// Takes the item's routes that cover the address and are longer than the answer so far. The whole bytes of the anchor
/// stand once, then the slots: as many further bytes as byte 2 says, the length, the result.
void search_item(const Item& item, size_t key_size, std::span<const uint8_t> address, size_t length,
                 LpmAnswer& answer) {
  const size_t shared = length / 8;
  const size_t own = item[2];
  if ((item[0] & valid_bit) == 0 || item[1] != length || shared + own > key_size) {
    return;
  }
  const std::span<const uint8_t> anchor = std::span(item).subspan(8, shared);
  std::vector<uint8_t> key(anchor.begin(), anchor.end());
  std::span<const uint8_t> rest = std::span(item).subspan(8 + shared);
  for (size_t i = 0; i < (item[0] & 0x0fu) && rest.size() >= own + 4; ++i) {
    key.resize(shared);
    key.insert(key.end(), rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(own));
    const size_t route_length = rest[own];
    if ((!answer.result.has_value() || route_length > answer.length) && route_length >= length &&
        route_length <= key.size() * 8 && same_bits(key, address, route_length)) {
      answer = {route_length, big_endian(rest.subspan(own + 1, 3))};
    }
    rest = rest.subspan(own + 4);
  }
}

/// Looks through the chain of one anchor length for routes that are longer than the answer so far.
void search_length(NpTables& tables, uint32_t base, const LpmHead& head, std::span<const uint8_t> address,
                   size_t length, LpmAnswer& answer) {
  std::vector<uint8_t> input(address.begin(), address.end());
  for (size_t i = length; i < head.key_size * 8; ++i) {
    input[i / 8] = static_cast<uint8_t>(input[i / 8] & ~(0x80u >> i % 8));
  }
  input.push_back(static_cast<uint8_t>(length));
  const uint32_t chain = np_crc(input, 32, ddr_polynomial) % head.chains;
  const Item chains = ddr_item(tables, base, lines_in_item + chain / 16 * lines_in_item);
  uint32_t next = big_endian(std::span(chains).subspan(size_t{chain % 16} * 4, 4));
  // A ring would be a fault of whoever wrote the chain; the chip gives up.
  for (uint32_t steps = 0; next != 0 && steps < 100000; ++steps) {
    const uint32_t items = lines_in_item + head.chains / 4;
    const Item item = ddr_item(tables, base, items + (next - 1) * lines_in_item);
    next = big_endian(std::span(item).subspan(4, 4));
    search_item(item, head.key_size, address, length, answer);
  }
}

}  // namespace

std::optional<std::vector<uint8_t>> np_hash_search(NpTables& tables, const NpHashSetup& setup,
                                                   std::span<const uint8_t> key, size_t result_length) {
  if (key.empty()) {
    return std::nullopt;
  }
  std::vector<uint8_t> input(key.begin() + 1, key.end());
  input.push_back(key[0] & 0x1f);
  const auto answer = [&](const Item& item) -> std::optional<std::vector<uint8_t>> {
    const uint8_t* result = find_in_item(item, setup, key, result_length);
    if (result == nullptr) {
      return std::nullopt;
    }
    return std::vector<uint8_t>(result, result + result_length);
  };
  if (setup.ddr_base.has_value()) {
    const uint32_t index = np_crc(input, 32, ddr_polynomial) % setup.ddr_items;
    if (auto found = answer(ddr_item(tables, *setup.ddr_base, index * lines_in_item))) {
      return found;
    }
  }
  for (const auto& [zblock, cell] : setup.zcells) {
    const uint32_t crc = np_crc(input, 16, setup.polynomial.at(zblock));
    if (auto found = answer(item_of(tables.zcam(zblock << 11 | cell << 9 | (crc >> cell & item_mask))))) {
      return found;
    }
  }
  for (const auto& [zblock, cell] : setup.zcells) {
    if (auto found = answer(item_of(tables.zblock_register(zblock << 11 | zreg_register)))) {
      return found;
    }
  }
  return std::nullopt;
}

std::optional<uint32_t> np_lpm_search(NpTables& tables, uint32_t base, std::span<const uint8_t> address) {
  const Item first = ddr_item(tables, base, 0);
  const LpmHead head = {first[1], 1u << (first[2] & 31), first};
  if ((first[0] & valid_bit) == 0 || head.key_size != address.size()) {
    return std::nullopt;
  }
  LpmAnswer answer;
  for (size_t length = 0; length <= head.key_size * 8; ++length) {
    if (bit_at(std::span(head.item).subspan(8), length)) {
      search_length(tables, base, head, address, length, answer);
    }
  }
  return answer.result;
}

}  // namespace vcard
