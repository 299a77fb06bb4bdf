// The card's side of the mailbox in BAR 0, driven by the probe.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "system/cases.h"

namespace {

TEST(MailboxWire, AnswersInTheRequestSlot) {
  const std::vector<kx_system::Case> exchanges = {
      // Valid cleared, ack set, ids echoed, length and payload of the reply.
      {"{}", "bar 0000:3b:00.0 , mailbox 7 39 0000000078563412", 0,
       "bar size=0x4000000\nmailbox header=080027000800070000000000 payload=0000000078563412\n"},
      {R"({"bar0": {"layout_byte": 2}})", "bar 0000:3b:00.1 , mailbox 7 33 01000000", 0,
       "bar size=0x4000000\nmailbox header=080021001000070000000000 payload=000000000100000000f0f00000100000\n"},
      {R"({"faults": {"mailbox": {"requests": [{"event_id": 33, "count": 1, "never_answers": true}]}}})",
       "bar 0000:3b:00.0 , mailbox_silence 7 33 01 , mailbox 8 33 01", 0,
       "bar size=0x4000000\nmailbox time out\n"
       "mailbox header=080021001000080000000000 payload=000000000100000000f0f00000100000\n"},
      {R"({"faults": {"mailbox": {"requests": [{"message_id": 9, "length": 12, "no_ack": true}]}}})",
       "bar 0000:3b:00.0 , mailbox 7 39 0000000000000000", 0,
       "bar size=0x4000000\nmailbox header=000027000c00090000000000 payload=000000000000000000000000\n"},
      // Nobody listens, or the processor says so: the request stays where it is.
      {"{}", "bar 0000:3b:00.0 , mailbox_silence 7 12 00", 0, "bar size=0x4000000\nmailbox time out\n"},
      {R"({"faults": {"processor": {"requests": [{"op_code": 0, "never_answers": true}]}}})",
       "bar 0000:3b:00.0 , mailbox_silence 7 39 0000000000000000", 0, "bar size=0x4000000\nmailbox time out\n"},
      // The BAR ends before the mailbox.
      {R"({"bar0": {"size": 65536}})", "bar 0000:3b:00.0 , peek 0x5408", 0, "bar size=0x10000\npeek 0x00000002\n"},
  };
  kx_system::check_all(exchanges, {.program = VCARD_PROBE});
}

TEST(MailboxWire, AClaimedBarIsTakenFromItsMappingsAndMappedNoMore) {
  const auto mapped_no_more = [](const std::string& before) {
    return testing::StartsWith(before + "bar size=0x4000000 errno=22\n");
  };
  const char* const taken = R"({"faults": {"bar0": {"taken_ms": 500}}})";
  const std::vector<kx_system::Case> exchanges = {
      {R"({"faults": {"bar0": {"claimed": true}}})", "bar 0000:3b:00.0 , bar 0000:3b:00.1", 0, mapped_no_more("")},
      // At a request, and a time after the first mapping; the foreign function is none of the card's.
      {R"({"faults": {"mailbox": {"requests": [{"takes_bar": true}]}}})",
       "bar 0000:3b:00.0 , mailbox_silence 7 39 0000000000000000", 128 + SIGBUS, "bar size=0x4000000\n"},
      {taken, "bar 0000:3b:00.0 , peek 0x5408 , sleep 1500 , bar 0000:3b:00.1 , bar 0000:00:1f.6 , bar 0000:3b:00.0", 0,
       mapped_no_more("bar size=0x4000000\npeek 0x00000002\n")},
      {taken, "bar 0000:3b:00.0 , sleep 1500 , peek 0x5408", 128 + SIGBUS, "bar size=0x4000000\n"},
  };
  kx_system::check_all(exchanges, {.program = VCARD_PROBE});
}

TEST(MailboxWire, NoticesComeOneAtATimeInOrder) {
  kx_system::Result result =
      kx_system::run({.card = R"({"notices": [{"payload": "01000000aa"}, {"payload": "0b000000", "event_id": 40}]})",
                      .words = kx_system::words_of("bar 0000:3b:00.0 , mailbox 7 39 0000000000000000 , slot_notice , "
                                                   "slot_notice , sleep 50"),
                      .program = VCARD_PROBE});
  EXPECT_EQ(result.out,
            "bar size=0x4000000\n"
            "mailbox header=080027000800070000000000 payload=0000000000000000\n"
            "slot_notice header=110027000500000000000000 payload=01000000aa\n"
            "slot_notice header=110028000400000000000000 payload=0b000000\n");
  EXPECT_THAT(result.log, testing::ElementsAre(
                              "mailbox header=010027000800070000000000 payload=0000000000000000",
                              "mailbox_answer header=080027000800070000000000 payload=0000000000000000",
                              "notice event_id=39 payload=01000000aa", "notice_done header=080027000500000000000000",
                              "notice event_id=40 payload=0b000000", "notice_done header=080028000400000000000000"));
}

}  // namespace
