// The update's machine against the virtual card: what lands in the flash, what every failure ends in.
#include <gmock/gmock.h>

#include <atomic>
#include <csignal>

#include "fwupdate/fwupdate.h"
#include "update_fixture.h"

namespace {

using package_file::bytes;
using package_file::IMAGE_A;
using package_file::IMAGE_B;
using package_file::PARTITION_1;
using package_file::PARTITION_2;
using package_file::row;
using testing::HasSubstr;
using testing::Not;

/// A card that takes no time, with more keys of its "update" and with faults.
std::string quick(const std::string& keys = "", const std::string& faults = "") {
  return R"({"update": {"erase_ms": 1, "read_back_ms": 1, "end_ms": 1)" + keys + R"(}, "faults": {)" + faults + "}}";
}

/// Two images and, between them, one that is not written.
struct one_partition : package_file::file {
  one_partition() {
    package_file::one_partition_put(this, package_file::IDENTIFICATION,
                                    {{0x41000, 5000, 2}, {0x42FFF, 0, 255}, {0x43000, 2029, 3}});
  }
};

struct one_image : package_file::file {
  explicit one_image(const bytes& image) {
    const row only = {0x41000, static_cast<uint32_t>(image.size()), 2};
    put(256, package_file::header({only})).put(256 + 0x1000, image);
  }
};

struct whole_flash : package_file::file {
  whole_flash() {
    package_file::whole_flash_put(this, package_file::IDENTIFICATION);
  }
};

TEST_F(Update, FlashThenHoldsThePackageAndTheRunningPartitionIsUntouched) {
  struct {
    uint32_t os_type;
    int running;
    uint64_t target;
    uint64_t untouched;
  } const cases[] = {
      {1, 1, PARTITION_2, PARTITION_1}, {1, 2, PARTITION_1, PARTITION_2}, {0, 1, PARTITION_2, PARTITION_1}};
  const one_partition package;
  for (const auto& test : cases) {
    SCOPED_TRACE(test.target);
    os_type_ = test.os_type;
    plug(quick(R"(, "partition": )" + std::to_string(test.running)));
    const outcome result = run(package);
    EXPECT_EQ(result.status, 0) << result.log;
    EXPECT_THAT(result.printed, HasSubstr("****kx firmware has write success, please reset(use BMC) to active!****\n"));
    EXPECT_TRUE(flash_.holds_images(test.target, test.target));
    EXPECT_EQ(flash_(test.untouched, 0x10000), bytes(0x10000));
    EXPECT_EQ(requests(0x21).size(), 0u) << "an image of size 0 was erased";
  }
}

TEST_F(Update, WholeFlashPackageWritesBothPartitions) {
  const whole_flash package;
  plug(quick());
  const outcome result = run(package);
  EXPECT_EQ(result.status, 0) << result.log;
  EXPECT_THAT(result.log, HasSubstr("try to update part B"));
  EXPECT_THAT(journal_, testing::ElementsAre(HasSubstr("runs TARN-FW-BOARDTYPE-1.0.0 from partition 1"),
                                             HasSubstr("to both partitions: 2 images, 7032 bytes"),
                                             HasSubstr("which both partitions now hold")));
  EXPECT_TRUE(flash_.holds_images(PARTITION_1, PARTITION_2));
  ASSERT_EQ(requests(19).size(), 2u);
  EXPECT_EQ(requests(22).size(), 1u);
}

TEST_F(Update, RequestsHaveTheirLayoutAndOrder) {
  const one_image package({1, 2, 3, 4, 5});
  plug(quick());
  ASSERT_EQ(run(package).status, 0);
  ASSERT_EQ(sent_.size(), 7u);
  bytes authorise(65);
  authorise[0] = 28;
  EXPECT_EQ(sent_[0], authorise);
  bytes header_request = {19, 2, 0xD0, 0x07, 0x00, 0x00, 0x30, 0x03};
  const bytes header = package_file::header({{0x41000, 5, 2}});
  header_request.insert(header_request.end(), header.begin(), header.end());
  header_request.resize(2008);
  EXPECT_EQ(sent_[1], header_request);
  bytes erase = {0x20, 2, 0, 0, 0x00, 0x10, 0x04, 0x00, 5, 0, 0, 0};
  for (const char c : std::string("/dev/mtd2")) {
    erase.push_back(static_cast<uint8_t>(c));
  }
  erase.resize(208);
  EXPECT_EQ(sent_[2], erase);
  EXPECT_EQ(sent_[3], (bytes{0x40, 2, 8, 0, 0x00, 0x10, 0x04, 0x00, 1, 2, 3, 4, 5, 0, 0, 0}));
  EXPECT_EQ(sent_[4], (bytes{0x60, 0x00, 0x10, 0x04, 0x00, 5, 0, 0, 0, 15, 0, 0, 0}));
  EXPECT_EQ(sent_[5], (bytes{22, 0x05, 0x11, 0x00, 0x00}));
  EXPECT_EQ(sent_[6], (bytes{1}));
}

TEST_F(Update, DataIsCutIntoPacketsOf2028Bytes) {
  const std::pair<uint32_t, std::vector<size_t>> cases[] = {
      {2028, {2028}}, {2029, {2028, 4}}, {4056, {2028, 2028}}, {1, {4}}};
  for (const auto& [size, expected] : cases) {
    const one_image package(counted_bytes(size, 1));
    plug(quick());
    ASSERT_EQ(run(package).status, 0);
    std::vector<size_t> packets;
    uint32_t at = 0x41000;
    for (const bytes& request : requests(0x40)) {
      packets.push_back(request.size() - 8);
      EXPECT_EQ(request[4] | request[5] << 8 | request[6] << 16, static_cast<int>(at));
      at += static_cast<uint32_t>(packets.back());
    }
    EXPECT_EQ(packets, expected) << size;
  }
}

// The file is read many packets at a time.
TEST_F(Update, LongImageArrivesWholeOrTheCutFileIsSeen) {
  constexpr uint32_t SIZE = 70001;
  constexpr uint32_t READ_AT_ONCE = 16 * 2028;
  bytes image(SIZE);
  for (uint32_t i = 0; i < SIZE; ++i) {
    image[i] = static_cast<uint8_t>(i * i >> 8);
  }
  one_image package(image);
  plug(quick());
  ASSERT_EQ(run(package).status, 0);
  EXPECT_EQ(flash_(PARTITION_2 + 0x1000, SIZE), image);

  plug(R"({"update": {"erase_ms": 1}})");
  before_request_ = [&](const bytes& request) {
    if (request[0] == 0x40) {
      package.resize(256 + 0x1000 + READ_AT_ONCE);
    }
  };
  const outcome cut = run(package);
  EXPECT_EQ(cut.status, 7);
  EXPECT_THAT(cut.log, HasSubstr("image 0 cannot be read at byte " + std::to_string(READ_AT_ONCE)));
  EXPECT_EQ(requests(0x40).size(), 16u);
}

TEST_F(Update, FaultsOfTheCardEndInTheirStatusAndLines) {
  const auto card = [](const char* keys) { return quick(std::string(", ") + keys); };
  const auto update = [](const char* fault) { return quick("", std::string(R"("update": {)") + fault + "}"); };
  const auto request = [](const char* fault) {
    return quick("", std::string(R"("processor": {"requests": [{"event_id": 27, )") + fault + "}]}");
  };
  const std::string timeout = "The firmware update failed due to a timeout while ";
  struct {
    std::string card;
    int status;
    size_t erases;
    std::string printed;
    const char* log;
    const char* also_log = "";
  } const cases[] = {
      {card(R"("authorises": false)"), 5, 0, "", "risc refuse to update"},
      {card(R"("partition": 0)"), 7, 0, "", "sys fail: invalid cur_partition 0"},
      {card(R"("partition": 3)"), 7, 0, "", "sys fail: invalid cur_partition 3"},
      {card(R"("partition": 4294967295)"), 7, 0, "", "sys fail: invalid cur_partition -1"},
      {update(R"("old_request_only": true)"), 0, 1, "", "upd_info.auth = 1"},
      {request(R"("result": -8)"), 7, 0, "", "bar chan or msgq channel is not work ,try it later!"},
      {request(R"("reply": "00 01")"), 7, 0, "", "the reply to request 18 has 2 bytes, must have 70"},
      {request(R"("from": 1, "result": 6)"), 7, 0, "", "the package header was not taken"},
      {request(R"("from": 2, "result": 6)"), 7, 1, "", "the erase request for image 0 was not taken"},
      {request(R"("from": 5, "result": 6)"), 7, 1, "", "tx by bar chan err"},
      {update(R"("erase_fails": 10)"), 0, 1, "", "erase failed 10 try fix"},
      {update(R"("erase_fails": 11)"), 7, 1, "", "erase failed over than max try 10 time",
       "image 1 of 1 could not be erased: repeat the update"},
      {update(R"("erase_fails": 1, "notice_lost": "erase")"), 7, 1, timeout + "erasing the flash memory!\n",
       "erase failed 1 try fix"},
      {update(R"("write_fails": 10)"), 0, 1, "", "write failed 10 try fix"},
      {update(R"("write_fails": 11)"), 7, 1, "", "write failed 10 time"},
      {update(R"("sum_wrong": 3)"), 0, 4, "", "crc failed 3try resent idx 0"},
      {update(R"("sum_wrong": 4)"), 7, 4, "crc failed! resent 3 times failed! try to exit!\n",
       "====flash erase_err wr_err rd_err cb_cnt queue_cnt deque_cnt max_wq_backlog====",
       "image 1 of 1 is written but reads back differently: repeat the update"},
      {update(R"("umount_fails": true)"), 7, 1, "", "sys failed umount failed"},
      {update(R"("notice_lost": "erase")"), 7, 1, timeout + "erasing the flash memory!\n", "timeout while erasing"},
      {update(R"("notice_lost": "read_back")"), 7, 1, timeout + "reading the flash memory!\n", "timeout while reading"},
      {update(R"("notice_lost": "end")"), 7, 1, timeout + "copy scp to partition 1 !\n", "UPD_FW_END is sent"},
      {update(R"("notice_garbage": true)"), 0, 1, "", "is not expected now, ignored"},
  };
  const one_image package(counted_bytes(30000, 1));
  limits_ = {200, 200, 200};
  for (const auto& test : cases) {
    SCOPED_TRACE(test.card);
    plug(test.card);
    const outcome result = run(package);
    EXPECT_EQ(result.status, test.status);
    EXPECT_THAT(result.printed, HasSubstr(test.printed));
    EXPECT_THAT(result.log, testing::AllOf(HasSubstr(test.log), HasSubstr(test.also_log)));
    EXPECT_EQ(requests(0x20).size(), test.erases);
    if (test.status == 0) {
      EXPECT_EQ(flash_(PARTITION_2 + 0x1000, 30000), counted_bytes(30000, 1));
      EXPECT_THAT(result.log, HasSubstr("****upd finish,kxtool will exit!!****"));
    } else {
      const auto failed = HasSubstr("****The update has failed. Please retry after a few minutes.****\n");
      EXPECT_EQ(testing::Matches(failed)(result.printed), test.status == 7) << "a refusal is no failure";
      EXPECT_THAT(result.log,
                  testing::ContainsRegex("the running partition|nothing was written|only the package header was sent"))
          << "what is left is not said";
      EXPECT_THAT(result.printed, Not(HasSubstr("write success")));
    }
  }
}

TEST_F(Update, DamagedPackagesAreRefusedBeforeAnythingIsSent) {
  // In the last part nothing before it may have been written when the fault is found.
  const row first_of_b = {0x3303000, 2029, 2};
  struct {
    std::vector<row> rows;
    const char* printed;
    const char* log;
    const char* cause;
  } const cases[] = {
      {{{0xF000, 8, 1}}, "scp version was v0,stop doing firmware update!\n", "", ""},
      {{{0x80000, 8, 2}}, "invalid kx_pkg.fw_cnt =1 binary", "image 0: 8 bytes at file offset", ""},
      {{{0x41000, 8, 2}, {0x41004, 8, 2}}, "invalid kx_pkg.fw_cnt =2 binary", "image 1 overlaps image 0", ""},
      {{first_of_b, {0x3304004, 8, 2}},
       "",
       "sys fail: invalid msg_send offset 3304004",
       "cause: the package is refused: part B image 1: flash offset 0x3304004 is no multiple of 4096\n"},
      {{first_of_b, {0x3304000, 8, 255}},
       "",
       "sys fail: invalid mtd_id 255",
       "cause: the package is refused: part B image 1: flash device id 255 is not below 255\n"},
      {{first_of_b, {0x3400000, 8, 2}},
       "",
       "part B image 1: 8 bytes at file offset 0x3400000 reach past the file's end at 0x3310000",
       ""},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.log);
    const bool in_part_b = test.rows[0].offset == first_of_b.offset;
    package_file::file package;
    if (in_part_b) {
      package_file::whole_flash_put(&package, package_file::IDENTIFICATION);
    }
    package.put(in_part_b ? PARTITION_2 : 256, package_file::header(test.rows)).resize(in_part_b ? 0x3310000 : 0x20000);
    plug("{}");
    const outcome result = run(package);
    EXPECT_EQ(result.status, 7);
    EXPECT_THAT(result.printed, HasSubstr(test.printed));
    EXPECT_THAT(result.log, testing::AllOf(HasSubstr(test.log), HasSubstr(test.cause),
                                           HasSubstr("failed: nothing was written to the flash")));
    EXPECT_TRUE(sent_.empty());
  }
  package_file::file short_file;
  short_file.resize(300);
  EXPECT_THAT(run(short_file).log, HasSubstr("BL1 doesn't valid! "));
  whole_flash no_part_b;
  no_part_b.resize(PARTITION_2 + 10);
  EXPECT_THAT(run(no_part_b).printed, HasSubstr("binary file was damaged during transfer!!!"));
  EXPECT_TRUE(sent_.empty());
}

