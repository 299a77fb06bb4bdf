// The windows of the network processor: a command register behind which a memory lies, a status register whose bit 0
// says that the command has finished, and data words.

#include <algorithm>

#include "network_processor.h"

namespace vcard {

namespace {

constexpr uint32_t read_bit = 1u << 31;
constexpr uint32_t done_bit = 1;

constexpr uint32_t eram_command = 0x310000;
constexpr uint32_t eram_status = 0x310004;
constexpr uint32_t eram_data = 0x310010;

constexpr uint32_t ddr_command = 0x320000;
constexpr uint32_t ddr_status = 0x322000;
constexpr uint32_t ddr_data = 0x320040;
constexpr uint32_t ddr_data_words = 16;

constexpr uint32_t zcam_status = 0x280000;
constexpr uint32_t zcam_command = 0x280004;
constexpr uint32_t zcam_data = 0x280008;  // word 15 first
constexpr uint32_t zcam_register_bit = 1u << 16;
constexpr uint32_t zcam_quarter_shift = 17;

constexpr uint32_t etcam_command = 0x2780a4;
constexpr uint32_t etcam_status = 0x27a004;
constexpr uint32_t etcam_data = 0x2780c0;
constexpr uint32_t etcam_valid = 0x27a000;
constexpr uint32_t etcam_data_bit = 1u << 29;
constexpr uint32_t etcam_valid_enable = 1u << 28;

constexpr uint32_t statistics_command = 0x202000;
constexpr uint32_t statistics_status = 0x202004;
constexpr uint32_t statistics_data = 0x202010;
constexpr uint32_t statistics_eram_base = 0x200000;
constexpr uint32_t statistics_eram_depth = 0x200004;
constexpr uint32_t statistics_ddr_base = 0x200008;

constexpr uint32_t clear_bit = 1u << 30;

constexpr uint32_t policer_command = 0x240050;
constexpr uint32_t policer_status = 0x242000;
constexpr uint32_t policer_data = 0x240080;
constexpr uint32_t policer_words = 8;

constexpr uint32_t cluster_command = 0x4000;
constexpr uint32_t cluster_status = 0x4004;
constexpr uint32_t cluster_data = 0x4010;
constexpr uint32_t cluster_words = 4;

constexpr uint32_t traffic_manager_command = 0x100284;
constexpr uint32_t traffic_manager_data = 0x100288;
constexpr uint32_t traffic_manager_status = 0x102000;

/// Entries that the traffic manager's queue memories hold after reset: weight 1, threshold 0x1000.
uint32_t traffic_manager_reset(uint32_t place) {
  switch (place >> 16) {
    case 2:
      return 1;
    case 4:
      return 0x1000;
    default:
      return 0;
  }
}

}  // namespace

bool NetworkProcessor::run_window(uint32_t offset, uint32_t command) {
  const bool reads = (command & read_bit) != 0;
  const uint32_t cluster = (offset - cluster_base) / cluster_stride;
  uint32_t status = 0;
  if (offset == eram_command) {
    run_eram(command);
    status = eram_status;
  } else if (offset == ddr_command) {
    run_ddr(command);
    status = ddr_status;
  } else if (offset == zcam_command) {
    run_zcam(command);
    status = zcam_status;
  } else if (offset == etcam_command) {
    run_etcam(command);
    status = etcam_status;
  } else if (offset == statistics_command) {
    run_statistics(command);
    status = statistics_status;
  } else if (offset == policer_command) {
    run_memory(policer_memory_, command & 0x3700ffff, policer_data, policer_words, reads);
    status = policer_status;
  } else if (offset == traffic_manager_command) {
    const uint32_t place = command & 0xfffff;
    traffic_manager_memory_.try_emplace(place, traffic_manager_reset(place));
    run_memory(traffic_manager_memory_, place, traffic_manager_data, 1, reads);
    status = traffic_manager_status;
  } else if (cluster < cluster_count && (offset - cluster_base) % cluster_stride == cluster_command) {
    const uint32_t base = cluster_base + cluster * cluster_stride;
    run_memory(cluster_memory_, uint64_t{cluster} << 32 | (command & 0x770fffff), base + cluster_data, cluster_words,
               reads);
    status = base + cluster_status;
  } else {
    return false;
  }
  words_[status] = done_bit;
  return true;
}

// A memory of entries that only this window sees; the words of one entry have keys of their own.
void NetworkProcessor::run_memory(std::map<uint64_t, uint32_t>& memory, uint64_t place, uint32_t data, uint32_t words,
                                  bool reads) {
  for (uint32_t i = 0; i < words; ++i) {
    const uint64_t key = words == 1 ? place : place << 4 | i;
    if (reads) {
      const auto found = memory.find(key);
      words_[data + 4 * i] = found != memory.end() ? found->second : 0;
    } else {
      memory[key] = word(data + 4 * i);
    }
  }
}

void NetworkProcessor::run_eram(uint32_t command) {
  static constexpr uint32_t widths[] = {128, 64, 32, 2, 1, 128, 128, 128};
  const uint32_t bits = widths[command >> 27 & 7];
  const uint32_t index = command & 0x3ffffff;
  uint32_t entry[4];
  if ((command & read_bit) == 0) {
    for (uint32_t i = 0; i < 4; ++i) {
      entry[i] = word(eram_data + 4 * i);
    }
    tables_.eram_write(bits, index, entry);
    return;
  }
  tables_.eram_read(bits, index, entry);
  for (uint32_t i = 0; i < 4; ++i) {
    words_[eram_data + 4 * i] = entry[i];
  }
  if ((command & clear_bit) != 0) {
    constexpr uint32_t zeros[4] = {};
    tables_.eram_write(bits, index, zeros);
  }
}

void NetworkProcessor::run_ddr(uint32_t command) {
  const uint32_t lines = std::min(1u << (command >> 28 & 3), 4u);  // of 128 bits
  const uint32_t first = (command & 0xfffffff) * lines;
  for (uint32_t i = 0; i < ddr_data_words; ++i) {
    uint32_t& data = words_[ddr_data + 4 * i];
    if (i >= 4 * lines) {
      data = (command & read_bit) != 0 ? 0 : data;
    } else if ((command & read_bit) != 0) {
      data = tables_.ddr(first + i / 4)[i % 4];
    } else {
      tables_.ddr(first + i / 4)[i % 4] = data;
    }
  }
}

void NetworkProcessor::run_zcam(uint32_t command) {
  const bool is_register = (command & zcam_register_bit) != 0;
  ZcamLine& line = is_register ? tables_.zblock_register(command & 0xffff) : tables_.zcam(command & 0xffff);
  const uint32_t quarters = command >> zcam_quarter_shift & 0xf;  // bit 3 for words 0 to 3
  for (uint32_t i = 0; i < line.size(); ++i) {
    uint32_t& data = words_[zcam_data + 4 * (15 - i)];
    if ((command & read_bit) != 0) {
      data = line[i];
    } else if (is_register || (quarters >> (3 - i / 4) & 1) != 0) {
      line[i] = data;
    }
  }
}

void NetworkProcessor::run_etcam(uint32_t command) {
  EtcamRow& row = tables_.etcam(command >> 9 & 7, command & 0x1ff);
  std::array<uint8_t, etcam_row_bytes>& bytes = (command & etcam_data_bit) != 0 ? row.data : row.mask;
  const uint32_t parts = command >> 12 & 0xff;  // bit 7 for part 0
  const bool reads = (command & read_bit) != 0;
  for (uint32_t i = 0; i < etcam_row_bytes; ++i) {
    uint32_t& data = words_[etcam_data + i / 4 * 4];
    const uint32_t shift = 24 - 8 * (i % 4);
    if (reads) {
      data = (data & ~(0xffu << shift)) | uint32_t{bytes[i]} << shift;
    } else if ((parts >> (7 - i / etcam_part_bytes) & 1) != 0) {
      bytes[i] = static_cast<uint8_t>(data >> shift);
    }
  }
  if (!reads && (command & etcam_valid_enable) != 0) {
    row.valid = static_cast<uint8_t>(command >> 20);
  }
  words_[etcam_valid] = row.valid;
}

// Counter pairs fill an area of eRAM from its base on and go on in DDR where that ends.
uint32_t* NetworkProcessor::statistics_word(uint32_t pair, uint32_t half) {
  const uint32_t depth = word(statistics_eram_depth) * 2;
  const bool in_eram = pair < depth;
  const uint32_t index = in_eram ? pair : pair - depth;
  TableLine& line = in_eram ? tables_.eram(word(statistics_eram_base) + index / 2)
                            : tables_.ddr(word(statistics_ddr_base) + index / 2);
  return &line[index % 2 * 2 + half];
}

void NetworkProcessor::run_statistics(uint32_t command) {
  constexpr uint32_t wide_bit = 1u << 29;
  const uint32_t pairs = (command & wide_bit) != 0 ? 2 : 1;
  const uint32_t first = (command & 0x3ffffff) * pairs;
  for (uint32_t i = 0; i < 4; ++i) {
    uint32_t& data = words_[statistics_data + 4 * i];
    if (i >= 2 * pairs) {
      data = (command & read_bit) != 0 ? 0 : data;
      continue;
    }
    uint32_t* counter = statistics_word(first + i / 2, i % 2);
    if ((command & read_bit) == 0) {
      *counter = data;
    } else {
      data = *counter;
      *counter = (command & clear_bit) != 0 ? 0 : *counter;
    }
  }
}

}  // namespace vcard
