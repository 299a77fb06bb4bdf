// 200,000 keys placed, searched and deleted in the software shadow, with a chip that is plain memory, beside std::map
// and a flat hash map, both with the checksum that places a key on the chip.
#include <absl/container/flat_hash_map.h>
#include <malloc.h>

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

/// Keeps what is written where the chip would. Every contender gives it the item of a key that comes or goes.
struct memory_chip {
  explicit memory_chip(uint32_t spill_items) : ddr(size_t{spill_items} * DPP_SE_ITEM_BYTES) {}
  std::vector<uint8_t> ddr;
  std::vector<uint8_t> zcam = std::vector<uint8_t>(size_t{DPP_HASH_ZCELL_NUM} * DPP_HASH_ITEM_NUM * DPP_SE_ITEM_BYTES);

  static uint32_t write(void* context, const dpp_se_write* write) {
    auto* chip = static_cast<memory_chip*>(context);
    uint8_t image[DPP_SE_ITEM_BYTES];
    dpp_se_write_image(write, image);
    if (write->place == DPP_SE_DDR) {
      std::memcpy(&chip->ddr[size_t{write->index} * 16], image, write->size);
      return 0;
    }
    const size_t cell = write->zblock * DPP_HASH_ZCELL_IN_BLOCK + write->zcell;
    const size_t quarter = static_cast<size_t>(std::countl_zero(write->mask << 28));
    const size_t item = cell * DPP_HASH_ITEM_NUM + write->index;
    std::memcpy(&chip->zcam[item * DPP_SE_ITEM_BYTES + quarter * 16], image + quarter * 16, write->size);
    return 0;
  }
  template <typename Bytes>
  void item_write(uint32_t crc, const Bytes& bytes) {
    std::memcpy(&ddr[size_t{crc} % (ddr.size() / DPP_SE_ITEM_BYTES) * DPP_SE_ITEM_BYTES], bytes.data(), bytes.size());
  }
};

template <size_t N>
using key = std::array<uint8_t, N>;

struct figures {
  side_by_side::samples insert, search, remove;
};

/// Times the three operations over all keys, in one order for placing and another for searching and deleting.
template <size_t N, typename Insert, typename Search, typename Remove>
void measure(const std::vector<key<N>>& keys, const std::vector<uint32_t>& order, figures* into, Insert insert,
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
void our_round(const std::vector<key<N>>& keys, const std::vector<uint32_t>& order, figures* into) {
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
uint32_t crc_of(const key<N>& one) {
  return dpp_crc32_calc(one.data(), N, DPP_CRC32_POLY);
}

template <size_t N>
void map_round(const std::vector<key<N>>& keys, const std::vector<uint32_t>& order, figures* into) {
  memory_chip chip(SPILL_ITEMS<N>);
  std::map<key<N>, uint32_t> map;
  measure(
      keys, order, into,
      [&](const key<N>& one, uint32_t value) {
        map.emplace(one, value);
        chip.item_write(crc_of<N>(one), one);
      },
      [&](const key<N>& one) {
        side_by_side::keep(crc_of<N>(one));
        return map.find(one)->second;
      },
      [&](const key<N>& one) {
        map.erase(one);
        chip.item_write(crc_of<N>(one), key<N>{});
      });
}

/// The checksum is the hash, too: there is no cheaper one.
template <size_t N>
struct crc_hash {
  size_t operator()(const key<N>& one) const {
    return crc_of<N>(one) * 0x9E3779B97F4A7C15;
  }
};

template <size_t N>
void flat_round(const std::vector<key<N>>& keys, const std::vector<uint32_t>& order, figures* into) {
  memory_chip chip(SPILL_ITEMS<N>);
  absl::flat_hash_map<key<N>, uint32_t, crc_hash<N>> map;
  const auto hashed = [](const key<N>& one) { return static_cast<uint32_t>(crc_hash<N>{}(one) >> 16); };
  measure(
      keys, order, into,
      [&](const key<N>& one, uint32_t value) {
        map.emplace(one, value);
        chip.item_write(hashed(one), one);
      },
      [&](const key<N>& one) { return map.find(one)->second; },
      [&](const key<N>& one) {
        map.erase(one);
        chip.item_write(hashed(one), key<N>{});
      });
}

template <size_t N>
struct workload {
  std::vector<key<N>> keys;
  std::vector<uint32_t> order;

  explicit workload(size_t num) : keys(num), order(num) {
    std::mt19937 rng(N);
    for (key<N>& one : keys) {
      std::generate(one.begin(), one.end(), [&rng] { return static_cast<uint8_t>(rng()); });
    }
    for (uint32_t i = 0; i < num; i++) {
      order[i] = i;
    }
    std::shuffle(order.begin(), order.end(), rng);
  }
};

template <size_t N>
void compare() {
  const workload<N> load(KEYS);
  figures ours, map, flat;
  for (int round = 0; round < ROUNDS; round++) {
    our_round(load.keys, load.order, &ours);
    map_round(load.keys, load.order, &map);
    flat_round(load.keys, load.order, &flat);
  }
  const auto rows = [&](const char* what, auto member) {
    const std::string name = std::to_string(N) + "-byte keys, " + what;
    side_by_side::row(name, "ns", ours.*member, "std::map, CRC, item", map.*member, 0.8);
    side_by_side::row(name, "ns", ours.*member, "flat_hash_map by CRC, item", flat.*member,
                      N == 16 ? 1.5 : side_by_side::NO_LIMIT);
  };
  rows("place", &figures::insert);
  rows("search", &figures::search);
  rows("delete", &figures::remove);
}

void growth() {
  for (const size_t num : {1000u, 10000u, 100000u, 500000u}) {
    const workload<16> load(num);
    figures ours;
    for (int round = 0; round < ROUNDS; round++) {
      our_round(load.keys, load.order, &ours);
    }
    const auto size = static_cast<double>(num);
    side_by_side::point("hash table, place", size, side_by_side::quantile(ours.insert, 0.5), "ns");
    side_by_side::point("hash table, search", size, side_by_side::quantile(ours.search, 0.5), "ns");
    side_by_side::point("hash table, delete", size, side_by_side::quantile(ours.remove, 0.5), "ns");
  }
}

}  // namespace

int main(int argc, char** argv) {
  // The heap keeps what one contender gave back, for all of them: otherwise the kernel's zeroing of new pages would be
  // in the figures of those that allocate in one piece, and not in the others'.
  mallopt(M_MMAP_THRESHOLD, 1 << 30);
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
  if (side_by_side::growth_asked(argc, argv)) {
    growth();
    return 0;
  }
  compare<16>();
  compare<48>();
  return 0;
}
