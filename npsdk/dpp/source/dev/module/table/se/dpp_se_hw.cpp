#include "dpp_se/dpp_se_hw.h"

#include <bit>
#include <cstring>

#include "dpp_dtb/dpp_dtb.h"
#include "qlix_comm/check.h"

namespace {

constexpr uint32_t ZBLOCKS_IN_GROUP = 8;
constexpr uint32_t ROW_BITS = 30;
constexpr uint32_t ALL_QUARTERS = 0xF;
constexpr uint32_t QUARTER_BYTES = 16;

bool writes_quarters(const dpp_se_write& write) {
  return write.place == DPP_SE_ZCELL || write.place == DPP_SE_ZREG;
}

uint32_t zcam_pack(const dpp_se_write& write, dpp_dtb_entry* entry) {
  QLIX_COMM_CHECK_INDEX_UPPER(write.zblock, 31);
  QLIX_COMM_CHECK_INDEX_UPPER(write.zcell, 3);
  QLIX_COMM_CHECK_INDEX_UPPER(write.index, 511);
  QLIX_COMM_CHECK_INDEX(write.mask, 1, ALL_QUARTERS);
  const uint32_t quarters_bytes = static_cast<uint32_t>(std::popcount(write.mask)) * QUARTER_BYTES;
  QLIX_COMM_CHECK_INDEX(write.size, quarters_bytes, quarters_bytes);
  const dpp_formats::dtb_zcam form = {1,
                                      DPP_DTB_MODE_ZCAM,
                                      write.place == DPP_SE_ZCELL ? 1u : 0u,
                                      write.zblock / ZBLOCKS_IN_GROUP,
                                      write.zblock % ZBLOCKS_IN_GROUP,
                                      write.zcell,
                                      write.mask,
                                      write.index};
  dpp_dtb_table_cmd_pack(form, entry->cmd);
  return QLIX_COMM_OK;
}

uint32_t ddr_pack(const dpp_se_write& write, dpp_dtb_entry* entry) {
  QLIX_COMM_CHECK_INDEX_UPPER(write.index, (1u << ROW_BITS) - 1);
  QLIX_COMM_CHECK_INDEX_UPPER(write.baddr, (1u << 20) - 1);
  QLIX_COMM_CHECK_INDEX(write.size, 16, DPP_SE_ITEM_BYTES);
  const uint32_t rw_len = write.size == 16 ? 0 : write.size == 32 ? 1 : 2;
  QLIX_COMM_CHECK_INDEX(write.size, 16u << rw_len, 16u << rw_len);
  const bool route = write.place == DPP_SE_LPM;
  const dpp_formats::dtb_ddr form = {1,           DPP_DTB_MODE_DDR, rw_len,     route ? write.ipv6 : 0, route ? 1u : 0u,
                                     write.baddr, write.ecc_en,     write.index};
  dpp_dtb_table_cmd_pack(form, entry->cmd);
  return QLIX_COMM_OK;
}

}  // namespace

void dpp_se_write_image(const dpp_se_write* write, uint8_t (&image)[DPP_SE_ITEM_BYTES]) {
  const uint32_t first = writes_quarters(*write) ? static_cast<uint32_t>(std::countl_zero(write->mask << 28)) : 0;
  std::memset(image, 0, sizeof(image));
  if (write->data_bytes != 0) {
    std::memcpy(image + size_t{first} * QUARTER_BYTES, write->data, write->data_bytes);
  }
}

uint32_t dpp_se_write_pack(const dpp_se_write* write, dpp_dtb_entry* entry) {
  QLIX_COMM_CHECK_POINT(write);
  QLIX_COMM_CHECK_POINT(entry);
  QLIX_COMM_CHECK_INDEX_UPPER(write->data_bytes, write->size);
  const bool quarters = writes_quarters(*write);
  const uint32_t rc = quarters ? zcam_pack(*write, entry) : ddr_pack(*write, entry);
  if (rc == QLIX_COMM_OK) {
    uint8_t image[DPP_SE_ITEM_BYTES];
    dpp_se_write_image(write, image);
    entry->data_in_cmd_flag = 0;
    entry->data_size = quarters ? DPP_SE_ITEM_BYTES : write->size;
    std::memcpy(entry->data, image, sizeof(image));
  }
  return rc;
}

uint32_t dpp_se_dtb_write(void* context, const dpp_se_write* write) {
  QLIX_COMM_CHECK_POINT(context);
  const auto* dtb = static_cast<const dpp_se_dtb*>(context);
  dpp_dtb_entry entry;
  QLIX_COMM_CALL(dpp_se_write_pack, write, &entry);
  alignas(uint32_t) uint8_t block[sizeof(entry.cmd) + sizeof(entry.data)];
  uint32_t length = 0;
  QLIX_COMM_CALL(dpp_dtb_entry_append, block, sizeof(block), &length, &entry);
  return dpp_dtb_write_down_table_data(dtb->dev_id, dtb->queue_id, length, reinterpret_cast<const uint32_t*>(block));
}
