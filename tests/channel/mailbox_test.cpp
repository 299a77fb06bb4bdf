// The mailbox against a card's side that is played by a second thread: what is written, when, and what a reply or a
// notice of any shape leads to.
#include <gmock/gmock.h>

#include <array>
#include <atomic>
#include <thread>

#include "../bytes.h"
#include "../printed.h"
#include "channel/bar_channel.h"
#include "channel/event.h"
#include "channel/mailbox.h"
#include "mailbox_receive.h"
#include "mailbox_ring.h"
#include "mailbox_send.h"
#include "test_bar.h"

namespace {

constexpr size_t REQUEST = 0x000;
constexpr size_t NOTICE = 0x800;
constexpr size_t PAYLOAD = 12;
constexpr uint32_t VALID = 1;
constexpr uint32_t ROUTE = 2;
constexpr uint32_t ACK = 8;
constexpr uint32_t POLL_TAG = 16;

class Mailbox : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(bar_msgid_ring_init());
    for (size_t offset = 0; offset < bar_.tool().size; offset += 4) {
      bar_.write(offset, 0xA5A5A5A5);
    }
    bar_.write(REQUEST, 0);
    bar_.write(NOTICE, 0);
  }
  bar_msg_send_para send_para(const std::vector<uint8_t>& payload) const {
    return {bar_.tool(), payload.data(), static_cast<uint16_t>(payload.size()), 0, 1, 39, 0x1234, 0x5678};
  }
  // The card waits for the request, remembers the slot, and answers with `words` at the slot's start and `reply` as
  // payload; the valid bit goes last.
  std::thread card_answers(std::array<uint32_t, 3> words, const std::vector<uint8_t>& reply) {
    return std::thread([this, words, reply] {
      while ((bar_.read(REQUEST) & VALID) == 0) {
        usleep(50);
      }
      request_ = bar_.bytes(REQUEST, 0x800);
      bar_.put(REQUEST + PAYLOAD, reply);
      bar_.write(REQUEST + 4, words[1]);
      bar_.write(REQUEST + 8, words[2]);
      bar_.write(REQUEST, words[0]);
    });
  }
  int32_t exchange(const std::vector<uint8_t>& payload, std::array<uint32_t, 3> words,
                   const std::vector<uint8_t>& reply, std::vector<uint8_t>* buffer) {
    std::thread card = card_answers(words, reply);
    const bar_msg_send_para send = send_para(payload);
    const bar_msg_recv_para recv = {buffer->data(), static_cast<uint16_t>(buffer->size())};
    const int32_t result = bar_chan_sync_exchange(&send, &recv);
    card.join();
    return result;
  }
  test_bar bar_{0x1000};
  std::vector<uint8_t> request_;
};

TEST_F(Mailbox, WritesHeaderAndPayloadAndReadsTheReply) {
  for (const size_t size : {1u, 3u, 4u, 5u, 8u, 2035u, 2036u}) {
    const std::vector<uint8_t> payload = counted_bytes(size);
    std::vector<uint8_t> buffer(9, 0xEE);
    ASSERT_EQ(exchange(payload, {39u << 16 | ACK, 7, 0}, counted_bytes(7), &buffer), 0) << size;
    const std::vector<uint8_t> header = {
        VALID, 0, 39, 0, static_cast<uint8_t>(size), static_cast<uint8_t>(size >> 8), 0, 0, 0x34, 0x12, 0x78, 0x56};
    EXPECT_EQ(std::vector<uint8_t>(request_.begin(), request_.begin() + PAYLOAD), header);
    EXPECT_TRUE(std::equal(payload.begin(), payload.end(), request_.begin() + PAYLOAD)) << size;
    // One word follows the whole ones, zero where the payload has ended; behind a full slot it is not written.
    const size_t last = PAYLOAD + size / 4 * 4;
    for (size_t i = PAYLOAD + size; i < last + 4 && i < 0x800; ++i) {
      EXPECT_EQ(request_[i], 0) << size << " " << i;
    }
    if (last + 4 < 0x800) {
      EXPECT_EQ(request_[last + 4], 0xA5) << "wrote more than one word behind the payload";
    } else {
      EXPECT_EQ(bar_.read(NOTICE), 0u) << "wrote behind the slot";
    }
    EXPECT_EQ(buffer, (std::vector<uint8_t>{1, 2, 3, 4, 5, 6, 7, 0xEE, 0xEE}));
    SetUp();
  }
}

