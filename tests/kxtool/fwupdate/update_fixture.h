// The update's machine in this process, opposite the virtual card's management processor: requests are calls, notices
// come on the card's thread.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "../../temp_folder.h"
#include "common/signals.h"
#include "fw_run.h"
#include "package_file.h"
#include "vcard/card.h"

class Update : public testing::Test {
 protected:
  struct outcome {
    int status;
    std::string printed;
    std::string log;
  };

  void SetUp() override;
  void TearDown() override;

  /// Plugs in the card that `card_file` (JSON) describes.
  void plug(const std::string& card_file);
  /// Opens the package and runs the update on the plugged card.
  outcome run(const package_file::file& package);
  /// Runs a query.
  outcome run_query(const char* word, fw_state state);

  /// Requests sent, of one kind (first byte, `count` numbers from it on).
  std::vector<package_file::bytes> requests(uint8_t first, uint8_t count = 1) const;

  const temp_folder folder_;
  const package_file::flash_file flash_{folder_ / "flash"};
  uint32_t os_type_ = 1;
  fw_time_limits limits_;
  const char* (*deafness_)() = nullptr;
  std::optional<kx_signal_guard> guard_;
  std::vector<std::string> journal_;  // what went into the system's log
  std::function<void(const package_file::bytes&)> before_request_;
  std::vector<package_file::bytes> sent_;

 private:
  static int32_t send(kxtool_device* device, const void* payload, uint16_t length, void* reply, uint16_t* reply_len);
  outcome drive(fw_update* update);

  std::unique_ptr<vcard::CardFile> file_;
  std::unique_ptr<vcard::RequestLog> log_;
  std::unique_ptr<vcard::Card> card_;
};
