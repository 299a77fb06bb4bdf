// Register access through the description beside the same fields shifted and masked by hand, both through the same
// memory-backed hook.

#include <benchmark/benchmark.h>

#include "dpp_chip/dpp_dev_setup.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_types.h"
#include "qlix_comm/bits.h"

namespace {

uint32_t memory[64];

uint32_t memory_write(uint32_t, uint32_t addr, uint32_t word_count, const uint32_t* data) {
  for (uint32_t i = 0; i < word_count; ++i) {
    memory[(addr / 4 + i) % 64] = data[i];
  }
  return 0;
}

uint32_t memory_read(uint32_t, uint32_t addr, uint32_t word_count, uint32_t* data) {
  for (uint32_t i = 0; i < word_count; ++i) {
    data[i] = memory[(addr / 4 + i) % 64];
  }
  return 0;
}

constexpr uint32_t reg_no = dpp_regs::cfg_queue_dtb_len_0_127::NUMBER;

// The peer: what a driver would hold for each register if it had no description.
[[gnu::noinline]] uint32_t doorbell_len_write(uint32_t dev_id, uint32_t queue, const uint32_t* values) {
  if (dev_id > 15 || queue > 127 || values == nullptr) {
    return 0x1205;
  }
  const uint32_t word = (values[0] & 1) << 30 | (values[1] & 1) << 29 | (values[2] & 0x3FF);
  return dpp_dev_write_channel(dev_id, 0x2000008 + queue * 0x20, 1, &word);
}

[[gnu::noinline]] uint32_t doorbell_len_read(uint32_t dev_id, uint32_t queue, uint32_t* values) {
  if (dev_id > 15 || queue > 127 || values == nullptr) {
    return 0x1205;
  }
  uint32_t word = 0;
  const uint32_t rc = dpp_dev_read_channel(dev_id, 0x2000008 + queue * 0x20, 1, &word);
  values[0] = word >> 30 & 1;
  values[1] = word >> 29 & 1;
  values[2] = word & 0x3FF;
  return rc;
}

void device_add() {
  const dpp_sys_init_ctrl init = {
      .device_type = DPP_DEV_TYPE_CHIP, .p_pcie_write_fun = memory_write, .p_pcie_read_fun = memory_read};
  static const uint32_t once = dpp_base_soft_init(0, &init);
  benchmark::DoNotOptimize(once);
}

void write_described(benchmark::State& state) {
  device_add();
  uint32_t values[3] = {1, 0, 0x123};
  for (auto _ : state) {
    benchmark::DoNotOptimize(values);
    benchmark::DoNotOptimize(dpp_reg_write(0, reg_no, 0, 5, values));
  }
}
BENCHMARK(write_described);

void write_by_hand(benchmark::State& state) {
  device_add();
  uint32_t values[3] = {1, 0, 0x123};
  for (auto _ : state) {
    benchmark::DoNotOptimize(values);
    benchmark::DoNotOptimize(doorbell_len_write(0, 5, values));
  }
}
BENCHMARK(write_by_hand);

void read_described(benchmark::State& state) {
  device_add();
  uint32_t values[3];
  for (auto _ : state) {
    benchmark::DoNotOptimize(dpp_reg_read(0, reg_no, 0, 5, values));
    benchmark::DoNotOptimize(values);
  }
}
BENCHMARK(read_described);

void read_by_hand(benchmark::State& state) {
  device_add();
  uint32_t values[3];
  for (auto _ : state) {
    benchmark::DoNotOptimize(doorbell_len_read(0, 5, values));
    benchmark::DoNotOptimize(values);
  }
}
BENCHMARK(read_by_hand);

// A field of up to 32 bits of a 64-byte register that does not begin at a word.
constexpr uint32_t width_bits = 512;
constexpr uint32_t field_msb = 205;
constexpr uint32_t field_len = 27;

void write_bits(benchmark::State& state) {
  alignas(8) uint8_t buffer[width_bits / 8] = {};
  uint32_t msb = field_msb;
  uint32_t len = field_len;
  for (auto _ : state) {
    benchmark::DoNotOptimize(msb);
    benchmark::DoNotOptimize(len);
    benchmark::DoNotOptimize(qlix_comm_write_bits_ex(buffer, width_bits, 0x5A5A5A, msb, len));
    benchmark::DoNotOptimize(buffer);
  }
}
BENCHMARK(write_bits);

// The same by a 64-bit shift: the aligned words that hold the field, joined, changed and put back.
void write_bits_by_hand(benchmark::State& state) {
  alignas(8) uint8_t buffer[width_bits / 8] = {};
  uint32_t msb = field_msb;
  uint32_t len = field_len;
  for (auto _ : state) {
    benchmark::DoNotOptimize(msb);
    benchmark::DoNotOptimize(len);
    const uint32_t lsb = msb - len + 1;
    auto* words = reinterpret_cast<uint32_t*>(buffer + (width_bits / 32 - 1 - lsb / 32) * 4);
    const bool two = msb / 32 != lsb / 32;
    uint64_t joined = __builtin_bswap32(words[0]);
    if (two) {
      joined |= uint64_t{__builtin_bswap32(words[-1])} << 32;
    }
    const uint64_t mask = (~uint64_t{0} >> (64 - len)) << lsb % 32;
    joined = (joined & ~mask) | (uint64_t{0x5A5A5A} << lsb % 32 & mask);
    words[0] = __builtin_bswap32(static_cast<uint32_t>(joined));
    if (two) {
      words[-1] = __builtin_bswap32(static_cast<uint32_t>(joined >> 32));
    }
    benchmark::DoNotOptimize(buffer);
  }
}
BENCHMARK(write_bits_by_hand);

void name_find(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(dpp_reg_no_find("pktrx_stat_parser_port_cnt"));
  }
}
BENCHMARK(name_find);

}  // namespace

BENCHMARK_MAIN();
