#include "vcard/np_commands.h"

#include <algorithm>
#include <array>

namespace vcard {

namespace {

// Every block of the chip takes its commands under its own mode number.
constexpr uint32_t mode_eram = 0;
constexpr uint32_t mode_ddr = 1;
constexpr uint32_t mode_zcam = 2;
constexpr uint32_t mode_etcam = 3;
constexpr uint32_t mode_multicast_hash = 4;

constexpr size_t quarters = 4;
constexpr size_t quarter_words = 4;
constexpr size_t answer_max = 16384;  // the buffer of an item

// Bits are numbered from 127, the first on the wire.
uint32_t bits(const TableLine& word, uint32_t msb, uint32_t length) {
  uint64_t value = 0;
  for (uint32_t i = 0; i < length; ++i) {
    const uint32_t from_start = 127 - msb + i;
    value = value << 1 | (word[from_start / 32] >> (31 - from_start % 32) & 1);
  }
  return static_cast<uint32_t>(value);
}

void put_words(std::vector<uint8_t>& bytes, std::span<const uint32_t> words) {
  for (const uint32_t word : words) {
    for (uint32_t shift = 32; shift > 0; shift -= 8) {
      bytes.push_back(static_cast<uint8_t>(word >> (shift - 8)));
    }
  }
}

}  // namespace

/// Bytes as they come over the bus, most significant first.
class NpCommands::Reader {
 public:
  explicit Reader(std::span<const uint8_t> bytes) : bytes_(bytes) {}
  bool empty() const {
    return bytes_.empty();
  }
  bool words(std::span<uint32_t> into) {
    if (bytes_.size() < into.size() * 4) {
      return false;
    }
    for (size_t i = 0; i < into.size(); ++i) {
      const uint8_t* at = &bytes_[4 * i];
      into[i] = uint32_t{at[0]} << 24 | uint32_t{at[1]} << 16 | uint32_t{at[2]} << 8 | at[3];
    }
    bytes_ = bytes_.subspan(into.size() * 4);
    return true;
  }
  bool bytes(std::span<uint8_t> into) {
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

NpStatus NpCommands::refuse(NpStatus status) {
  ++counters_.blocks;
  ++counters_.errors[status];
  return status;
}

// Goes over the commands of a block.
NpStatus NpCommands::run(std::span<const uint8_t> block,
                         const std::function<NpStatus(const TableLine&, Reader&)>& one) {
  if (block.empty()) {
    return refuse(NpStatus::empty);
  }
  ++counters_.blocks;
  Reader rest(block);
  while (!rest.empty()) {
    TableLine command;
    NpStatus status = NpStatus::truncated;
    if (rest.words(command)) {
      status = bits(command, 127, 1) == 0 ? NpStatus::not_valid : one(command, rest);
    }
    if (status != NpStatus::success) {
      ++counters_.errors[status];
      return status;
    }
    ++counters_.commands;
  }
  return NpStatus::success;
}

NpStatus NpCommands::execute(std::span<const uint8_t> block) {
  return run(block, [this](const TableLine& command, Reader& rest) { return execute_one(command, rest); });
}

NpStatus NpCommands::dump(std::span<const uint8_t> block, std::vector<uint8_t>& answer) {
  return run(block, [&](const TableLine& command, Reader&) { return dump_one(command, answer); });
}

NpStatus NpCommands::execute_one(const TableLine& command, Reader& rest) {
  switch (bits(command, 126, 3)) {
    case mode_eram:
      return execute_eram(command, rest);
    case mode_ddr:
      return execute_ddr(command, rest);
    case mode_zcam:
      return execute_zcam(command, rest);
    case mode_etcam:
      return execute_etcam(command, rest);
    case mode_multicast_hash:
      multicast_hash_ = uint64_t{bits(command, 63, 32)} << 32 | bits(command, 31, 32);
      return NpStatus::success;
    default:
      return NpStatus::unknown_mode;
  }
}

// A reading command stands alone; its data go back in place of the block.
NpStatus NpCommands::dump_one(const TableLine& command, std::vector<uint8_t>& answer) {
  if (answer.size() > answer_max - etcam_row_bytes - sizeof(TableLine)) {
    return NpStatus::unsupported;
  }
  switch (bits(command, 126, 3)) {
    case mode_eram: {
      if (bits(command, 121, 1) != 0 || bits(command, 120, 1) == 0 || bits(command, 123, 2) != 0) {
        return NpStatus::unsupported;
      }
      TableLine& line = tables_.eram(bits(command, 113, 26));
      put_words(answer, line);
      if (bits(command, 119, 1) != 0) {
        line = {};
      }
      return NpStatus::success;
    }
    case mode_ddr: {
      const uint32_t length = bits(command, 123, 2);
      const uint32_t first = bits(command, 119, 20) * ddr_lines_in_base_unit + bits(command, 29, 30);
      for (uint32_t i = 0; length < 3 && i < 1u << length; ++i) {
        put_words(answer, tables_.ddr(first + i));
      }
      return length < 3 ? NpStatus::success : NpStatus::unsupported;
    }
    case mode_zcam: {
      const uint32_t place = bits(command, 122, 7) << 9 | bits(command, 111, 9);
      put_words(answer, bits(command, 123, 1) != 0 ? tables_.zcam(place) : tables_.zblock_register(place));
      return NpStatus::success;
    }
    case mode_etcam: {
      if (bits(command, 108, 1) == 0) {
        return NpStatus::unsupported;
      }
      const EtcamRow& row = tables_.etcam(bits(command, 123, 3), bits(command, 98, 9));
      const auto& bytes = bits(command, 99, 1) != 0 ? row.mask : row.data;
      answer.insert(answer.end(), bytes.begin(), bytes.end());
      put_words(answer, TableLine{0, 0, 0, row.valid});
      return NpStatus::success;
    }
    default:
      return NpStatus::unknown_mode;
  }
}

NpStatus NpCommands::execute_eram(const TableLine& command, Reader& rest) {
  constexpr uint32_t entry_bits[] = {128, 64, 1};
  const uint32_t data_mode = bits(command, 123, 2);
  const uint32_t index = bits(command, 113, 26);
  if (bits(command, 121, 1) == 0 || bits(command, 120, 1) != 0 || data_mode >= std::size(entry_bits)) {
    return NpStatus::unsupported;
  }
  TableLine data = {bits(command, 63, 32), bits(command, 31, 32), 0, 0};
  if (data_mode == 0 && !rest.words(data)) {
    return NpStatus::truncated;
  }
  if (data_mode == 2) {
    data[0] = bits(command, 0, 1);
  }
  tables_.eram_write(entry_bits[data_mode], index, data);
  return NpStatus::success;
}

NpStatus NpCommands::execute_ddr(const TableLine& command, Reader& rest) {
  const uint32_t length = bits(command, 123, 2);
  if (length == 3) {
    return NpStatus::unsupported;
  }
  std::array<TableLine, 4> lines;
  const uint32_t count = 1u << length;
  for (uint32_t i = 0; i < count; ++i) {
    if (!rest.words(lines[i])) {
      return NpStatus::truncated;
    }
  }
  const uint32_t first = bits(command, 119, 20) * ddr_lines_in_base_unit + bits(command, 29, 30);
  for (uint32_t i = 0; i < count; ++i) {
    tables_.ddr(first + i) = lines[i];
  }
  return NpStatus::success;
}

NpStatus NpCommands::execute_zcam(const TableLine& command, Reader& rest) {
  ZcamLine data;
  if (!rest.words(data)) {
    return NpStatus::truncated;
  }
  const uint32_t place = bits(command, 122, 7) << 9 | bits(command, 111, 9);  // zgroup, zblock, zcell; line
  ZcamLine& line = bits(command, 123, 1) != 0 ? tables_.zcam(place) : tables_.zblock_register(place);
  for (size_t quarter = 0; quarter < quarters; ++quarter) {
    if ((bits(command, 115, 4) & 8u >> quarter) != 0) {
      std::copy_n(&data[quarter * quarter_words], quarter_words, &line[quarter * quarter_words]);
    }
  }
  return NpStatus::success;
}

NpStatus NpCommands::execute_etcam(const TableLine& command, Reader& rest) {
  std::array<uint8_t, etcam_row_bytes> data;
  if (bits(command, 108, 1) != 0) {
    return NpStatus::unsupported;
  }
  if (!rest.bytes(data)) {
    return NpStatus::truncated;
  }
  EtcamRow& row = tables_.etcam(bits(command, 123, 3), bits(command, 98, 9));
  auto& into = bits(command, 99, 1) != 0 ? row.mask : row.data;
  for (size_t part = 0; part < etcam_row_bytes / etcam_part_bytes; ++part) {
    if ((bits(command, 107, 8) & 0x80u >> part) != 0) {
      std::copy_n(&data[part * etcam_part_bytes], etcam_part_bytes, &into[part * etcam_part_bytes]);
    }
  }
  if (bits(command, 118, 1) != 0) {
    row.valid = static_cast<uint8_t>(bits(command, 89, 8));
  }
  return NpStatus::success;
}

}  // namespace vcard