TEST_F(Mailbox, RefusesRepliesThatDoNotFit) {
  const std::pair<uint32_t, int32_t> cases[] = {
      {8, 0}, {0, 0}, {9, 12}, {2036, 12}, {0xFFFF, 12}, {0x0001'0004, 15}, {0xFFFF'0004, 15},
  };
  for (const auto& [word1, result] : cases) {
    std::vector<uint8_t> buffer(8, 0xEE);
    EXPECT_EQ(exchange(counted_bytes(4), {39u << 16 | ACK, word1, 0}, counted_bytes(8), &buffer), result) << word1;
  }
  // A reply that claims more than a slot holds, for a caller with room for it: nothing behind the slot is read.
  std::vector<uint8_t> large(4000, 0xEE);
  EXPECT_EQ(exchange(counted_bytes(4), {39u << 16 | ACK, 4000, 0}, counted_bytes(2036), &large), 0);
  EXPECT_EQ(large[2035], static_cast<uint8_t>(2036));
  EXPECT_EQ(large[2036], 0);
}

TEST_F(Mailbox, ABarOffsetsTokenIsTheSumOfTheRequestBytes) {
  const bar_offset_request request = {bar_.tool(), 0xFF80, 0x0302};
  for (const bool right : {true, false}) {
    const auto token = static_cast<uint8_t>(right ? 0x84 : 0x85);
    std::thread card = card_answers({ACK, 2036, 0}, {0, 0, 0, 0, token, 1, 0, 0, 0, 0xF0, 0xF0, 0, 0, 0x10, 0, 0});
    bar_offset_result result = {};
    EXPECT_EQ(tarn_get_bar_offset(&request, &result), right ? 0 : -20);
    card.join();
    EXPECT_EQ(result.bar_offset, right ? 0x00F0F000u : 0u);
    EXPECT_EQ(result.bar_length, right ? 0x1000u : 0u);
    SetUp();
  }
  EXPECT_EQ(tarn_get_bar_offset(nullptr, nullptr), -1);
}

TEST_F(Mailbox, ChecksTheDescriptorsInOrderAndWritesNothing) {
  uint8_t byte = 0;
  const std::vector<uint8_t> payload = counted_bytes(4);
  const bar_msg_recv_para recv = {&byte, 1};
  const bar_msg_send_para good = send_para(payload);
  auto with = [&](auto change) {
    bar_msg_send_para send = good;
    change(send);
    return send;
  };
  struct {
    bar_msg_send_para send;
    bar_msg_recv_para recv;
    int32_t result;
    const char* line;
  } const cases[] = {
      {with([](auto& s) { s = {{}, nullptr, 2037, 2, 2, 41, 0, 0}; }), {}, 2, "chan doesn't exist."},
      {with([](auto& s) { s.dst = 2; }), recv, 2, "chan doesn't exist."},
      {with([](auto& s) { s = {{}, nullptr, 2037, 0, 1, 41, 0, 0}; }), {}, 3, "invalid event_id: 41."},
      {with([](auto& s) { s = {{}, nullptr, 2037, 0, 1, 40, 0, 0}; }), {}, 4, "null message."},
      {with([](auto& s) { s = {{}, s.payload, 2037, 0, 1, 40, 0, 0}; }), {}, 5, "len 7f5 is too long."},
      {with([](auto& s) {
         s.area = {};
         s.payload_len = 2036;
       }),
       recv, 14, "virt_addr or recv_buffer is NULL."},
      {with([](auto& s) { s.area.size = 4095; }), recv, 14, "virt_addr or recv_buffer is NULL."},
      {good, {nullptr, 1}, 14, "virt_addr or recv_buffer is NULL."},
  };
  for (const auto& c : cases) {
    const std::string lines = printed([&] { EXPECT_EQ(bar_chan_sync_exchange(&c.send, &c.recv), c.result); });
    EXPECT_THAT(lines, testing::HasSubstr(std::string("]send para ERR: ") + c.line + "\033[m\n"));
    EXPECT_THAT(lines, testing::EndsWith("]para check failed, " + std::to_string(c.result) + ".\033[m\n"));
  }
  EXPECT_EQ(bar_chan_sync_exchange(nullptr, &recv), 1);
  EXPECT_EQ(bar_chan_sync_exchange(&good, nullptr), 11);
  EXPECT_EQ(bar_.read(REQUEST), 0u);
  EXPECT_EQ(bar_.read(REQUEST + PAYLOAD), 0xA5A5A5A5);
  EXPECT_EXIT(tarn_bar_chan_sync_msg_send(nullptr, &recv), testing::ExitedWithCode(1), "");
  EXPECT_EXIT(tarn_bar_chan_sync_msg_send(&good, nullptr), testing::ExitedWithCode(11), "");
}

