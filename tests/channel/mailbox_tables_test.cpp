// Ids, locks and registry of the mailbox.
#include <gmock/gmock.h>

#include <memory>

#include "../printed.h"
#include "channel/mailbox.h"
#include "mailbox_lock.h"
#include "mailbox_ring.h"
#include "mailbox_slot.h"
#include "test_bar.h"

namespace {

TEST(MailboxRing, HandsOutEveryFreeIdOnceAndNever65535) {
  ASSERT_TRUE(bar_msgid_ring_init());
  std::vector<bool> taken(65536);
  uint16_t id = 0;
  for (uint32_t i = 0; i < 65534; ++i) {
    ASSERT_EQ(bar_chan_msgid_allocate(&id), 0) << i;
    ASSERT_FALSE(taken[id]) << id;
    taken[id] = true;
  }
  EXPECT_FALSE(taken[65535]);
  // Starting after the current id, 65534 steps do not come back to it; the only free one lies next.
  ASSERT_EQ(bar_chan_msgid_allocate(&id), 0);
  EXPECT_EQ(id, 0);
  EXPECT_EQ(bar_chan_msgid_allocate(&id), -1);
  bar_chan_msgid_free(65535);
  EXPECT_EQ(bar_chan_msgid_allocate(&id), -1);
  bar_chan_msgid_free(4711);
  ASSERT_EQ(bar_chan_msgid_allocate(&id), 0);
  EXPECT_EQ(id, 4711);
  bar_msgid_ring_free();
  EXPECT_EQ(bar_chan_msgid_allocate(&id), -1);
}

TEST(MailboxLock, IdsOfPcieIdAndDestination) {
  struct {
    uint16_t pcie_id;
    uint16_t dst;
    uint32_t process;
    uint32_t hardware;
  } const cases[] = {
      {0x0000, 0, 1088, 40},
      {0x0000, 1, 32, 0},
      {0x7700, 0, 7 + 56 + 1088 >= 1120 ? 0 : 7 + 56 + 1088, 103},
      {0x2300, 0, 3 + 16 + 1088, 16 + 3 + 40},
      {0x2B00, 1, 3 + 16, 16 + 3},
      {0x23FF, 1, 255 + 512 + 96 + 32, 16 + 3},
      {0x4010, 1, 16 + 1024 + 32, 32},
      {0x70FF, 1, 0, 56},
      {0x8123, 1, 0x23 + 32 + 32, 1},
      {0x2300, 2, 0, 0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(bar_process_lock_id(c.pcie_id, c.dst), c.process) << c.pcie_id << " " << c.dst;
    EXPECT_EQ(bar_hardware_lock_id(c.pcie_id, c.dst), c.hardware) << c.pcie_id << " " << c.dst;
  }
}

TEST(MailboxLock, HardwareLockIsGrantedByAReadOfZeroAndLabelled) {
  test_bar bar(0x1000);
  const kx_mmio_region spin = bar.tool();
  const kx_mmio_region label = bar.tool().from(0x800);
  ASSERT_EQ(bar_hardware_lock(59, spin, label, 0x2300), 0);
  EXPECT_EQ(bar.bytes(0x800 + 2 * 59, 2), (std::vector<uint8_t>{0x00, 0xA3}));
  bar_hardware_unlock(59, spin, label);
  EXPECT_EQ(bar.bytes(0x800 + 2 * 59, 2), (std::vector<uint8_t>{0, 0}));

  bar.put(59, {0x5A});
  EXPECT_THAT(printed([&] { EXPECT_EQ(bar_hardware_lock(59, spin, label, 0x2300), -1); }),
              testing::HasSubstr("spl val: 0x5a lock_id:59."));
  EXPECT_EQ(bar.bytes(0x800 + 2 * 59, 2), (std::vector<uint8_t>{0, 0}));
  EXPECT_EQ(bar_hardware_lock(0x1000, spin, label, 0), -1) << "outside of the BAR";
}

TEST(MailboxLock, AFunctionsOwnerReleasesBothItsLocks) {
  test_bar bar(0x6000);
  for (const uint32_t id : {19u, 59u}) {
    bar.put(0x4000 + id, {1});
    bar.put(0x5800 + 2 * id, {0x00, 0xA3});
  }
  bar.put(0x4000 + 20, {1});
  bar_chan_pf_init_spinlock(0x2300, bar.tool());
  for (const uint32_t id : {19u, 59u}) {
    EXPECT_EQ(bar.bytes(0x4000 + id, 1)[0], 0) << id;
    EXPECT_EQ(bar.bytes(0x5800 + 2 * id, 2), (std::vector<uint8_t>{0, 0})) << id;
  }
  EXPECT_EQ(bar.bytes(0x4000 + 20, 1)[0], 1);
  bar_chan_pf_init_spinlock(0x2300, {bar.tool().base, 0x4010});  // too small: nothing is touched
}

TEST(MailboxSlot, RoutesAndRegisters) {
  test_bar bar(0x1000);
  const kx_mmio_region area = bar.tool();
  EXPECT_EQ(bar_slot_of_message(area, 0, 1).base, area.base);
  EXPECT_EQ(bar_slot_of_message(area, 1, 0).base, area.base + 0x800);
  EXPECT_EQ(bar_slot_of_message(area, 0, 2).base, nullptr);
  EXPECT_EQ(bar_slot_of_message(area, 2, 0).base, nullptr);
  EXPECT_EQ(bar_slot_of_message({area.base, 0xFFF}, 1, 0).base, nullptr);

  const kx_mmio_region slot = bar_slot_of_message(area, 0, 1);
  uint32_t value = 0;
  EXPECT_EQ(bar_reg_write(slot, 2047, 0x11223344), 0);
  EXPECT_EQ(bar_reg_read(slot, 2044, &value), 0);
  EXPECT_EQ(value, 0x11223344u);
  EXPECT_EQ(bar_reg_write(slot, 2048, 1), -99);
  EXPECT_EQ(bar_reg_read(slot, 0xF0000004, &value), -99);
  EXPECT_EQ(bar.read(0x800), 0u);
}

TEST(MailboxRegistry, KeepsOneCallbackAnEvent) {
  const bar_msg_recv_func callback = [](const uint8_t*, uint16_t, uint8_t*, uint16_t*) { return 0; };
  EXPECT_EQ(tarn_bar_chan_msg_recv_register(40, callback), 3);
  EXPECT_EQ(tarn_bar_chan_msg_recv_register(5, nullptr), 8);
  EXPECT_EQ(tarn_bar_callback_register_state(5), 10);
  EXPECT_EQ(tarn_bar_chan_msg_recv_register(5, callback), 0);
  EXPECT_EQ(tarn_bar_chan_msg_recv_register(5, callback), 9);
  EXPECT_EQ(tarn_bar_callback_register_state(5), 0);
  EXPECT_EQ(tarn_bar_chan_msg_recv_unregister(5), 0);
  EXPECT_EQ(tarn_bar_chan_msg_recv_unregister(5), 10);
  EXPECT_EQ(tarn_bar_chan_msg_recv_unregister(40), 3);
  EXPECT_EQ(tarn_bar_callback_register_state(40), 3);
}

}  // namespace
