// The whole update with the real tool: both ways to the card, both kinds of package, queries, log and screen.
#include <gmock/gmock.h>

#include <filesystem>

#include "update_run.h"

namespace {

using kx_system::Process;
using kx_system::Result;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using update_run::bytes;
using update_run::Workplace;

constexpr const char* SUCCESS = "****kx firmware has write success, please reset(use BMC) to active!****\n";

TEST(FirmwareUpdate, BothWaysAndBothKindsLeaveThePackageInTheFlash) {
  for (const int kind : {1, 2}) {
    for (const bool by_name : {true, false}) {
      SCOPED_TRACE(std::to_string(kind) + (by_name ? " by name" : " by address"));
      const Workplace work(kind);
      const char* card =
          R"({"information": {"os_type": 1}, "update": {"erase_ms": 1, "read_back_ms": 1, "end_ms": 1}})";
      const Result result = kx_system::run(by_name ? work.by_name(card) : work.by_address(card));
      EXPECT_EQ(result.status, 0) << result.out << result.err;
      EXPECT_THAT(result.out, HasSubstr(SUCCESS));
      EXPECT_THAT(result.err, HasSubstr(by_name ? "card eth0 (0000:3b:00.0), board" : "card 0000:3b:00.0, board"));
      EXPECT_THAT(result.err, Not(HasSubstr("cause: ")));
      EXPECT_TRUE(work.flash_holds_package());
      if (kind == 1) {
        EXPECT_EQ(work.flash(update_run::PARTITION_1, 0x10000), bytes(0x10000)) << "the running partition changed";
      }
      const std::string log = work.log();
      for (const char* line :
           {"fwupdate pid is ", "compile time: ", "upd_info.auth = 1 verno TARN-FW-BOARDTYPE-1.0.0 part1",
            "KXPKGINFO write flash ok", "total sent 3 packets 5000 lens startaddr0x41000", "UPD_FW_END is sent",
            "****upd finish,kxtool will exit!!****"}) {
        EXPECT_THAT(log, HasSubstr(line));
      }
      EXPECT_THAT(log, Not(HasSubstr("upd_err")));
    }
  }
}

TEST(FirmwareUpdate, AddressNeedsTheRaisedPermission) {
  const Workplace work;
  const Result result = kx_system::run(work.by_address("{}", false));
  EXPECT_EQ(result.status, 6);
  EXPECT_THAT(result.out, HasSubstr("Warning: This command is not supported by the current permissions!!!\n"));
  EXPECT_THAT(result.log, Not(Contains(HasSubstr("mailbox header=01001b00"))));
  EXPECT_EQ(work.flash(0, 0x100000), bytes(0x100000));
}

TEST(FirmwareUpdate, QueriesAndWrongWords) {
  struct {
    const char* word;
    int status;
    const char* out;
  } const cases[] = {
      {"version", 0, "running version: TARN-FW-BOARDTYPE-1.0.0\n"},
      {"part", 0, "active partition: 1\n"},
      {"flash_cnt", 0, "====risc->host rx_cnt   tx_cnt   tx_err====\n"},
  };
  const Workplace work;
  for (const auto& test : cases) {
    const Result result = kx_system::run(work.by_name("{}", test.word));
    EXPECT_EQ(result.status, test.status) << test.word;
    EXPECT_THAT(result.out, HasSubstr(test.out));
  }
}

TEST(FirmwareUpdate, PackageMustBeForTheCard) {
  const auto part_number = [](const std::string& text) {
    return R"({"information": {"part_number": ")" + text + "\"}}";
  };
  struct {
    const char* identification;
    std::string card;
    int status;
    const char* out;
  } const cases[] = {
      {"BOARDTYPE-2.0.0", "{}", 3, "is invalid format, should be 'TARN-FW-BOARDTYPE-XXX'!\n"},
      {"TARN-FW-BOARDTYPEBOARDTYPE-2", "{}", 3, "boardtype len is larger than 15!\n"},
      {"TARN-FW-EVB-2", "{}", 4, "boardtype of verpkg is 'EVB', boardtype of pn is 'BOARDTYPE', not match!\n"},
      {"TARN-FW-BOARDTYPE2-2", "{}", 4, "not match!\n"},
      {"TARN-FW-EVB-2", part_number("123456789"), 3, "pn '123456789' is invalid format, should be 'XXX BOARDTYPE'!\n"},
      {"TARN-FW-EVB-2", R"({"information": {"part_number_status": -9}})", 3,
       "pn get failed, reps.status = -9, PN length error!\n"},
  };
  for (const auto& test : cases) {
    const Workplace work(1, test.identification);
    const Result result = kx_system::run(work.by_name(test.card));
    EXPECT_EQ(result.status, test.status) << test.identification;
    EXPECT_THAT(result.out, HasSubstr(test.out));
    EXPECT_EQ(work.flash(update_run::PARTITION_2, 0x10000), bytes(0x10000));
  }
}

