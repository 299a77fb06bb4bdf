// A device whose raw hooks end in memory: words by address, and behind them the two indirect windows that the register
// layer drives itself. Written from the bus's side; it knows no row of the description.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "dpp_chip/dpp_dev.h"

namespace np_test {

struct memory_device {
  std::map<uint32_t, uint32_t> words;
  std::map<uint32_t, std::array<uint32_t, 16>> alg_lines;
  std::map<uint32_t, uint32_t> tm_words;
  std::vector<std::pair<uint32_t, uint32_t>> writes;  // address and value of every word written, in order
  uint32_t reads = 0;
  uint32_t fail_code = 0;            // returned in place of every access
  uint32_t good_reads = UINT32_MAX;  // reads after which every further one fails with code 1
  bool windows_answer = true;        // a window's read finishes
  uint32_t window_shift = 0;         // agent mode: where the search engine's window is seen
  bool record = true;
};

/// The memory behind the device that dpp_dev_add was given these hooks for.
memory_device& memory();

uint32_t memory_write(uint32_t dev_id, uint32_t addr, uint32_t word_count, const uint32_t* data);
uint32_t memory_read(uint32_t dev_id, uint32_t addr, uint32_t word_count, uint32_t* data);

/// Device `dev_id` on fresh memory, both access paths, no agent mode, print settings as at the start.
void memory_device_add(uint32_t dev_id, uint32_t access_type = DPP_DEV_ACCESS_TYPE_PCIE);

}  // namespace np_test