TEST_F(Update, EveryCountAndEveryTruncationIsTakenOrRefusedWithNothingSent) {
  for (uint32_t count = 0; count <= 40; ++count) {
    package_file::file package;
    package.put(256, package_file::header(std::vector<row>(count, row{0x41000, 0, 2}))).resize(0x20000);
    plug(R"({"update": {"header_ms": 0, "end_ms": 0}})");
    const bool valid = count >= 1 && count <= 33;
    const outcome result = run(package);
    EXPECT_EQ(result.status, valid ? 0 : 7) << count;
    EXPECT_THAT(result.printed, HasSubstr(valid ? "write success"
                                                : "invalid kx_pkg.fw_cnt =" + std::to_string(count) +
                                                      " binary file was damaged during transfer!!!\ntips: "));
    EXPECT_EQ(sent_.empty(), !valid) << count;
  }
  one_partition package;
  plug("{}");
  constexpr uint64_t TABLE_END = 256 + 72 + 3 * 12;
  for (uint64_t size = 256 + 0x3000 + 2028; size > 0; size -= size > TABLE_END + 200 ? 97 : 1) {
    package.resize(size);
    ASSERT_EQ(run(package).status, 7) << size;
    ASSERT_TRUE(sent_.empty()) << size;
  }
}

// The number of the last image makes its erase look like data of the first, and its data like a read-back.
TEST_F(Update, ThirtyThreeImagesAreWritten) {
  std::vector<row> rows;
  package_file::file package;
  for (uint32_t i = 0; i < 33; ++i) {
    rows.push_back({0x41000 + i * 0x1000, 8, i});
  }
  package.put(256, package_file::header(rows)).resize(0x40000);
  for (uint32_t i = 0; i < 33; ++i) {
    package.put(256 + 0x1000 + i * 0x1000, counted_bytes(8, static_cast<uint8_t>(i)));
  }
  plug(R"({"update": {"erase_ms": 0, "read_back_ms": 0, "end_ms": 0}})");
  const outcome result = run(package);
  ASSERT_EQ(result.status, 0) << result.log;
  EXPECT_EQ(flash_(PARTITION_2 + 0x21000, 8), counted_bytes(8, 32));
}

