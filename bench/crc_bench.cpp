// Checksums of keys and of a block, beside the table-driven generator of Boost with the same parameters.
#include <boost/crc.hpp>
#include <random>

#include "dpp_se/dpp_crc.h"
#include "side_by_side.h"

namespace {

constexpr int ROUNDS = 15;

std::vector<uint8_t> random_bytes(size_t length) {
  std::mt19937 rng(1);
  std::vector<uint8_t> data(length);
  for (uint8_t& byte : data) {
    byte = static_cast<uint8_t>(rng());
  }
  return data;
}

/// Nanoseconds for one checksum of `length` bytes, over keys that lie side by side.
template <typename Crc>
double time_one(const std::vector<uint8_t>& data, size_t length, Crc crc) {
  const size_t keys = data.size() / length;
  const size_t repeats = std::max<size_t>(1, (size_t{1} << 22) / data.size());
  uint64_t sum = 0;
  const double time = side_by_side::time_of([&] {
    for (size_t repeat = 0; repeat < repeats; repeat++) {
      for (size_t key = 0; key < keys; key++) {
        sum += crc(data.data() + key * length, length);
      }
    }
  });
  side_by_side::keep(sum);
  return time / static_cast<double>(keys * repeats);
}

template <typename Ours, typename Peer>
void compare(const char* name, Ours ours, Peer peer) {
  const std::vector<uint8_t> data = random_bytes(1 << 16);
  for (const size_t length : {size_t{8}, size_t{16}, size_t{33}, size_t{49}, size_t{4096}}) {
    if (ours(data.data(), length) != peer(data.data(), length)) {
      std::printf("%s: different checksums of %zu bytes\n", name, length);
      std::exit(1);
    }
    side_by_side::samples our_times, peer_times;
    for (int round = 0; round < ROUNDS; round++) {
      our_times.push_back(time_one(data, length, ours));
      peer_times.push_back(time_one(data, length, peer));
    }
    side_by_side::row(std::string(name) + ", " + std::to_string(length) + " bytes", "ns", our_times,
                      "boost::crc_optimal", peer_times, length < 33 ? 1.0 : 0.5);
  }
}

}  // namespace

int main() {
  compare(
      "CRC-16 0x1021",
      [](const uint8_t* data, size_t length) { return dpp_crc16_table_lookup(data, length, 0x1021) & 0xFFFF; },
      [](const uint8_t* data, size_t length) {
        boost::crc_optimal<16, 0x1021, 0, 0, false, false> crc;
        crc.process_bytes(data, length);
        return uint32_t{crc.checksum()};
      });
  compare(
      "CRC-32 0x04c11db7",
      [](const uint8_t* data, size_t length) { return dpp_crc32_calc(data, length, DPP_CRC32_POLY); },
      [](const uint8_t* data, size_t length) {
        boost::crc_optimal<32, 0x04C11DB7, 0, 0, false, false> crc;
        crc.process_bytes(data, length);
        return uint32_t{crc.checksum()};
      });
  return 0;
}
