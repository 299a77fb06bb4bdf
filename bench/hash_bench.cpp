// 200,000 keys placed, searched and deleted in the software shadow, with a chip that is plain memory, beside std::map
// and the same checksum.
#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <map>
#include <memory>
#include <random>

#include "dpp_se/dpp_crc.h"
#include "dpp_se/dpp_hash.h"
#include "side_by_side.h"

namespace {

constexpr size_t KEYS = 200000;
constexpr int ROUNDS = 5;
/// Items of the spill area, 512 bits each: two keys of 16 bytes or one of 48 share one.
template <size_t N>
constexpr uint32_t SPILL_ITEMS = N <= 16 ? 1u << 19 : 1u << 20;

/// Keeps what is written where the chip would.
struct memory_chip {
  explicit memory_chip(uint32_t spill_items) : ddr(size_t{spill_items} * DPP_SE_ITEM_BYTES) {}
  std::vector<uint8_t> ddr;
  std::vector<uint8_t> zcam = std::vector<uint8_t>(size_t{DPP_HASH_ZCELL_NUM} * DPP_HASH_ITEM_NUM * DPP_SE_ITEM_BYTES);

  static uint32_t write(void* context, const dpp_se_write* write) {
    auto* chip = static_cast<memory_chip*>(context);
    const size_t cell = write->zblock * DPP_HASH_ZCELL_IN_BLOCK + write->zcell;
    const size_t quarter = static_cast<size_t>(std::countl_zero(write->mask << 28));
    uint8_t* at = write->place == DPP_SE_DDR
                      ? &chip->ddr[size_t{write->index} * 16]
                      : &chip->zcam[(cell * DPP_HASH_ITEM_NUM + write->index) * DPP_SE_ITEM_BYTES + quarter * 16];
    if (write->data_bytes != 0) {
      std::memcpy(at, write->data, write->data_bytes);
    }
    std::memset(at + write->data_bytes, 0, write->size - write->data_bytes);
    return 0;
  }
};

template <size_t N>
using key = std::array<uint8_t, N>;

struct samples {
  std::vector<double> insert, search, remove;
};

/// Times the three operations over all keys, in one order for placing and another for searching and deleting.
template <size_t N, typename Insert, typename Search, typename Remove>
void measure(const std::vector<key<N>>& keys, const std::vector<uint32_t>& order, samples* into, Insert insert,
             Search search, Remove remove) {
  const double num = static_cast<double>(keys.size());
  into->insert.push_back(side_by_side::time_of([&] {
                           for (size_t i = 0; i < keys.size(); i++) {
                             insert(keys[i], static_cast<uint32_t>(i));
                           }
                         }) /
                         num);
  uint64_t sum = 0;
  into->search.push_back(side_by_side::time_of([&] {
                           for (const uint32_t i : order) {
                             sum += search(keys[i]);
                           }
                         }) /
                         num);
  side_by_side::keep(sum);
  into->remove.push_back(side_by_side::time_of([&] {
                           for (const uint32_t i : order) {
                             remove(keys[i]);
                           }
                         }) /
                         num);
}

template <size_t N>
void our_round(const std::vector<key<N>>& keys, const std::vector<uint32_t>& order, samples* into) {
  auto chip = std::make_unique<memory_chip>(SPILL_ITEMS<N>);
  auto hash = std::make_unique<dpp_hash>();
  const dpp_se_writer writer = {memory_chip::write, chip.get()};
  dpp_hash_init(hash.get(), &writer);
  for (uint32_t zblock = 0; zblock < DPP_HASH_ZBLOCK_NUM; zblock++) {
    dpp_hash_zblock_init(hash.get(), zblock, DPP_CRC16_POLY[zblock % DPP_CRC16_POLY_NUM]);
    for (uint32_t cell = 0; cell < DPP_HASH_ZCELL_IN_BLOCK; cell++) {
      dpp_hash_zcell_add(hash.get(), 0, zblock, cell, 0);
    }
  }
  const dpp_hash_table_cfg cfg = {N, 4, SPILL_ITEMS<N>, 0, 0};
  dpp_hash_table_init(hash.get(), 0, 0, &cfg);
  measure(
      keys, order, into,
      [&](const key<N>& one, uint32_t value) {
        const dpp_hash_row row = {one.data(), reinterpret_cast<const uint8_t*>(&value)};
        if (dpp_hash_insert(hash.get(), 0, 0, &row) != 0) {
          std::printf("a key found no place\n");
          std::exit(1);
        }
      },
      [&](const key<N>& one) {
        uint32_t value = 0;
        dpp_hash_search(hash.get(), 0, 0, one.data(), reinterpret_cast<uint8_t*>(&value), nullptr);
        return value;
      },
      [&](const key<N>& one) { dpp_hash_delete(hash.get(), 0, 0, one.data()); });
  dpp_hash_destroy(hash.get());
}

template <size_t N>
void peer_round(const std::vector<key<N>>& keys, const std::vector<uint32_t>& order, samples* into) {
  std::map<key<N>, uint32_t> map;
  const auto crc = [](const key<N>& one) { side_by_side::keep(dpp_crc32_calc(one.data(), N, DPP_CRC32_POLY)); };
  measure(
      keys, order, into,
      [&](const key<N>& one, uint32_t value) {
        crc(one);
        map.emplace(one, value);
      },
      [&](const key<N>& one) {
        crc(one);
        return map.find(one)->second;
      },
      [&](const key<N>& one) {
        crc(one);
        map.erase(one);
      });
}

template <size_t N>
void compare(side_by_side::table& table) {
  std::mt19937 rng(N);
  std::vector<key<N>> keys(KEYS);
  for (key<N>& one : keys) {
    std::generate(one.begin(), one.end(), [&rng] { return static_cast<uint8_t>(rng()); });
  }
  std::vector<uint32_t> order(KEYS);
  for (uint32_t i = 0; i < KEYS; i++) {
    order[i] = i;
  }
  std::shuffle(order.begin(), order.end(), rng);
  samples ours, peer;
  for (int round = 0; round < ROUNDS; round++) {
    our_round(keys, order, &ours);
    peer_round(keys, order, &peer);
  }
  const std::string what = std::to_string(N) + "-byte keys: ";
  table.row(what + "place", ours.insert, peer.insert, "0.8");
  table.row(what + "search", ours.search, peer.search, "0.8");
  table.row(what + "delete", ours.remove, peer.remove, "0.8");
  const auto all = [](const samples& of) {
    std::vector<double> sums;
    for (size_t i = 0; i < of.insert.size(); i++) {
      sums.push_back((of.insert[i] + of.search[i] + of.remove[i]) / 3);
    }
    return sums;
  };
  table.row(what + "all three", all(ours), all(peer), "0.8");
}

}  // namespace

int main() {
  side_by_side::table table("ns per operation, std::map and CRC");
  compare<16>(table);
  compare<48>(table);
  return 0;
}