// A card that cannot be heard must not be erased, and one that falls silent is noticed at once, not by a timer.
TEST_F(Update, CardThatCannotBeHeardIsNotWritten) {
  struct {
    uint8_t from;  // first byte of the request at which the receiver ends; 0: it never heard
    const char* text;
    size_t requests;
  } const cases[] = {
      {0, "failed: nothing was written to the flash, the running partition is untouched\n", 0},
      {28, "failed: nothing was written to the flash, the running partition is untouched\n", 1},
      {0x20, "image 1 of 3 is being erased: repeat the update", 3},
      {0x40, "image 1 of 3 holds 2028 of 5000 bytes: repeat the update", 4},
      {22, "failed: all images are written and verified, but the card has not finished", 12},
  };
  static std::atomic<bool> deaf;
  const one_partition package;
  deafness_ = [] { return deaf ? "the receiver ended" : nullptr; };
  for (const auto& test : cases) {
    deaf = test.from == 0;
    plug(R"({"update": {"erase_ms": 20, "read_back_ms": 20, "end_ms": 20}})");
    before_request_ = [&](const bytes& request) { deaf = deaf || request[0] == test.from; };
    const outcome result = run(package);
    EXPECT_EQ(result.status, 7) << int{test.from};
    EXPECT_THAT(result.log, HasSubstr("cause: the card's answers cannot be heard: the receiver ended\n"));
    EXPECT_THAT(result.log, HasSubstr(test.text));
    EXPECT_EQ(sent_.size(), test.requests) << int{test.from};
  }
}

