// What the operator is told before and after an update, and what is refused before the card hears of it.
#include <gmock/gmock.h>

#include <filesystem>

#include "printed.h"
#include "update_run.h"

namespace {

using namespace kx_system;

Result run(const Workplace& work, std::vector<std::string> words, const std::string& card = "{}") {
  words.insert(words.begin(), {"fwupdate", "eth0"});
  return kx_system::run({.card = card, .words = std::move(words), .state = work.folder.path()});
}

testing::Matcher<const std::vector<std::string>&> hears_of_the_update() {
  // Not the question for the permission, in either form.
  return Contains(AllOf(HasSubstr("event_id=27 "), Not(AnyOf(HasSubstr(" payload=1c"), HasSubstr(" payload=12")))));
}

TEST(FirmwareUpdatePlan, DryRunShowsCardPackageAndWriteAndLeavesTheFlash) {
  for (const int kind : {1, 2}) {
    const Workplace work(kind);
    const Result result = run(work, {work.package, "--dry-run"}, R"({"information": {"os_type": 1}})");
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    const std::string lines[] = {
        "  interface       eth0\n",
        "  address         0000:3b:00.0\n",
        "  serial number   ",
        "  board type      BOARDTYPE\n",
        "  runs            TARN-FW-BOARDTYPE-1.0.0 from partition 1\n",
        "  SHA-256         " + sha256_of(work.package) + "\n",
        "    image 0             5000 bytes at flash offset 0x00041000 of device 2\n",
        "  part A          TARN-FW-BOARDTYPE-2.0.0, header sum 0x12345678 (its bytes have another)\n",
        std::string("  writes          2 images, 7032 bytes, to ") +
            (kind == 1 ? "partition 2\n" : "both partitions\n"),
        "  takes           about 1 s, and what the card takes to erase and read back\n",
        "  refused         by nothing\n"};
    for (const std::string& line : lines) {
      EXPECT_THAT(result.out, HasSubstr(line));
    }
    EXPECT_THAT(result.log, Not(hears_of_the_update()));
    EXPECT_FALSE(work.flash_holds_package());
  }
}

TEST(FirmwareUpdatePlan, RefusalsNameTheirCauseAndADryRunEndsAlike) {
  const auto information = [](const std::string& text) { return R"({"information": {)" + text + "}}"; };
  const char* const good = "TARN-FW-BOARDTYPE-2";
  const char* const no_type = "the package does not say which board type it is for\n";
  const char* const other = "the package is not for this card";
  struct {
    const char* identification;
    std::string card;
    uint64_t size;  // of the package; 0: as it is
    int status;
    const char* out;
    const char* cause;  // on standard error, whatever stands on standard output
    const char* dry;
  } const cases[] = {
      {good, "{}", 256 + 72 + 23, 2, "read verpkg info failed!\n", "the package has no header", other},
      {"BOARDTYPE-2.0.0", "{}", 0, 3, "is invalid format, should be 'TARN-FW-BOARDTYPE-XXX'!\n", no_type, other},
      {"TARN-FW-BOARDTYPEBOARDTYPE-2", "{}", 0, 3, "boardtype len is larger than 15!\n", no_type, other},
      {"TARN-FW-EVB-2", information(R"("part_number": "123456789")"), 0, 3,
       "pn '123456789' is invalid format, should be 'XXX BOARDTYPE'!\n",
       "the card's part number does not say its board type\n", other},
      {"TARN-FW-EVB-2", information(R"("part_number_status": -9)"), 0, 3,
       "pn get failed, reps.status = -9, PN length error!\n",
       "the card does not tell its part number, so its board type is not known\n", other},
      {"TARN-FW-EVB-2", "{}", 0, 4, "boardtype of verpkg is 'EVB', boardtype of pn is 'BOARDTYPE', not match!\n",
       "the package is for the board type 'EVB', the card is a 'BOARDTYPE'\n", other},
      {good, R"({"update": {"authorises": false}})", 0, 5, "",
       "the card refuses the update: ", "the card refuses the update"},
      {good, R"({"update": {"partition": 3}})", 0, 7, "",
       "cause: sys fail: invalid cur_partition 3\nfailed: only the package header was sent; ",
       "says that it runs from partition 3"},
      {good, "{}", 256 + 0x1000, 7, "binary file was damaged during transfer!!!\ntips: ",
       "the package is refused: part A image ", "reach past the file's end at 0x1100"},
      {good, "{}", 300, 7, "", "the package is refused: too short for a package: ", ""},
      {good, R"({"faults": {"netlink": {"bind_errno": 98}}})", 0, 7, "", "the card's answers cannot be heard: ",
       "cannot be heard: the netlink socket cannot be bound: Address already in use"},
      {good, R"({"faults": {"processor": {"requests": [{"event_id": 27, "result": -8}]}}})", 0, 7, "",
       "cause: ", "does not answer the request to update"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.cause);
    const Workplace work(1, test.identification);
    if (test.size != 0) {
      std::filesystem::resize_file(work.package, test.size);
    }
    const Result result = run(work, {work.package}, test.card);
    EXPECT_EQ(result.status, test.status) << result.out;
    EXPECT_THAT(result.out, HasSubstr(test.out));
    const bool header_sent = testing::Matches(Contains(HasSubstr(" payload=13")))(result.log);
    EXPECT_THAT(result.err,
                AllOf(HasSubstr(test.cause),
                      HasSubstr(header_sent ? "failed: only the package header was sent" : "nothing was written")));
    const Result dry = run(work, {"--dry-run", work.package}, test.card);
    EXPECT_EQ(dry.status, test.status) << dry.out;
    EXPECT_THAT(dry.out, AllOf(HasSubstr("  refused         "),
                               HasSubstr(test.dry + (" (status " + std::to_string(test.status) + ")\n"))));
    EXPECT_THAT(dry.log, Not(hears_of_the_update()));
    EXPECT_EQ(work.flash(PARTITION_2, 0x10000), bytes(0x10000));
  }
}

TEST(FirmwareUpdatePlan, UpdateTellsWhatItDoesAndWhatRunsAfterwards) {
  const Workplace work;
  const Result result = run(work, {work.package, "--sha256", sha256_of(work.package)});
  EXPECT_EQ(result.status, 0) << result.out << result.err;
  const std::string lines[] = {
      "card eth0 (0000:3b:00.0), board type BOARDTYPE: runs TARN-FW-BOARDTYPE-1.0.0 from partition 1\n",
      "package TARN-FW-BOARDTYPE-2.0.0 to partition 2: 2 images, 7032 bytes, about 1 s and the card's own time; "
      "SHA-256 " +
          sha256_of(work.package) + ", " + work.package + "\n",
      "part A of the package says the sum 0x12345678, its bytes have 0x",
      "now runs TARN-FW-BOARDTYPE-1.0.0 from partition 1; the card's next reset starts TARN-FW-BOARDTYPE-2.0.0, which "
      "partition 2 now holds\n",
      "to start it reset the card by its BMC"};
  size_t at = 0;
  for (const std::string& line : lines) {
    const size_t found = result.err.find(line, at);
    EXPECT_NE(found, std::string::npos) << line << "is missing or out of order in\n" << result.err;
    at = found == std::string::npos ? at : found;
    EXPECT_THAT(work.log(), HasSubstr(line));
  }
  EXPECT_THAT(work.log(), HasSubstr("fwupdate of eth0 begins: user "));
  EXPECT_THAT(work.log(), HasSubstr(", terminal "));
  EXPECT_THAT(work.log(), HasSubstr("fwupdate of eth0 ends with status 0\n"));
  const std::string head = "syslog priority=13 text=kxtool: ";
  EXPECT_THAT(result.log_of("syslog "),
              ElementsAre(AllOf(StartsWith(head + "fwupdate of eth0 begins: user "), HasSubstr(", terminal ")),
                          StartsWith(head + "card eth0 (0000:3b:00.0)"), StartsWith(head + "package TARN-FW-BOARDTYPE"),
                          StartsWith(head + "now runs TARN-FW-BOARDTYPE-1.0.0 from partition 1"),
                          head + "fwupdate of eth0 ends with status 0"));
}

TEST(FirmwareUpdatePlan, WordsAndFilesAreRefusedBeforeTheCardIsTouched) {
  const Workplace work;
  const std::string sum = sha256_of(work.package);
  const std::string other = std::string(64, '0');
  struct {
    std::vector<std::string> words;
    int status;
    std::string err;
  } const cases[] = {
      {{"version", "part"}, 1, "one word is needed after the device"},
      {{"--dry-run"}, 1, "one word is needed after the device"},
      {{work.package, "--force"}, 1, "the options are --dry-run and --sha256\n"},
      {{work.package, "--sha256"}, 1, "--sha256 needs the sum"},
      {{work.package, "--sha256", sum.substr(1)}, 1, "--sha256 takes 64 hexadecimal digits\n"},
      {{work.package, "--sha256", "g" + sum.substr(1)}, 1, "--sha256 takes 64 hexadecimal digits\n"},
      {{"version", "--dry-run"}, 1, "belong to a version package\n"},
      {{work.package, "--sha256", other},
       2,
       "version package '" + work.package + "' is another file: its SHA-256 is " + sum + "\n"},
      {{"/nonexistent"}, 2, "version package '/nonexistent' cannot be opened: No such file or directory\n"},
      {{"/"}, 2, "version package '/' is no regular file\n"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.err);
    const Result result = run(work, test.words);
    EXPECT_EQ(result.status, test.status);
    EXPECT_THAT(result.err, HasSubstr(test.err));
    EXPECT_EQ(result.err.find("SYNOPSIS") != std::string::npos, test.status == 1);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.log, Not(Contains(HasSubstr("ioctl"))));
  }
}

}  // namespace
