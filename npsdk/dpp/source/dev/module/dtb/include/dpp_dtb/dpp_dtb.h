// Queue engine: blocks of table commands go to the chip ("down"), table contents come back ("dump"), both by DMA.
//
// A device has 128 queues. A queue owns 32 down and 32 dump items in memory that host and chip share. An item is an
// acknowledge area of four 32-bit words and a buffer; software fills the buffer and rings the queue's doorbell, the
// chip executes the buffer and overwrites acknowledge word 0.
//
// Posting is serialised per queue by the queue's mutex, different queues proceed in parallel. A completion check takes
// no lock: the caller owns the item number that the post returned. All operations return 0 or a code; device, queue,
// item, direction and word numbers out of range are 0x1205, null pointers 0x1201.
#pragma once

#include <atomic>
#include <cstdint>

inline constexpr uint32_t DPP_DTB_QUEUE_NUM = 128;
inline constexpr uint32_t DPP_DTB_ITEM_NUM = 32;
inline constexpr uint32_t DPP_DTB_ITEM_ACK_BYTES = 16;
inline constexpr uint32_t DPP_DTB_ITEM_ACK_WORDS = 4;
inline constexpr uint32_t DPP_DTB_ITEM_SIZE = 16400;  ///< default, acknowledge area included

inline constexpr uint32_t DPP_DTB_LEN_MIN = 4;     ///< bytes of one block
inline constexpr uint32_t DPP_DTB_LEN_MAX = 4092;  ///< the doorbell counts 32-bit words in 10 bits

inline constexpr uint32_t DPP_DTB_DIR_DOWN = 0;
inline constexpr uint32_t DPP_DTB_DIR_DUMP = 1;

inline constexpr uint32_t DPP_RC_DTB_MGR_NOT_EXIST = 0xD01;
inline constexpr uint32_t DPP_RC_DTB_NO_QUEUE = 0xD02;         ///< all queues are handed out
inline constexpr uint32_t DPP_RC_DTB_QUEUE_NOT_OWNED = 0xD03;  ///< released by a vport that does not hold it
inline constexpr uint32_t DPP_RC_DTB_NO_ITEM = 0xD04;          ///< the chip reports no unused item
inline constexpr uint32_t DPP_RC_DTB_ITEMS_BUSY = 0xD05;
inline constexpr uint32_t DPP_RC_DTB_QUEUE_NOT_INIT = 0xD0B;
inline constexpr uint32_t DPP_RC_DTB_MEMORY = 0xD0C;
inline constexpr uint32_t DPP_RC_DTB_LEN = 0xD0D;
inline constexpr uint32_t DPP_RC_DTB_DUMP_FORM = 0xD0E;  ///< the card does not state a known form of dump commands
inline constexpr uint32_t DPP_RC_DTB_QUEUE_NOT_ENABLE = 0xD18;
inline constexpr uint32_t DPP_RC_DTB_OVERTIME = 1;

/// The items of one direction. `inited` is written by the initialisation, everything else only under the queue's mutex
/// or before.
struct dpp_dtb_items {
  uint32_t inited;
  uint32_t item_size;
  uint32_t counter;  ///< the next candidate is counter mod 32
  uint64_t phy_base;
  uint64_t vir_base;
  std::atomic<uint32_t> int_items;  ///< bit i: item i was posted with the finish interrupt
};

struct dpp_dtb_queue {
  dpp_dtb_items down;
  dpp_dtb_items dump;
  uint32_t vport;   ///< who holds the queue, while in_use
  uint32_t in_use;  ///< under the device's queue-engine mutex
};

struct dpp_dtb_mgr {
  dpp_dtb_queue queue[DPP_DTB_QUEUE_NUM];
};

/// Creates the manager of a device, all queues free and not initialised; a second call changes nothing.
uint32_t dpp_dtb_mgr_create(uint32_t dev_id);
/// Forgets the manager. No other thread may use it.
uint32_t dpp_dtb_mgr_destroy(uint32_t dev_id);
/// Null, with a line, when there is none.
dpp_dtb_mgr* dpp_dtb_mgr_get(uint32_t dev_id);

struct dpp_dtb_queue_cfg {
  uint32_t item_size;  ///< bytes, 0 for DPP_DTB_ITEM_SIZE
  uint64_t phy_base;   ///< bus address of item 0, a multiple of 16
  uint64_t vir_base;   ///< the same memory in this process: 32 items
};

/// Sets the items up after a memory test; DPP_RC_DTB_MEMORY when a word does not keep what was written.
uint32_t dpp_dtb_queue_down_init(uint32_t dev_id, uint32_t queue_id, const dpp_dtb_queue_cfg* cfg);
uint32_t dpp_dtb_queue_dump_init(uint32_t dev_id, uint32_t queue_id, const dpp_dtb_queue_cfg* cfg);