TEST_F(Mailbox, SendersTakeTurns) {
  std::atomic<bool> done = false;
  std::thread card([&] {
    while (!done) {
      const uint32_t word = bar_.read(REQUEST);
      if ((word & VALID) != 0) {
        // Echo: the payload is already in place.
        bar_.write(REQUEST, (word & ~VALID) | ACK);
      }
      usleep(20);
    }
  });
  auto sender = [&](uint8_t own) {
    for (int i = 0; i < 50; ++i) {
      const std::vector<uint8_t> payload = {own, static_cast<uint8_t>(i), own, own, own};
      std::vector<uint8_t> buffer(5);
      const bar_msg_send_para send = send_para(payload);
      const bar_msg_recv_para recv = {buffer.data(), 5};
      ASSERT_EQ(bar_chan_sync_exchange(&send, &recv), 0);
      ASSERT_EQ(buffer, payload);
    }
  };
  std::thread first(sender, uint8_t{1});
  std::thread second(sender, uint8_t{2});
  first.join();
  second.join();
  done = true;
  card.join();
}

// --- notices

std::vector<uint8_t> received;
std::atomic<int> receptions = 0;
uint16_t answer_len = 0;

int32_t receive(const uint8_t* payload, uint16_t length, uint8_t* reply, uint16_t* reply_len) {
  received.assign(payload, payload + length);
  memset(reply, 0x77, BAR_MSG_PAYLOAD_MAX);
  *reply_len = answer_len;
  ++receptions;
  return 0;
}

class Notice : public Mailbox {
 protected:
  void SetUp() override {
    Mailbox::SetUp();
    received.clear();
    receptions = 0;
    answer_len = 0;
    ASSERT_EQ(tarn_bar_chan_msg_recv_register(39, receive), 0);
  }
  void TearDown() override {
    ASSERT_EQ(tarn_bar_chan_msg_recv_unregister(39), 0);
  }
  int32_t poll() {
    return bar_chan_rx_poll(bar_.tool(), 1, 0, &state_);
  }
  bar_rx_state state_;
};

TEST_F(Notice, ChecksTheHeaderAndLeavesABadMessageInPlace) {
  struct {
    uint32_t word0;
    uint32_t length;
    int32_t result;
    const char* line;
  } const cases[] = {
      {39u << 16, 4, 3, ""},
      {40u << 16 | VALID, 2037, 3, "recv header ERR: invalid event_id: 40."},
      {255u << 16 | VALID, 4, 3, "recv header ERR: invalid event_id: 255."},
      {39u << 16 | VALID, 2037, 5, "recv header ERR: invalid mesg len: 2037."},
      {39u << 16 | VALID, 0xFFFF, 5, "recv header ERR: invalid mesg len: 65535."},
      {38u << 16 | VALID, 4, 13, "recv header ERR: module:38  doesn't register"},
      {0xFFFFFFFF, 0xFFFFFFFF, 3, "recv header ERR: invalid event_id: 255."},
  };
  for (const auto& c : cases) {
    bar_.write(NOTICE, c.word0);
    bar_.write(NOTICE + 4, c.length);
    EXPECT_THAT(printed([&] { EXPECT_EQ(poll(), c.result) << c.word0; }), testing::HasSubstr(c.line));
    EXPECT_EQ(bar_.read(NOTICE), c.word0);
    // Found again at every look, reported once.
    EXPECT_EQ(printed([&] { EXPECT_EQ(poll(), c.result); }), "");
  }
  EXPECT_TRUE(received.empty());
}

