// The kernel driver's side of the card, driven by the probe.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system/cases.h"

namespace {

TEST(DriverWire, AnswersLikeTheDriver) {
  const std::string serial =
      "ret=0 errno=0 status=1 result=0 length=29 reply=004b583236303141303030343200000000000000000000000000000000\n";
  const std::vector<kx_system::Case> exchanges = {
      // Compatibility record: present, chosen, absent.
      {"{}", "ioctl eth0 6 39 0000000000000000 8", 0,
       "ret=0 errno=0 status=1 result=0 length=8 reply=0000000000000000\n"},
      {R"({"driver": {"compat": {"item": 1, "major": 2, "tool_minor": 3, "drv_minor": 4}}})", "ioctl eth0 6 39 - 8", 0,
       "ret=0 errno=0 status=1 result=0 length=8 reply=0102030400000000\n"},
      {R"({"driver": {"compat": {"present": false}}})", "ioctl eth0 6 39 - 8", 0,
       "ret=0 errno=0 status=0 result=0 length=8 reply=eeeeeeeeeeeeeeee\n"},
      // Registration: check word; a second one is refused while the first process lives, whoever asks; free
      // afterwards.
      {R"({"driver": {"check_word": "0x11223344"}})",
       "ioctl eth0 0 39 - 4 , child_ioctl eth0 0 39 - 4 , ioctl eth0 0 39 - 4 , ioctl eth1 0 39 - 4", 0,
       "ret=0 errno=0 status=1 result=0 length=4 reply=44332211\n"
       "ret=-1 errno=16 status=0 result=0 length=4 reply=eeeeeeee\n"
       "ret=-1 errno=16 status=0 result=0 length=4 reply=eeeeeeee\n"
       "ret=0 errno=0 status=1 result=0 length=4 reply=44332211\n"},
      {R"({"driver": {"check_word": 1}})", "child_ioctl eth0 0 39 - 4 , ioctl eth0 0 39 - 4", 0,
       "ret=0 errno=0 status=1 result=0 length=4 reply=01000000\n"
       "ret=0 errno=0 status=1 result=0 length=4 reply=01000000\n"},
      // Types of the driver's own succeed; an unknown one does not; nor do other interfaces.
      {"{}", "ioctl eth0 2 39 - 0 , ioctl eth0 3 39 0000000001000000 0 , ioctl eth0 5 39 - 0 , ioctl eth0 7 39 - 0", 0,
       "ret=0 errno=0 status=1 result=0 length=0 reply=-\n"
       "ret=0 errno=0 status=1 result=0 length=0 reply=-\n"
       "ret=0 errno=0 status=1 result=0 length=0 reply=-\n"
       "ret=-1 errno=22 status=0 result=0 length=0 reply=-\n"},
      {"{}", "ioctl eno1 6 39 - 8 , ioctl eth9 6 39 - 8", 0,
       "ret=-1 errno=95 status=0 result=0 length=8 reply=eeeeeeeeeeeeeeee\n"
       "ret=-1 errno=19 status=0 result=0 length=8 reply=eeeeeeeeeeeeeeee\n"},
      {R"({"functions": {"0000:3b:00.0": {"driver": "vfio-pci"}}})", "ioctl eth0 6 39 - 8", 0,
       "ret=-1 errno=95 status=0 result=0 length=8 reply=eeeeeeeeeeeeeeee\n"},
      // Faults of the driver and of the processor behind it.
      {R"({"faults": {"driver": {"requests": [{"type": 1, "count": 1, "errno": 5}, {"type": 1, "status_flag": 2},
                                              {"type": 3, "result": 6}]}}})",
       "ioctl eth0 1 39 12 4 , ioctl eth0 1 39 12000000 24 , ioctl eth0 3 39 - 0", 0,
       "ret=-1 errno=5 status=0 result=0 length=4 reply=eeeeeeee\n"
       "ret=0 errno=0 status=2 result=0 length=24 reply=000000002d00000000000000000000000000000000000000\n"
       "ret=0 errno=0 status=1 result=6 length=0 reply=-\n"},
      {R"({"faults": {"processor": {"requests": [{"op_code": 18, "from": 1, "count": 1, "result": -8}]}}})",
       "ioctl eth0 1 39 12000000 8 , ioctl eth0 1 39 12000000 24 , ioctl eth0 1 39 63000000 8", 0,
       "ret=0 errno=0 status=1 result=12 length=8 reply=eeeeeeeeeeeeeeee\n"  // reply longer than the buffer
       "ret=0 errno=0 status=1 result=-8 length=24 reply=eeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeee\n"
       "ret=0 errno=0 status=1 result=18 length=8 reply=eeeeeeeeeeeeeeee\n"},
      // A card that has fallen off the bus.
      {R"({"faults": {"dead": true}, "bar0": {"size": 65536}})",
       "ioctl eth0 1 39 12000000 24 , bar 0000:3b:00.0 , peek 0x5408 , config 0000:3b:00.0 0", 0,
       "ret=0 errno=0 status=1 result=6 length=24 reply=eeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeeee\n"
       "bar size=0x10000\npeek 0xffffffff\nconfig length=4 value=0xffffffff\n"},
      // From every thread and process of the tool.
      {"{}", "ioctl eth0 1 39 0f000000 29 , thread_ioctl eth0 1 39 0f000000 29 , child_ioctl eth0 1 39 0f000000 29", 0,
       serial + serial + serial},
  };
  kx_system::check_all(exchanges, {.program = VCARD_PROBE});
}

TEST(NetlinkWire, ResolvesTheFamilyAndCarriesNoticesUnlessFaultsSpoilThem) {
  const struct {
    const char* fault;
    const char* out;
  } rows[] = {
      {"", "length=72 header_length=72 type=16 error=0 attribute=1 id=31"},
      {"", "notice type=31 payload=01000000"},
      {R"("family": "unknown")", "length=36 header_length=36 type=2 error=-2"},
      {R"("family": "silent")", "length=-1"},
      {R"("family": "short")", "length=10 header_length=72 type=16"},
      {R"("family": "bad_length")", "length=72 header_length=76 type=16"},
      {R"("family": "small_length")", "length=72 header_length=12 type=16"},
      {R"("family": "no_id")", "attribute=3 id=1"},
      {R"("family_id": 20, "notice_family_id": 21)", "notice type=21 payload=01000000"},
      {R"("notice": "short")", "notice length=10"},
      {R"("notice": "error")", "notice length=36 type=2"},
  };
  for (const auto& row : rows) {
    const std::string card =
        std::string(R"({"faults": {"netlink": {)") + row.fault + R"(}}, "notices": [{"payload": "01000000"}]})";
    const bool of_notice = std::string_view(row.out).starts_with("notice");
    const std::string steps = "socket , bind self , ioctl eth0 0 39 - 4 , family tools_family";
    const kx_system::Result result = kx_system::run(
        {.card = card, .words = kx_system::words_of(steps + (of_notice ? " , notice" : "")), .program = VCARD_PROBE});
    EXPECT_THAT(result.out, testing::HasSubstr(row.out)) << row.fault;
  }
}

}  // namespace