/// Hands a free queue, the lowest, to a vport.
uint32_t dpp_dtb_queue_requst(uint32_t dev_id, uint32_t vport, uint32_t* queue_id);
/// Takes it back; the queue is not initialised afterwards.
uint32_t dpp_dtb_queue_release(uint32_t dev_id, uint32_t vport, uint32_t queue_id);

// Items. `word` is 0 to 3; offset_word and length (bytes, a multiple of 4) must lie in the buffer.
uint32_t dpp_dtb_item_ack_rd(uint32_t dev_id, uint32_t queue_id, uint32_t dir, uint32_t item, uint32_t word,
                             uint32_t* value);
uint32_t dpp_dtb_item_ack_wr(uint32_t dev_id, uint32_t queue_id, uint32_t dir, uint32_t item, uint32_t word,
                             uint32_t value);
uint32_t dpp_dtb_item_buff_rd(uint32_t dev_id, uint32_t queue_id, uint32_t dir, uint32_t item, uint32_t offset_word,
                              uint32_t length, uint32_t* data);
uint32_t dpp_dtb_item_buff_wr(uint32_t dev_id, uint32_t queue_id, uint32_t dir, uint32_t item, uint32_t offset_word,
                              uint32_t length, const uint32_t* data);

/// Memory shared with the chip, whose addresses travel as numbers.
inline uint32_t* dpp_dtb_memory(uint64_t addr) {
  return reinterpret_cast<uint32_t*>(addr);  // NOLINT(performance-no-int-to-ptr)
}
/// One aligned 32-bit access to memory that the chip writes too, ordered for other threads; the order that the chip
/// sees is qlix_comm/device_order.h's.
inline uint32_t dpp_dtb_rd32(uint64_t addr) {
  return __atomic_load_n(dpp_dtb_memory(addr), __ATOMIC_ACQUIRE);
}
inline void dpp_dtb_wr32(uint64_t addr, uint32_t value) {
  __atomic_store_n(dpp_dtb_memory(addr), value, __ATOMIC_RELEASE);
}

/// What the doorbell registers of a queue carry.
struct dpp_dtb_item_info {
  uint32_t cmd_vld;
  uint32_t cmd_type;  ///< DPP_DTB_DIR_*
  uint32_t int_en;
  uint32_t data_len;     ///< 32-bit words, 10 bits
  uint32_t data_addr_l;  ///< item's bus address in units of 16 bytes
  uint32_t data_addr_h;
};
/// Writes address high, address low, then the length word, which starts the transfer.
uint32_t dpp_dtb_queue_item_info_set(uint32_t dev_id, uint32_t queue_id, const dpp_dtb_item_info* info);
uint32_t dpp_dtb_queue_item_info_get(uint32_t dev_id, uint32_t queue_id, dpp_dtb_item_info* info);
void dpp_dtb_info_print(uint32_t dev_id, uint32_t queue_id, uint32_t item, const dpp_dtb_item_info* info);

/// Posts one block of `length` bytes (4 to 4092, a multiple of 4) and returns the item that carries it.
uint32_t dpp_dtb_tab_down_info_set(uint32_t dev_id, uint32_t queue_id, uint32_t int_en, uint32_t length,
                                   const uint32_t* data, uint32_t* item);
/// Waits for the completion of a posted item and frees it. 0, DPP_RC_DTB_OVERTIME after the poll limit, or the whole
/// acknowledge word when the chip reports a status other than 0xFF.
uint32_t dpp_dtb_tab_down_success_status_check(uint32_t dev_id, uint32_t queue_id, uint32_t item);
/// Both in one.
uint32_t dpp_dtb_write_down_table_data(uint32_t dev_id, uint32_t queue_id, uint32_t length, const uint32_t* data);

// Dump side. An item is taken, posted with what it asks of the chip, waited for, and read, which frees it. A failed
// post or wait frees it too. Table commands are posted by dpp_dtb_dump.h only, which asks the chip first whether it
// takes them.
uint32_t dpp_dtb_tab_up_free_item_get(uint32_t dev_id, uint32_t queue_id, uint32_t* item);
uint32_t dpp_dtb_tab_up_info_set(uint32_t dev_id, uint32_t queue_id, uint32_t item, uint32_t int_en, uint32_t length,
                                 const uint32_t* data);
uint32_t dpp_dtb_tab_up_success_status_check(uint32_t dev_id, uint32_t queue_id, uint32_t item);
uint32_t dpp_dtb_tab_up_data_get(uint32_t dev_id, uint32_t queue_id, uint32_t item, uint32_t length, uint32_t* data);