TEST(FirmwareUpdate, DamagedPackageIsRefusedBeforeAnythingIsSent) {
  for (const uint64_t size : {256 + 0x3000 + 2028, 256 + 0x1000, 400, 300, 0}) {
    const Workplace work;
    std::filesystem::resize_file(work.package, size);
    const Result result = kx_system::run(work.by_name());
    EXPECT_EQ(result.status, 7) << size;
    EXPECT_THAT(result.out, HasSubstr("****The update has failed. Please retry after a few minutes.****\n"));
    EXPECT_THAT(result.out + work.log(),
                HasSubstr(size >= 400 ? "binary file was damaged during transfer!!!\ntips: " : "BL1 doesn't valid! "));
    EXPECT_THAT(result.err, HasSubstr(size >= 400 ? "cause: the package is refused: part A image "
                                                  : "cause: the package is refused: too short for a package: "));
    EXPECT_THAT(result.err, HasSubstr("failed: nothing was written to the flash"));
    EXPECT_THAT(result.log, Not(Contains(HasSubstr("event_id=27 ")))) << "the card heard of the update";
  }
  const Workplace cut_table;
  std::filesystem::resize_file(cut_table.package, 256 + 72 + 23);
  const Result result = kx_system::run(cut_table.by_name());
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.out, HasSubstr("read verpkg info failed!\n"));
}

TEST(FirmwareUpdate, ShorterBoardTypeAndCardWithoutPartNumberAreAccepted) {
  const Workplace prefix(1, "TARN-FW-BOARD-2");
  EXPECT_EQ(kx_system::run(prefix.by_name()).status, 0);
  const Workplace unknown(1, "TARN-FW-OTHER-2");
  EXPECT_EQ(
      kx_system::run(unknown.by_name(R"({"faults": {"processor": {"requests": [{"op_code": 21, "result": 18}]}}})"))
          .status,
      0);
}

TEST(FirmwareUpdate, TerminalShowsOneLineThatIsRedrawn) {
  const Workplace work;
  kx_system::Command command = work.by_name(R"({"update": {"erase_ms": 250}})");
  command.terminal = true;
  const Result result = kx_system::run(command);
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("\r\033[Kimage 1/2 erasing   0%, 0 s\r"));
  EXPECT_THAT(result.out, HasSubstr("\r\033[Kimage 2/2 writing 100%, "));
  EXPECT_THAT(result.out, HasSubstr(" s left\r"));
  EXPECT_THAT(result.out, HasSubstr("\r\033[K****kx firmware has write success"));
}

TEST(FirmwareUpdate, NarrowTerminalShowsWhatFitsInOneLine) {
  const Workplace work;
  kx_system::Command command = work.by_name();
  command.terminal = true;
  command.program = "/bin/sh";
  command.words = {"-c", "stty cols 24; exec " KX_SYSTEM_KXTOOL " fwupdate eth0 " + work.package};
  const Result result = kx_system::run(command);
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("\r\033[Kimage 2/2 reading 100%,\r"));
  EXPECT_THAT(result.out, Not(HasSubstr("KiB/s")));
}

// The log is a convenience: whatever stands in its way costs the log and one line, never the update.
TEST(FirmwareUpdate, LogThatCannotBeMadeCostsOnlyTheLog) {
  const Workplace folder_is_link;
  std::filesystem::create_directories(folder_is_link.folder.path() + "/log");
  std::filesystem::create_directory_symlink("/tmp", folder_is_link.folder.path() + "/log/kxtool");
  const Workplace file_is_link;
  std::filesystem::create_directories(file_is_link.folder.path() + "/log/kxtool");
  std::filesystem::create_symlink("/etc/hostname", file_is_link.folder.path() + "/log/kxtool/kxtool_fw_upd.log");
  struct {
    const Workplace* work;
    const char* out;
  } const cases[] = {{&folder_is_link, "stat failed errno"},
                     {&file_is_link, "Cannot open file /var/log/kxtool/kxtool_fw_upd.log.\n"}};
  for (const auto& test : cases) {
    const Result result = kx_system::run(test.work->by_name());
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr(test.out));
    EXPECT_THAT(result.err, HasSubstr("****upd finish,kxtool will exit!!****"));
    EXPECT_TRUE(test.work->flash_holds_package());
  }
  EXPECT_FALSE(std::filesystem::exists("/tmp/kxtool_fw_upd.log"));
}

TEST(FirmwareUpdate, FullDiskUnderTheLogIsSaidAndTheUpdateGoesOn) {
  const Workplace work;
  kx_system::Command command = work.by_name();
  command.program = "/bin/sh";
  command.words = {"-c", "trap '' XFSZ; ulimit -f 0; exec " KX_SYSTEM_KXTOOL " fwupdate eth0 " + work.package};
  const Result result = kx_system::run(command);
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("fprintf err\n"));
  EXPECT_TRUE(work.flash_holds_package());
}

}  // namespace