// What the card tells of its statistics, more or less than is printed or nothing at all, is nothing to the update.
TEST_F(Update, StatisticsNeverChangeTheResult) {
  const one_partition package;
  const std::string long_reply = "\"reply\": \"" + std::string(200, '0') + '"';
  for (const std::string& fault : {std::string(R"("reply": "00")"), std::string(R"("result": 6)"), long_reply}) {
    plug(quick("", R"("update": {"erase_fails": 1}, "processor": {"requests": [{"event_id": 27, "op_code": 1, )" +
                       fault + "}]}"));
    const outcome result = run(package);
    EXPECT_EQ(result.status, 0) << fault << result.log;
    EXPECT_EQ(requests(1).size(), 2u);
  }
}

TEST_F(Update, FileThatChangesUnderTheUpdateFailsIt) {
  struct {
    uint8_t request;
    size_t request_size;
    uint64_t size;
    const char* log;
  } const cases[] = {
      {28, 65, 256 + 10, "the header of part 1 cannot be read"},
      {0x20, 208, 256 + 0x1000, "image 0 cannot be read at byte 0"},
      {0x42, 12, 256 + 0x3000, "image 2 cannot be read again"},
  };
  for (const auto& test : cases) {
    one_partition package;
    plug(R"({"update": {"erase_ms": 1, "read_back_ms": 1}})");
    before_request_ = [&](const bytes& request) {
      if (request[0] == test.request && request.size() == test.request_size) {
        package.resize(test.size);
      }
    };
    const outcome result = run(package);
    EXPECT_EQ(result.status, 7);
    EXPECT_THAT(result.log, HasSubstr(test.log)) << int{test.request};
  }
}

