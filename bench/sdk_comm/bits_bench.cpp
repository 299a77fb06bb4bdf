// Writing and reading all fields of a register beside a hand-written shift in a 64-bit window.
#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "peers.h"
#include "qlix_comm/bits.h"

namespace {

struct Field {
  std::uint32_t msb;
  std::uint32_t length;
};

// Fields of 1 to 32 bits that fill the register without gaps, in random order.
std::vector<Field> fields_make(std::uint32_t bits) {
  std::mt19937 random(SEED);
  std::vector<Field> fields;
  for (std::uint32_t msb = bits; msb-- > 0;) {
    const std::uint32_t length = std::min(static_cast<std::uint32_t>(1 + random() % 32), msb + 1);
    fields.push_back({msb, length});
    msb -= length - 1;
  }
  std::shuffle(fields.begin(), fields.end(), random);
  return fields;
}

struct Library {
  static void write(std::uint8_t* buffer, std::uint32_t bits, Field field, std::uint32_t value) {
    qlix_comm_write_bits_ex(buffer, bits, value, field.msb, field.length);
  }
  static std::uint32_t read(const std::uint8_t* buffer, std::uint32_t bits, Field field) {
    std::uint32_t value;
    return qlix_comm_read_bits_ex(buffer, bits, &value, field.msb, field.length) == 0 ? value : 0;
  }
};

// The eight bytes that begin with the field's first byte, or the last eight of the register. A register of less than
// eight bytes stands in a buffer of eight.
struct Shift {
  struct Window {
    std::uint32_t offset;
    std::uint32_t shift;
  };
  static Window window(std::uint32_t bits, Field field) {
    const std::uint32_t bytes = bits / 8;
    const std::uint32_t first = bytes - 1 - field.msb / 8;
    const std::uint32_t offset = std::min(first, bytes < 8 ? 0 : bytes - 8);
    const std::uint32_t lowest_bit = (bytes - offset) * 8;  // bits from the window's first byte to the register's end
    return {offset, field.msb - (field.length - 1) + 64 - lowest_bit};
  }
  static std::uint64_t load(const std::uint8_t* at) {
    std::uint64_t word;
    memcpy(&word, at, sizeof word);
    return __builtin_bswap64(word);
  }
  static void write(std::uint8_t* buffer, std::uint32_t bits, Field field, std::uint32_t value) {
    const Window at = window(bits, field);
    const std::uint64_t mask = (~std::uint64_t{0} >> (64 - field.length)) << at.shift;
    std::uint64_t word = load(buffer + at.offset);
    word = __builtin_bswap64((word & ~mask) | ((std::uint64_t{value} << at.shift) & mask));
    memcpy(buffer + at.offset, &word, sizeof word);
  }
  static std::uint32_t read(const std::uint8_t* buffer, std::uint32_t bits, Field field) {
    const Window at = window(bits, field);
    return static_cast<std::uint32_t>((load(buffer + at.offset) >> at.shift) &
                                      (~std::uint64_t{0} >> (64 - field.length)));
  }
};

template <class Subject>
void write_fields(benchmark::State& state, std::uint32_t bits) {
  const std::vector<Field> fields = fields_make(bits);
  alignas(8) std::array<std::uint8_t, 512> buffer{};
  const std::size_t passes = 20000 / fields.size();  // the clock costs as much as hundreds of fields
  double elapsed = 0;
  std::size_t operations = 0;
  for ([[maybe_unused]] auto round : state) {
    elapsed += nanoseconds([&] {
      for (std::size_t pass = 0; pass < passes; ++pass) {
        for (const Field field : fields) {
          Subject::write(buffer.data(), bits, field, static_cast<std::uint32_t>(pass));
        }
        benchmark::ClobberMemory();
      }
    });
    operations += passes * fields.size();
  }
  state.counters["op"] = elapsed / static_cast<double>(operations);
}

template <class Subject>
void read_fields(benchmark::State& state, std::uint32_t bits) {
  const std::vector<Field> fields = fields_make(bits);
  alignas(8) std::array<std::uint8_t, 512> buffer{};
  const std::size_t passes = 20000 / fields.size();  // the clock costs as much as hundreds of fields
  double elapsed = 0;
  std::size_t operations = 0;
  std::uint32_t sum = 0;
  for ([[maybe_unused]] auto round : state) {
    elapsed += nanoseconds([&] {
      for (std::size_t pass = 0; pass < passes; ++pass) {
        for (const Field field : fields) {
          sum += Subject::read(buffer.data(), bits, field);
        }
        benchmark::ClobberMemory();
      }
    });
    operations += passes * fields.size();
  }
  benchmark::DoNotOptimize(sum);
  state.counters["op"] = elapsed / static_cast<double>(operations);
}

using Work = void (*)(benchmark::State& state, std::uint32_t bits);

void subject_register(const char* name, const char* kind, Work work) {
  for (const std::uint32_t bytes : {4, 8, 16, 64, 512}) {
    const std::string full = std::string("bits/") + name + "/" + kind + "/" + std::to_string(bytes);
    benchmark::RegisterBenchmark(full.c_str(), [bytes, work](benchmark::State& state) { work(state, bytes * 8); })
        ->Iterations(50)
        ->Repetitions(9);
  }
}

}  // namespace

void bits_benchmarks_register() {
  subject_register("write_bits", "write", write_fields<Library>);
  subject_register("shift_write", "write", write_fields<Shift>);
  subject_register("read_bits", "read", read_fields<Library>);
  subject_register("shift_read", "read", read_fields<Shift>);
}
