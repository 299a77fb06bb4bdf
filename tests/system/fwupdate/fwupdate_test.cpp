// The whole update with the real tool: both ways to the card, both kinds of package, queries, log and screen.
#include <gmock/gmock.h>

#include <filesystem>

#include "system/cases.h"
#include "update_run.h"

namespace {

using namespace kx_system;

constexpr const char* SUCCESS = "****kx firmware has write success, please reset(use BMC) to active!****\n";

TEST(FirmwareUpdate, BothWaysAndBothKindsLeaveThePackageInTheFlash) {
  for (const int kind : {1, 2}) {
    for (const bool by_name : {true, false}) {
      SCOPED_TRACE(std::to_string(kind) + (by_name ? " by name" : " by address"));
      const Workplace work(kind);
      const char* card =
          R"({"information": {"os_type": 1}, "update": {"erase_ms": 1, "read_back_ms": 1, "end_ms": 1}})";
      const Result result = run(by_name ? work.by_name(card) : work.by_address(card));
      EXPECT_EQ(result.status, 0) << result.out << result.err;
      EXPECT_THAT(result.out, HasSubstr(SUCCESS));
      EXPECT_THAT(result.err, HasSubstr(by_name ? "card eth0 (0000:3b:00.0), board" : "card 0000:3b:00.0, board"));
      EXPECT_THAT(result.err, Not(HasSubstr("cause: ")));
      EXPECT_TRUE(work.flash_holds_package());
      if (kind == 1) {
        EXPECT_EQ(work.flash(PARTITION_1, 0x10000), bytes(0x10000)) << "the running partition changed";
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
  const Result result = run(work.by_address("{}", false));
  EXPECT_EQ(result.status, 6);
  EXPECT_THAT(result.out, HasSubstr("Warning: This command is not supported by the current permissions!!!\n"));
  EXPECT_THAT(result.err, HasSubstr("cause: by PCI address the shell's super user may update"));
  EXPECT_THAT(result.log, Not(Contains(HasSubstr("mailbox header=01001b00"))));
  EXPECT_EQ(work.flash(0, 0x100000), bytes(0x100000));
}

TEST(FirmwareUpdate, QueriesPrintTheirAnswer) {
  check_all({
      {"{}", "fwupdate eth0 version", 0, "running version: TARN-FW-BOARDTYPE-1.0.0\n"},
      {"{}", "fwupdate eth0 part", 0, "active partition: 1\n"},
      {"{}", "fwupdate eth0 flash_cnt", 0, HasSubstr("====risc->host rx_cnt   tx_cnt   tx_err====\n")},
  });
}

TEST(FirmwareUpdate, ShorterBoardTypeAndCardWithoutPartNumberAreAccepted) {
  const Workplace prefix(1, "TARN-FW-BOARD-2");
  EXPECT_EQ(run(prefix.by_name()).status, 0);
  const Workplace unknown(1, "TARN-FW-OTHER-2");
  EXPECT_EQ(run(unknown.by_name(R"({"faults": {"processor": {"requests": [{"op_code": 21, "result": 18}]}}})")).status,
            0);
}

TEST(FirmwareUpdate, TerminalShowsOneLineThatIsRedrawn) {
  const Workplace work;
  Command command = work.by_name(R"({"update": {"erase_ms": 250}})");
  command.terminal = true;
  const Result result = run(command);
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("\r\033[Kimage 1/2 erasing   0%, 0 s\r"));
  EXPECT_THAT(result.out, HasSubstr("\r\033[Kimage 2/2 writing 100%, "));
  EXPECT_THAT(result.out, HasSubstr(" s left\r"));
  EXPECT_THAT(result.out, HasSubstr("\r\033[K****kx firmware has write success"));
}

// The log is a convenience: whatever stands in its way costs the log and one line, never the update.
TEST(FirmwareUpdate, LogThatCannotBeMadeCostsOnlyTheLog) {
  const Workplace folder_is_link;
  std::filesystem::create_directories(folder_is_link.folder.path() + "/log");
  std::filesystem::create_directory_symlink("/tmp", folder_is_link.folder.path() + "/log/kxtool");
  const Workplace file_is_link;
  std::filesystem::create_directories(file_is_link.folder.path() + "/log/kxtool");
  std::filesystem::create_symlink("/etc/hostname", file_is_link.folder.path() + "/log/kxtool/kxtool_fw_upd.log");
  const std::pair<const Workplace*, const char*> cases[] = {
      {&folder_is_link, "stat failed errno"}, {&file_is_link, "Cannot open file /var/log/kxtool/kxtool_fw_upd.log.\n"}};
  for (const auto& [work, out] : cases) {
    const Result result = run(work->by_name());
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr(out));
    EXPECT_THAT(result.err, HasSubstr("****upd finish,kxtool will exit!!****"));
    EXPECT_TRUE(work->flash_holds_package());
  }
  EXPECT_FALSE(std::filesystem::exists("/tmp/kxtool_fw_upd.log"));
}

TEST(FirmwareUpdate, FullDiskUnderTheLogIsSaidAndTheUpdateGoesOn) {
  const Workplace work;
  Command command = work.by_name();
  command.program = "/bin/sh";
  command.words = {"-c", "trap '' XFSZ; ulimit -f 0; exec " KX_SYSTEM_KXTOOL " fwupdate eth0 " + work.package};
  const Result result = run(command);
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("fprintf err\n"));
  EXPECT_TRUE(work.flash_holds_package());
}

}  // namespace