TEST_F(Notice, AcknowledgesIntoTheSlotThatTheRouteFlagSelects) {
  struct {
    uint32_t flags;
    size_t reply_slot;
    uint16_t answer;
  } const cases[] = {
      {VALID, NOTICE, 0},
      {VALID | ROUTE, REQUEST, 0},
      {VALID | ROUTE | POLL_TAG, REQUEST, 5},
      {VALID | POLL_TAG, NOTICE, 2036},
  };
  for (const auto& c : cases) {
    answer_len = c.answer;
    bar_.put(NOTICE + PAYLOAD, counted_bytes(6));
    bar_.write(NOTICE + 4, 0x0042'0006);
    bar_.write(NOTICE, 39u << 16 | c.flags);
    ASSERT_EQ(poll(), 0);
    EXPECT_EQ(received, counted_bytes(6));
    // The copy in the reply slot still says what was received; in the notice slot valid and poll tag are cleared.
    const uint32_t left = c.reply_slot == NOTICE ? c.flags & ~(VALID | POLL_TAG) : c.flags;
    EXPECT_EQ(bar_.read(c.reply_slot), 39u << 16 | left | ACK) << c.flags;
    EXPECT_EQ(bar_.read(c.reply_slot + 4), 0x0042'0000u | c.answer);
    EXPECT_EQ(bar_.read(NOTICE) & (VALID | POLL_TAG), 0u);
    if (c.answer >= 4) {
      EXPECT_EQ(bar_.read(c.reply_slot + PAYLOAD), 0x77777777u);
    }
  }
}

TEST_F(Notice, AnAcknowledgementWithoutACallbackIsAnsweredEmpty) {
  bar_.write(NOTICE + 4, 4);
  bar_.write(NOTICE, 7u << 16 | VALID | ACK);
  EXPECT_THAT(printed([&] { EXPECT_EQ(poll(), 0); }), testing::HasSubstr("event_id[7] unregister"));
  EXPECT_EQ(bar_.read(NOTICE), 7u << 16 | ACK);
  EXPECT_EQ(bar_.read(NOTICE + 4), 0u);
}

TEST_F(Notice, TheReceiveThreadDeliversAndEndsWithTheBar) {
  // As in the tool, the record outlives the thread.
  static kxtool_device device;
  device.bar = bar_.map();
  bar_.write(NOTICE + 4, 0);
  ASSERT_EQ(tarn_bc_init(&device), 0);
  EXPECT_EQ(tarn_rx_poll_tick_get(), 5000u);
  tarn_rx_poll_tick_set(100);
  for (int i = 1; i <= 20; ++i) {
    bar_.write(NOTICE, 39u << 16 | VALID);
    for (int wait = 0; (bar_.read(NOTICE) & VALID) != 0 && wait < 50000; ++wait) {
      usleep(100);
    }
    ASSERT_EQ(receptions, i);
  }
  tarn_bc_exit(&device);
  usleep(10000);
  EXPECT_EQ(device.bar.base, nullptr);
}

// An update that starts where another one was broken off must not be refused for the other one's last notice.
TEST_F(Notice, OneThatWasLeftBehindBlocksUntilItsCallbackIsThere) {
  ASSERT_EQ(tarn_bar_chan_msg_recv_unregister(39), 0);
  static kxtool_device device;
  device.bar = bar_.map();
  bar_.write(NOTICE + 4, 0);
  bar_.write(NOTICE, 39u << 16 | VALID);
  ASSERT_EQ(tarn_bc_init(&device), 0);
  tarn_rx_poll_tick_set(1'000'000);  // no second look in what follows
  for (int wait = 0; kxtool_notice_deafness() == nullptr && wait < 50000; ++wait) {
    usleep(100);
  }
  ASSERT_EQ(tarn_bar_chan_msg_recv_register(38, receive), 0);
  EXPECT_NE(kxtool_notice_deafness(), nullptr);
  ASSERT_EQ(tarn_bar_chan_msg_recv_register(39, receive), 0);
  EXPECT_EQ(kxtool_notice_deafness(), nullptr);
  ASSERT_EQ(tarn_bar_chan_msg_recv_unregister(38), 0);
  tarn_bc_exit(&device);
}

}  // namespace
