// A writer that carries table commands to the card's table model, with faults.
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "dpp_se/dpp_se_hw.h"
#include "vcard/np_commands.h"

struct chip_link {
  vcard::NpTables own;
  vcard::NpTables& tables = own;
  vcard::NpCommands chip{tables};
  uint32_t writes = 0;
  uint32_t fail_from = UINT32_MAX;  // write number from which on writes fail
  uint32_t fail_num = 0;            // how many of them
  bool carried_out = false;         // a failing write reaches the chip all the same

  static constexpr uint32_t FAULT = 0x5A5A5A01;

  dpp_se_writer writer() {
    return {[](void* context, const dpp_se_write* write) { return static_cast<chip_link*>(context)->take(*write); },
            this};
  }
  void fail(uint32_t after, uint32_t num, bool carry_out) {
    fail_from = writes + after;
    fail_num = num;
    carried_out = carry_out;
  }
  void heal() {
    fail_num = 0;
  }

 private:
  uint32_t take(const dpp_se_write& write) {
    const bool failing = writes >= fail_from && writes - fail_from < fail_num;
    writes++;
    if (!failing || carried_out) {
      dpp_dtb_entry entry;
      EXPECT_EQ(dpp_se_write_pack(&write, &entry), 0u);
      std::vector<uint8_t> block(entry.cmd, entry.cmd + sizeof(entry.cmd));
      block.insert(block.end(), entry.data, entry.data + entry.data_size);
      EXPECT_EQ(chip.execute(block), vcard::NpStatus::success);
    }
    return failing ? FAULT : 0;
  }
};
