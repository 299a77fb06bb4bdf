// 200,000 keys placed, searched and deleted in the software shadow, with a chip that is plain memory, beside std::map
// and the same checksum.
#ifdef __SSE2__
#include <emmintrin.h>
#endif
#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <random>

#include "dpp_se/dpp_crc.h"
#include "dpp_se/dpp_hash.h"
#include "qlix_comm/memory.h"
#include "side_by_side.h"

namespace {

constexpr size_t KEYS = 200000;
constexpr int ROUNDS = 5;
/// Items of the spill area, 512 bits each: two keys of 16 bytes or one of 48 share one.
template <size_t N>
constexpr uint32_t SPILL_ITEMS = N <= 16 ? 1u << 19 : 1u << 20;

/// Memory of the chip, in large pages as memory for DMA is.
class chip_memory {
 public:
  explicit chip_memory(size_t bytes) : bytes_(static_cast<uint8_t*>(std::aligned_alloc(large_page, bytes))) {
    madvise(bytes_.get(), bytes, MADV_HUGEPAGE);
    std::memset(bytes_.get(), 0, bytes);
  }
  /// Whole units of 16 bytes. They pass the caches by, as what is written to a card does.
  void write(size_t at, const uint8_t* data, size_t bytes) {
    for (size_t i = 0; i < bytes; i += 16) {
#ifdef __SSE2__
      _mm_stream_si128(reinterpret_cast<__m128i*>(&bytes_[at + i]),
                       _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + i)));
#else
      std::memcpy(&bytes_[at + i], data + i, 16);
#endif
    }
  }

 private:
  static constexpr size_t large_page = size_t{2} << 20;
  struct release {
    void operator()(void* memory) const {
      std::free(memory);
    }
  };
  std::unique_ptr<uint8_t[], release> bytes_;
};

/// Keeps what is written where the chip would.
struct memory_chip {
  explicit memory_chip(uint32_t spill_items) : ddr(size_t{spill_items} * DPP_SE_ITEM_BYTES) {}
  chip_memory ddr;
  chip_memory zcam{size_t{DPP_HASH_ZCELL_NUM} * DPP_HASH_ITEM_NUM * DPP_SE_ITEM_BYTES};

  static uint32_t write(void* context, const dpp_se_write* write) {
    auto* chip = static_cast<memory_chip*>(context);
    uint8_t image[DPP_SE_ITEM_BYTES];
    dpp_se_write_image(write, image);
    if (write->place == DPP_SE_DDR) {
      chip->ddr.write(size_t{write->index} * 16, image, write->size);
      return 0;
    }
    const size_t cell = write->zblock * DPP_HASH_ZCELL_IN_BLOCK + write->zcell;
    const size_t quarter = static_cast<size_t>(std::countl_zero(write->mask << 28));
    const size_t item = cell * DPP_HASH_ITEM_NUM + write->index;
    chip->zcam.write(item * DPP_SE_ITEM_BYTES + quarter * 16, image + quarter * 16, write->size);
    return 0;
  }
};

/// The tables' memory stays with the process from round to round, as the map's does in the heap: otherwise the kernel's
/// zeroing of new pages would be in one figure and not in the other.
class kept_memory {
 public:
  static void* allocate(size_t size) {
    auto& blocks = kept();
    const auto at = blocks.find(size);
    if (at == blocks.end()) {
      auto* const block = static_cast<std::max_align_t*>(std::malloc(sizeof(std::max_align_t) + size));
      std::memcpy(block, &size, sizeof(size));
      return block + 1;
    }
    void* const block = at->second;
    blocks.erase(at);
    return block;
  }
  static void release(void* block) {
    size_t size = 0;
    if (block != nullptr) {
      std::memcpy(&size, static_cast<std::max_align_t*>(block) - 1, sizeof(size));
      kept().emplace(size, block);
    }
  }

 private:
  static std::multimap<size_t, void*>& kept() {
    static std::multimap<size_t, void*> blocks;
    return blocks;
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
  const qlix_comm_os_callback memory = {kept_memory::allocate, kept_memory::release};
  ic_comm_set_os_callback(&memory);
  side_by_side::table table("ns per operation, std::map and CRC");
  compare<16>(table);
  compare<48>(table);
  return 0;
}
