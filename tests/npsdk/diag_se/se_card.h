// Search-engine commands by name on the virtual card's network processor.
#pragma once

#include "../diag_blocks/card_device.h"

class OnSeCard : public CommandsOnCard {
 protected:
  static void set(uint32_t reg_no, uint32_t m, uint32_t n, const std::vector<uint32_t>& fields) {
    EXPECT_EQ(dpp_reg_write(0, reg_no, m, n, fields), 0u);
  }

  static constexpr uint32_t alg_window_data = 0x280008;  // the last word of a line of hash memory
};
