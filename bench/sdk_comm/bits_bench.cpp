// Writing and reading all fields of a register beside a hand-written shift in a 64-bit window.
#include <algorithm>
#include <array>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "containers.h"
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

constexpr int ROUNDS = 31;

template <class Subject>
double write_time(const std::vector<Field>& fields, std::uint32_t bits) {
  alignas(8) std::array<std::uint8_t, 512> buffer{};
  const std::size_t passes = 200000 / fields.size();
  const double elapsed = side_by_side::time_of([&] {
    for (std::size_t pass = 0; pass < passes; ++pass) {
      for (const Field field : fields) {
        Subject::write(buffer.data(), bits, field, static_cast<std::uint32_t>(pass));
      }
      side_by_side::keep(buffer[0]);
    }
  });
  return elapsed / static_cast<double>(passes * fields.size());
}

template <class Subject>
double read_time(const std::vector<Field>& fields, std::uint32_t bits) {
  alignas(8) std::array<std::uint8_t, 512> buffer{};
  const std::size_t passes = 200000 / fields.size();
  std::uint32_t sum = 0;
  const double elapsed = side_by_side::time_of([&] {
    for (std::size_t pass = 0; pass < passes; ++pass) {
      for (const Field field : fields) {
        sum += Subject::read(buffer.data(), bits, field);
      }
      side_by_side::keep(sum);
    }
  });
  return elapsed / static_cast<double>(passes * fields.size());
}

}  // namespace

void bits_bench() {
  for (const std::uint32_t bytes : {4u, 8u, 16u, 64u, 512u}) {
    const std::vector<Field> fields = fields_make(bytes * 8);
    side_by_side::samples our_writes;
    side_by_side::samples shift_writes;
    side_by_side::samples our_reads;
    side_by_side::samples shift_reads;
    for (int round = 0; round < ROUNDS; ++round) {
      our_writes.push_back(write_time<Library>(fields, bytes * 8));
      shift_writes.push_back(write_time<Shift>(fields, bytes * 8));
      our_reads.push_back(read_time<Library>(fields, bytes * 8));
      shift_reads.push_back(read_time<Shift>(fields, bytes * 8));
    }
    const std::string what = "bit fields, " + std::to_string(bytes) + " bytes: ";
    side_by_side::row(what + "write", "ns", our_writes, "64-bit shift by hand", shift_writes, 1.3);
    side_by_side::row(what + "read", "ns", our_reads, "64-bit shift by hand", shift_reads, 1.3);
  }
}