TEST_F(Update, InterruptSaysWhatTheFlashHolds) {
  struct {
    uint8_t request;  // during which Ctrl-C comes
    bool both_partitions;
    int running;
    const char* text;
  } const cases[] = {
      {28, false, 1, "interrupted: nothing was written to the flash, the running partition is untouched\n"},
      {19, false, 1,
       "interrupted: partition 2 is incomplete, image 1 of 3 is not written yet: repeat the update; the running "
       "partition 1 is untouched\n"},
      {0x20, false, 2,
       "interrupted: partition 1 is incomplete, image 1 of 3 is being erased: repeat the update; the running partition "
       "2 is untouched\n"},
      {0x40, false, 1,
       "image 1 of 3 holds 2028 of 5000 bytes: repeat the update; the running partition 1 is untouched\n"},
      {0x62, false, 1, "image 3 of 3 is written but not verified: repeat the update; "},
      {22, false, 1,
       "interrupted: all images are written and verified, but the card has not finished: it may start partition 2 at "
       "its next reset; the running partition 1 is untouched\n"},
      {0x40, true, 1,
       "partition 1 is incomplete, image 1 of 1 holds 2028 of 5000 bytes: repeat the update; it is the "
       "running partition: repeat the update before the card is reset\n"},
      {0x40, true, 2, "the running partition 2 is untouched\n"},
  };
  for (const auto& test : cases) {
    const one_partition partition;
    const whole_flash both;
    guard_.reset();
    guard_.emplace();
    plug(R"({"update": {"erase_ms": 50, "read_back_ms": 1, "end_ms": 50, "partition": )" +
         std::to_string(test.running) + "}}");
    before_request_ = [&](const bytes& request) {
      if (request[0] == test.request) {
        raise(SIGINT);
      }
    };
    const outcome result = test.both_partitions ? run(both) : run(partition);
    EXPECT_EQ(result.status, 130) << int{test.request};
    EXPECT_THAT(result.log, HasSubstr(test.text)) << int{test.request};
    EXPECT_EQ(sent_.back()[0], test.request) << "another request followed the interrupt";
  }
}

