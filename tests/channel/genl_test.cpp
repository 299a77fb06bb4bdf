// Generic netlink: the exact bytes that go out, and what answers and notices of any shape lead to.
#include "genl.h"

#include <gmock/gmock.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "../printed.h"
#include "channel/device.h"
#include "channel/driver.h"
#include "channel/event.h"
#include "common/unique_fd.h"

namespace {

using bytes = std::vector<uint8_t>;

// A message with both headers, `type`, what follows, and not a byte more: a sanitizer sees a read behind it.
bytes message(uint16_t type, const bytes& attributes) {
  bytes result(20 + attributes.size());
  std::copy(attributes.begin(), attributes.end(), result.begin() + 20);
  const auto length = static_cast<uint32_t>(result.size());
  memcpy(result.data(), &length, sizeof length);
  memcpy(result.data() + 4, &type, sizeof type);
  return result;
}

bytes with_length(bytes m, uint32_t length) {
  memcpy(m.data(), &length, sizeof length);
  return m;
}

TEST(Genl, HeaderIsGoodOnlyWhenTheMessageLiesInWhatWasReceived) {
  const bytes good = message(31, {8, 0, 1, 0, 2, 0, 0, 0});
  struct {
    bytes received;
    bool good;
    uint16_t type;
  } const cases[] = {
      {good, true, 31},
      {with_length(good, 16), true, 31},
      {with_length(good, 15), false, 31},
      {with_length(good, 29), false, 31},
      {with_length(good, 0xFFFFFFFF), false, 31},
      {message(2, {}), false, 2},
      {bytes(good.begin(), good.begin() + 15), false, 0},
      {{}, false, 0},
  };
  for (const auto& c : cases) {
    uint16_t type = 1;
    std::span<const uint8_t> found;
    EXPECT_EQ(genl_header_read(c.received, &type, &found) == genl_header::good, c.good);
    EXPECT_EQ(type, c.type);
  }
}

TEST(Genl, FamilyIdAndNoticeStayInsideTheMessage) {
  const auto behind_name = [](const bytes& tail) {
    bytes attributes = {6, 0, 2, 0, 'a', 0, 0, 0};
    attributes.insert(attributes.end(), tail.begin(), tail.end());
    return message(16, attributes);
  };
  struct {
    bytes answer;
    uint16_t id;
    size_t notice;  // bytes of the first attribute's data
  } const cases[] = {
      {behind_name({6, 0, 1, 0, 0x1F, 0x01, 0, 0}), 0x011F, 2},
      {behind_name({6, 0, 3, 0, 0x1F, 0, 0, 0}), 0, 2},
      {behind_name({6, 0, 1, 0, 0x1F}), 0, 2},
      {behind_name({}), 0, 2},
      {message(16, {0xFF, 0xFF, 1, 0}), 0, 0},
      {message(16, {9, 0, 1, 0, 1, 2, 3, 4}), 0, 0},
      {message(16, {8, 0, 1, 0, 1, 2, 3, 4}), 0, 4},
      {message(16, {3, 0, 1, 0, 1, 2, 3, 4}), 0, 0},
      {message(16, {0, 0, 1, 0, 7, 0}), 0, 0},
      {message(16, {4, 0, 1}), 0, 0},
      {with_length(message(16, {}), 16), 0, 0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(genl_family_id_read(c.answer), c.id);
    EXPECT_EQ(genl_notice_read(c.answer).size(), c.notice);
  }
}

class GenlSocket : public testing::Test {
 protected:
  void SetUp() override {
    int pair[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, pair), 0);
    tool_.reset(pair[0]);
    kernel_.reset(pair[1]);
  }
  void answer(const bytes& b) {
    ASSERT_EQ(send(kernel_.get(), b.data(), b.size(), 0), static_cast<ssize_t>(b.size()));
  }
  bytes request() {
    bytes b(20000);
    const ssize_t count = recv(kernel_.get(), b.data(), b.size(), MSG_DONTWAIT);
    b.resize(count < 0 ? 0 : static_cast<size_t>(count));
    return b;
  }
  kx_unique_fd tool_;
  kx_unique_fd kernel_;
};

TEST_F(GenlSocket, RefusesTypeZeroAndDataThatDoesNotFit) {
  const bytes data(14000);
  EXPECT_EQ(tarn_genl_send_msg(tool_.get(), 0, 0, 3, 1, 2, data.data(), 4), -1);
  EXPECT_EQ(tarn_genl_send_msg(tool_.get(), 16, 7, 3, 1, 2, data.data(), 13995), 0);
  EXPECT_EQ(request().size(), 14020u);
  EXPECT_EQ(tarn_genl_send_msg(tool_.get(), 16, 7, 3, 1, 2, data.data(), 13996), -1);
  EXPECT_TRUE(request().empty());
}

TEST_F(GenlSocket, BadFamilyAnswersGiveAllOnesWithALine) {
  struct {
    bytes reply;
    uint32_t id;
    const char* line;
  } const cases[] = {
      {message(2, {}), 0xFFFFFFFF, "ans.nlh.nlmsg_type=2, error!"},
      {bytes(15), 0xFFFFFFFF, "ans.nlh.nlmsg_type=0, error!"},
      {with_length(message(16, {}), 21), 0xFFFFFFFF, "ans.nlh.nlmsg_type=16, error!"},
      {message(16, {6, 0, 2, 0}), 0, ""},
  };
  for (const auto& c : cases) {
    answer(c.reply);
    EXPECT_THAT(printed([&] { EXPECT_EQ(tarn_genl_get_family_id(tool_.get(), "f"), c.id); }),
                testing::HasSubstr(c.line));
  }
}

TEST_F(GenlSocket, ASocketThatFailsIsALineAndAllOnes) {
  const timeval at_once = {.tv_sec = 0, .tv_usec = 1000};
  ASSERT_EQ(setsockopt(tool_.get(), SOL_SOCKET, SO_RCVTIMEO, &at_once, sizeof at_once), 0);
  EXPECT_THAT(printed([&] { EXPECT_EQ(tarn_genl_get_family_id(tool_.get(), "f"), 0xFFFFFFFF); }),
              testing::EndsWith(" rep_len=-1 is invaild!\n"));
  // A socket of another family: neither bound nor sent on.
  kxtool_device device;
  device.netlink_socket.reset(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  EXPECT_THAT(printed([&] { tarn_tools_netlink_recv_msg(&device); }),
              testing::MatchesRegex("kxtools_err: .* bind\\(\\) error!\nkxtools_info: .* genl_send_msg failed,ret=-1!\n"
                                    "kxtools_err: .* Get family_id of generic netlink failed, family_id=-1!\n"));
}

std::vector<bytes> notices;

TEST_F(GenlSocket, ReceiverHandsNoticesOnUntilAForeignMessage) {
  notices.clear();
  kxtool_recv_cb_set([](const uint8_t* payload, uint32_t length) { notices.emplace_back(payload, payload + length); });
  answer(message(16, {4, 0, 2, 0, 6, 0, 1, 0, 0x1F, 0, 0, 0}));
  answer(message(0x1F, {12, 0, 1, 0, 2, 0, 0, 0, 9, 9, 9, 9}));
  answer(message(0x1F, {8, 0, 1, 0, 12, 0, 0, 0}));
  answer(message(0x1F, {200, 0, 1, 0, 2, 0, 0, 0}));
  answer(message(0x20, {8, 0, 1, 0, 2, 0, 0, 0}));
  answer(message(0x1F, {8, 0, 1, 0, 2, 0, 0, 0}));
  kxtool_device device;
  device.netlink_socket.reset(tool_.release());
  const std::string lines = printed([&] { tarn_tools_netlink_recv_msg(&device); });
  kxtool_recv_cb_set(nullptr);
  EXPECT_EQ(notices, (std::vector<bytes>{{2, 0, 0, 0, 9, 9, 9, 9}}));
  EXPECT_THAT(lines, testing::HasSubstr("No information of corresponding op code 12 !"));
  EXPECT_THAT(lines, testing::HasSubstr("No information of corresponding op code 0 !"));
  EXPECT_THAT(lines, testing::HasSubstr("the msg of family_id 32 not recvived!"));
}

}  // namespace
