// The management processor's side of an update, spoken to in bytes: what it protects and what it reports.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>

#include "../temp_folder.h"
#include "vcard/card.h"
#include "vcard/models.h"

namespace vcard {
namespace {

constexpr uint32_t partition_1 = 0x40000;
constexpr uint32_t partition_2 = 0x3300000;

class FirmwareUpdateModel : public testing::Test {
 protected:
  void SetUp() override {
    models_attach(card_);
    ASSERT_TRUE(card_.create({.tree = "", .state = folder_.path()}));
    card_.processor().attach_tool([this](uint16_t, ByteView payload) {
      notices_.emplace_back(payload.begin(), payload.end());
      came_.notify_all();
      return true;
    });
    card_.start();
    request(Bytes(65, 0), 28);
  }
  void TearDown() override {
    card_.stop();
  }

  void request(Bytes bytes, uint8_t first) {
    bytes[0] = first;
    const std::lock_guard guard(card_.lock());
    notices_.clear();
    Bytes reply;
    EXPECT_EQ(card_.processor().handle(update_event, bytes, reply), 0);
  }
  /// Command and status of the first notice since the last request.
  std::pair<int, int> notice() {
    std::unique_lock lock(card_.lock());
    if (!came_.wait_for(lock, std::chrono::seconds(10), [this] { return !notices_.empty(); })) {
      return {-1, -1};
    }
    return {notices_.front()[12], notices_.front()[13]};
  }

  /// A package header with one image at `image`, sent for the flash offset `offset`.
  void header(uint32_t offset, uint32_t image) {
    Bytes bytes(8 + 2000);
    put_le<uint16_t>(bytes, 2, 2000);
    put_le<uint32_t>(bytes, 4, offset);
    put_le<uint32_t>(bytes, 8 + 68, 1);
    put_le<uint32_t>(bytes, 8 + 72, image);
    request(bytes, 19);
    EXPECT_EQ(notice(), std::pair(4, 3));
  }
  void erase(uint32_t offset, uint32_t size) {
    Bytes bytes(208);
    put_le<uint32_t>(bytes, 4, offset);
    put_le<uint32_t>(bytes, 8, size);
    const std::string path = "/dev/mtd0";
    std::copy(path.begin(), path.end(), bytes.begin() + 12);
    request(bytes, 0x20);
  }
  void write(uint32_t offset, const Bytes& data) {
    Bytes bytes(8);
    put_le<uint16_t>(bytes, 2, static_cast<uint16_t>(data.size()));
    put_le<uint32_t>(bytes, 4, offset);
    bytes.insert(bytes.end(), data.begin(), data.end());
    request(bytes, 0x40);
  }
  Bytes flash(uint32_t address, size_t length) {
    const std::lock_guard guard(card_.lock());
    Bytes out(length);
    std::ifstream file(folder_ / "flash", std::ios::binary);
    file.seekg(address);
    file.read(reinterpret_cast<char*>(out.data()), static_cast<std::streamsize>(length));
    return out;
  }

  temp_folder folder_;
  CardFile file_{R"({"update": {"erase_ms": 1, "read_back_ms": 1}})"};
  RequestLog log_;
  Card card_{file_, log_};
  std::vector<Bytes> notices_;
  std::condition_variable_any came_;
};

using Notice = std::pair<int, int>;
constexpr Notice erased{23, 1};
constexpr Notice erase_failed{23, 2};
constexpr Notice write_failed{23, 4};

TEST_F(FirmwareUpdateModel, OnlyTheOpenedPartitionIsErasedAndWritten) {
  erase(partition_1 + 0x1000, 4096);
  EXPECT_EQ(notice(), erase_failed) << "no header was sent";
  header(partition_2, partition_1 + 0x1000);
  erase(partition_1 + 0x1001, 4096);
  EXPECT_EQ(notice(), erase_failed) << "not at a block";
  erase(partition_1 + 0x32bf000, 0x2000);
  EXPECT_EQ(notice(), erase_failed) << "reaches past the partition";
  write(partition_1 + 0x1000, Bytes(4, 1));
  EXPECT_EQ(notice(), write_failed) << "not erased";
  erase(partition_1 + 0x1000, 5000);
  EXPECT_EQ(notice(), erased);
  EXPECT_EQ(flash(partition_2 + 0x1000, 8192), Bytes(8192, 0xff)) << "whole blocks, in the other partition";
  EXPECT_EQ(flash(partition_1, 0x4000), Bytes(0x4000)) << "the running partition changed";
  write(partition_1 + 0x1000 + 5000, Bytes(4, 1));
  EXPECT_EQ(notice(), write_failed) << "behind the image";
}

TEST_F(FirmwareUpdateModel, WritingClearsBitsAndTheSumIsOfWhatTheFlashHolds) {
  header(partition_1, partition_1 + 0x1000);
  erase(partition_1 + 0x1000, 8);
  ASSERT_EQ(notice(), erased);
  write(partition_1 + 0x1000, Bytes(8, 0x0f));
  write(partition_1 + 0x1000, Bytes(4, 0x3c));
  EXPECT_EQ(flash(partition_1 + 0x1000, 8), (Bytes{0x0c, 0x0c, 0x0c, 0x0c, 0x0f, 0x0f, 0x0f, 0x0f}));
  Bytes bytes(13);
  put_le<uint32_t>(bytes, 1, partition_1 + 0x1000);
  put_le<uint32_t>(bytes, 5, 8);
  put_le<uint32_t>(bytes, 9, 0x1234);
  request(bytes, 0x60);
  ASSERT_EQ(notice().first, 2);
  EXPECT_EQ(get_le<uint32_t>(notices_.front(), 24), 0x1234u);
  EXPECT_EQ(get_le<uint32_t>(notices_.front(), 28), 4u * 0x0c + 4u * 0x0f);
}

TEST_F(FirmwareUpdateModel, NewAuthorisationForgetsTheUpdateBefore) {
  header(partition_2, partition_1 + 0x1000);
  erase(partition_1 + 0x1000, 4096);
  ASSERT_EQ(notice(), erased);
  request(Bytes(65, 0), 18);
  EXPECT_EQ(notice(), Notice(18, 0));
  write(partition_1 + 0x1000, Bytes(4, 1));
  EXPECT_EQ(notice(), write_failed);
}

}  // namespace
}  // namespace vcard