// The card gives up while it still answers the package header.
TEST_F(Update, FailureReportedDuringTheHeaderEndsTheUpdate) {
  one_partition package;
  plug("{}");
  before_request_ = [](const bytes& request) {
    if (request[0] == 19) {
      bytes notice(16);
      notice[12] = 23;
      notice[13] = 12;
      mts_fwupdate_recv_cb(notice.data(), static_cast<uint32_t>(notice.size()));
    }
  };
  const outcome result = run(package);
  EXPECT_EQ(result.status, 7);
  EXPECT_THAT(result.log, HasSubstr("sys failed umount failed"));
  EXPECT_TRUE(requests(0x20).empty());
}

TEST_F(Update, QueriesPrintTheirAnswer) {
  plug(R"({"update": {"version": "TARN-FW-EVB-\u001b[2J3", "partition": 2, "authorises": false}})");
  const outcome version = run_query("version", FW_STATE_VERSION);
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.printed, "running version: TARN-FW-EVB-?[2J3\n");
  EXPECT_EQ(run_query("part", FW_STATE_PART).printed, "active partition: 2\n");
  const outcome counts = run_query("flash_cnt", FW_STATE_FLASH_CNT);
  EXPECT_EQ(counts.status, 0);
  EXPECT_THAT(counts.printed,
              HasSubstr("====flash erase_err wr_err rd_err cb_cnt queue_cnt deque_cnt max_wq_backlog====\n"));
  EXPECT_THAT(counts.printed, HasSubstr("====risc->host rx_cnt   tx_cnt   tx_err====\n"));
  plug(R"({"faults": {"processor": {"requests": [{"event_id": 27, "result": 6}]}}})");
  const outcome lost = run_query("flash_cnt", FW_STATE_FLASH_CNT);
  EXPECT_EQ(lost.status, 7);
  EXPECT_THAT(lost.log, HasSubstr("bar chan or msgq channel is not work ,try it later!"));
}

TEST_F(Update, PipeGetsOneLineAPhase) {
  const one_partition package;
  plug(quick());
  EXPECT_EQ(run(package).printed,
            "image 1/3 erasing\nimage 1/3 writing\nimage 1/3 reading\nimage 3/3 erasing\nimage 3/3 writing\n"
            "image 3/3 reading\nfinishing\n****kx firmware has write success, please reset(use BMC) to active!****\n");
}

}  // namespace
