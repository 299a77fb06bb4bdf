// The driver on the virtual card's network processor: device 0 reads and writes the card's memory.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "dpp_chip/dpp_dev_setup.h"
#include "dpp_reg/dpp_reg.h"
#include "qlix_comm/print.h"
#include "qlix_comm/types.h"
#include "vcard/card.h"
#include "vcard/models.h"

class OnVirtualCard : public testing::Test {
 protected:
  OnVirtualCard() {
    insert("{}");
    const dpp_sys_init_ctrl init = {
        .device_type = DPP_DEV_TYPE_CHIP, .p_pcie_write_fun = card_write, .p_pcie_read_fun = card_read};
    qlix_comm_set_print_level(QLIX_TRACE_PRINT);
    EXPECT_EQ(dpp_base_soft_init(0, &init), 0u);
    qlix_comm_set_print_level(QLIX_TRACE_ERROR_PRINT);
  }
  ~OnVirtualCard() override {
    the_card = nullptr;
    dead = false;
    refuses = false;
    stuck_word = no_word;
  }
  /// Another card, with this section of its card file.
  void insert(const std::string& network_processor) {
    card_.reset();
    file_ = std::make_unique<vcard::CardFile>("{\"network_processor\": " + network_processor + "}");
    card_ = std::make_unique<vcard::Card>(*file_, log_);
    processor_ = &vcard::network_processor_attach(*card_);
    the_card = card_.get();
    accesses = 0;
  }
  template <typename Register>
  static uint32_t value(uint32_t Register::*field, uint32_t m = 0, uint32_t n = 0) {
    Register fields = {};
    EXPECT_EQ(dpp_reg_read(0, m, n, &fields), 0u);
    return fields.*field;
  }
  static void set(uint32_t reg_no, uint32_t m, uint32_t n, const std::vector<uint32_t>& fields) {
    EXPECT_EQ(dpp_reg_write(0, reg_no, m, n, fields), 0u);
  }

  static constexpr uint32_t no_word = 1;
  static inline uint32_t accesses = 0;
  static inline bool dead = false;              // every read is all ones
  static inline bool refuses = false;           // every access fails with code 1
  static inline uint32_t stuck_word = no_word;  // the lowest bit of the word at this offset reads 1
  vcard::NpTables& tables() {
    return vcard::network_processor_tables(*processor_);
  }
  std::unique_ptr<vcard::CardFile> file_;
  std::unique_ptr<vcard::Card> card_;
  vcard::NetworkProcessor* processor_ = nullptr;

 private:
  static constexpr uint64_t np_base = 0x6218000000;
  static uint32_t card_write(uint32_t, uint32_t addr, uint32_t word_count, const uint32_t* data) {
    const std::lock_guard guard(the_card->lock());
    for (uint32_t i = 0; i < word_count; ++i, ++accesses) {
      the_card->memory().write(np_base + addr + 4 * i, data[i]);
    }
    return refuses ? 1 : 0;
  }
  static uint32_t card_read(uint32_t, uint32_t addr, uint32_t word_count, uint32_t* data) {
    const std::lock_guard guard(the_card->lock());
    for (uint32_t i = 0; i < word_count; ++i, ++accesses) {
      data[i] = dead ? UINT32_MAX : the_card->memory().read(np_base + addr + 4 * i);
      data[i] |= addr + 4 * i == stuck_word ? 1 : 0;
    }
    return refuses ? 1 : 0;
  }

  static inline vcard::Card* the_card = nullptr;
  vcard::RequestLog log_;
};
