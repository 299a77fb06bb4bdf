// Every command of kxnp with all kinds of words: each ends, none fails the session, printers print, and words that are
// out of range never reach the card.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "np_session.h"

namespace {

using testing::HasSubstr;

constexpr const char* CARD = R"({"network_processor": {"statistics": {"0x11d02": 5}}})";

// A good line of each command.
struct good_words {
  const char* name;
  const char* words;
  bool prints;  // on a card that holds some packets and drops
};
constexpr good_words rows[] = {
#include "good_words.inc"
};

// The whole list of the module but the name that the driver lacks.
std::vector<std::string> listed_names() {
  static constexpr struct {
    const char* name;
    int permission;
  } commands[] = {
#include "commands.inc"
  };
  std::vector<std::string> names;
  for (const auto& command : commands) {
    if (std::string(command.name) != "dpp_reg_filter_level_set") {
      names.emplace_back(command.name);
    }
  }
  return names;
}

// No device, no index: their words are a level, or no numbers at all.
bool takes_no_device(const std::string& name) {
  static const std::set<std::string> names = {"diag_dpp_sdk_version", "diag_dpp_comm_set_print_level",
                                              "dpp_kshell",           "dpp_dtb_prt_enable",
                                              "dpp_dtb_prt_disable",  "dpp_se_tlb_help"};
  return names.contains(name);
}

TEST(KxnpCommands, GoodWordsRun) {
  std::vector<std::string> lines;
  for (const good_words& row : rows) {
    lines.push_back(row.name + std::string(" ") + row.words);
  }
  const auto session = kxnp(CARD, lines);
  for (size_t i = 0; i < std::size(rows); ++i) {
    const good_words& row = rows[i];
    EXPECT_EQ(!session.outputs[i].empty(), row.prints) << row.name << ":\n" << session.outputs[i];
    EXPECT_THAT(session.outputs[i], testing::Not(HasSubstr("Error"))) << row.name;
    EXPECT_THAT(session.outputs[i], testing::Not(HasSubstr("kxtools_err"))) << row.name;
  }
}

// Of the other blocks their own tests do this: some walk whole memories through the tunnel.
TEST(KxnpCommands, NoWordsRunOnDeviceZero) {
  std::vector<std::string> names;
  for (const good_words& row : rows) {
    names.emplace_back(row.name);
  }
  const auto session = kxnp(CARD, names);
  for (size_t i = 0; i < names.size(); ++i) {
    EXPECT_THAT(session.outputs[i], testing::Not(HasSubstr("kxtools_err"))) << names[i];
  }
}

TEST(KxnpCommands, WordsOutOfRangeAreRefusedBeforeTheCard) {
  std::vector<std::string> lines;
  for (const std::string& name : listed_names()) {
    if (takes_no_device(name) || name == "mcode_drop_stat") {
      continue;
    }
    lines.push_back(name + " 16");
    lines.push_back(name + " 0xffffffff 1 2 3 4 5 6 7 8 9 10 11");  // twelve words
  }
  const auto session = kxnp(CARD, lines);
  for (size_t i = 0; i < lines.size(); ++i) {
    EXPECT_THAT(session.outputs[i], HasSubstr("INVALID]")) << lines[i];
    EXPECT_THAT(session.outputs[i], HasSubstr("FUNCTION :")) << lines[i];
  }
  // Binding reads the queue engine; the network processor was left alone.
  EXPECT_EQ(session.result.log_of("card_read address=0x6218").size(), 0u);
  EXPECT_EQ(session.result.log_of("card_write address=0x6218").size(), 0u);
}

TEST(KxnpCommands, ThirteenWordsRunNothing) {
  const std::vector<std::string> names = listed_names();
  std::vector<std::string> lines;
  for (const std::string& name : names) {
    lines.push_back(name + " 0 1 2 3 4 5 6 7 8 9 10 11 12");
  }
  const auto session = kxnp(CARD, lines);
  for (size_t i = 0; i < names.size(); ++i) {
    const char* const expected = names[i] == "dpp_kshell"        ? "nothing was sent"
                                 : names[i] == "mcode_drop_stat" ? "mcode_drop_stat param num is not right!\n"
                                                                 : "ctx->arg_info.argc:13 oversize\n";
    EXPECT_THAT(session.outputs[i], HasSubstr(expected)) << names[i];
  }
  EXPECT_EQ(session.result.log_of("card_write address=0x6218").size(), 0u);
}

}  // namespace
