#include "dpp_dtb/dpp_dtb_table.h"

#include <bit>
#include <cstring>
#include <iterator>

#include "dpp_chip/dpp_dev.h"
#include "dpp_dtb/dpp_dtb.h"
#include "dpp_dtb/dpp_dtb_cfg.h"
#include "qlix_comm/bits.h"
#include "qlix_comm/check.h"
#include "qlix_comm/print.h"

namespace {

constexpr uint32_t CMD_BITS = DPP_DTB_CMD_BYTES * 8;

constexpr dpp_dtb_table_info TABLES[] = {{"ddr", dpp_formats::dtb_ddr::FIELDS},
                                         {"eram 1 bit", dpp_formats::dtb_eram_1::FIELDS},
                                         {"eram 64 bit", dpp_formats::dtb_eram_64::FIELDS},
                                         {"eram 128 bit", dpp_formats::dtb_eram_128::FIELDS},
                                         {"zcam", dpp_formats::dtb_zcam::FIELDS},
                                         {"etcam", dpp_formats::dtb_etcam::FIELDS},
                                         {"mc_hash", dpp_formats::dtb_mc_hash::FIELDS}};

void words_print(const char* head, const uint8_t* bytes, uint32_t size, bool swap) {
  QLIX_COMM_PRINT("%s", head);
  for (uint32_t i = 0; i + 4 <= size; i += 4) {
    uint32_t word;
    std::memcpy(&word, bytes + i, sizeof(word));
    QLIX_COMM_PRINT("0x%08x  ", swap ? __builtin_bswap32(word) : word);
  }
}

void eram_print(const dpp_formats::dtb_eram_128& form, const dpp_dtb_entry& entry) {
  const struct {
    const char* name;
    uint32_t value;
  } rows[] = {
      {"valid", form.valid}, {"type_mode", form.type_mode}, {"data_mode", form.data_mode},    {"cpu_wr", form.cpu_wr},
      {"addr", form.addr},   {"cpu_rd", form.cpu_rd},       {"cpu_rd_mode", form.cpu_rd_mode}};
  QLIX_COMM_PRINT("dpp eram form info: \n");
  for (const auto& row : rows) {
    QLIX_COMM_PRINT("%-12s: 0x%x\n", row.name, row.value);
  }
  // The command word is a big-endian byte string; the data are the caller's words.
  words_print("cmd: ", entry.cmd, DPP_DTB_CMD_BYTES, std::endian::native == std::endian::little);
  words_print("\ndata:", entry.data, entry.data_in_cmd_flag != 0 ? 0 : entry.data_size, false);
  QLIX_COMM_PRINT("\n");
}

}  // namespace

const dpp_dtb_table_info* dpp_table_info_get(uint32_t type) {
  if (type >= std::size(TABLES)) {
    qlix_comm_detail::report_upper(QLIX_COMM_HERE, type, std::size(TABLES) - 1);
    return nullptr;
  }
  return &TABLES[type];
}

void dpp_dtb_fields_pack(std::span<const dpp_format_field> fields, const uint32_t* values,
                         uint8_t (&cmd)[DPP_DTB_CMD_BYTES]) {
  std::memset(cmd, 0, sizeof(cmd));
  for (const dpp_format_field& field : fields) {
    const uint32_t mask = field.len == 32 ? UINT32_MAX : (1u << field.len) - 1;
    qlix_comm_write_bits_ex(cmd, CMD_BITS, *values++ & mask, field.msb, field.len);
  }
}

uint32_t dpp_dtb_entry_append(uint8_t* block, uint32_t size, uint32_t* offset, const dpp_dtb_entry* entry) {
  QLIX_COMM_CHECK_POINT(block);
  QLIX_COMM_CHECK_POINT(offset);
  QLIX_COMM_CHECK_POINT(entry);
  const uint32_t data_size = entry->data_in_cmd_flag != 0 ? 0 : entry->data_size;
  QLIX_COMM_CHECK_INDEX_UPPER(data_size, DPP_DTB_DATA_MAX);
  QLIX_COMM_CHECK_INDEX_UPPER(*offset, size);
  QLIX_COMM_CHECK_INDEX_UPPER(DPP_DTB_CMD_BYTES + data_size, size - *offset);
  std::memcpy(block + *offset, entry->cmd, DPP_DTB_CMD_BYTES);
  std::memcpy(block + *offset + DPP_DTB_CMD_BYTES, entry->data, data_size);
  *offset += DPP_DTB_CMD_BYTES + data_size;
  return QLIX_COMM_OK;
}

uint32_t dpp_dtb_smmu0_write_entry_data(uint32_t dev_id, uint32_t data_mode, uint32_t index, const uint32_t* data,
                                        dpp_dtb_entry* entry) {
  QLIX_COMM_CHECK_INDEX_UPPER(dev_id, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_INDEX_UPPER(data_mode, DPP_ERAM_DATA_1);
  QLIX_COMM_CHECK_POINT(data);
  QLIX_COMM_CHECK_POINT(entry);
  *entry = {};
  const dpp_formats::dtb_eram_128 head = {1, DPP_DTB_MODE_ERAM, data_mode, 1, 0, 0, index};
  if (data_mode == DPP_ERAM_DATA_128) {
    entry->data_size = 16;
    std::memcpy(entry->data, data, 16);
    dpp_dtb_table_cmd_pack(head, entry->cmd);
  } else if (data_mode == DPP_ERAM_DATA_64) {
    entry->data_in_cmd_flag = 1;
    entry->data_size = 8;
    dpp_dtb_table_cmd_pack(dpp_formats::dtb_eram_64{1, DPP_DTB_MODE_ERAM, data_mode, 1, 0, 0, index, data[0], data[1]},
                           entry->cmd);
  } else {
    entry->data_in_cmd_flag = 1;
    entry->data_size = 1;
    dpp_dtb_table_cmd_pack(dpp_formats::dtb_eram_1{1, DPP_DTB_MODE_ERAM, data_mode, 1, 0, 0, index, data[0]},
                           entry->cmd);
  }
  if (dpp_dtb_prt_get() != 0) {
    eram_print(head, *entry);
  }
  return QLIX_COMM_OK;
}

uint32_t dpp_dtb_smmu0_write(uint32_t dev_id, uint32_t queue_id, uint32_t data_mode, uint32_t index,
                             const uint32_t* data) {
  dpp_dtb_entry entry{};
  QLIX_COMM_CALL(dpp_dtb_smmu0_write_entry_data, dev_id, data_mode, index, data, &entry);
  alignas(uint32_t) uint8_t block[DPP_DTB_CMD_BYTES + DPP_DTB_DATA_MAX];
  uint32_t length = 0;
  QLIX_COMM_CALL(dpp_dtb_entry_append, block, sizeof(block), &length, &entry);
  return dpp_dtb_write_down_table_data(dev_id, queue_id, length, reinterpret_cast<const uint32_t*>(block));
}

uint32_t dtb_eram_index_cal(uint32_t dev_id, uint32_t eram_mode, uint32_t index, uint32_t* row, uint32_t* col) {
  QLIX_COMM_CHECK_INDEX_UPPER(dev_id, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_INDEX_UPPER(eram_mode, 3);
  QLIX_COMM_CHECK_POINT(row);
  QLIX_COMM_CHECK_POINT(col);
  // log2 of the entries in a row of 128 bits, by mode; mode 1 has no entries.
  constexpr uint32_t ENTRIES_LOG2[] = {7, 32, 1, 0};
  const uint32_t shift = ENTRIES_LOG2[eram_mode];
  *row = shift == 32 ? 0 : index >> shift;
  *col = shift == 32 ? 0 : index & ((1u << shift) - 1);
  return QLIX_COMM_OK;
}

uint32_t dpp_ddr_index_calc(uint32_t index, uint32_t width_mode, uint32_t ddr_mode, uint32_t offset) {
  const struct {
    uint32_t ddr_mode, width_mode, entries_log2, offset_shift;
  } rows[] = {{1, 1, 1, 4}, {1, 2, 2, 4}, {2, 1, 0, 0}, {2, 2, 1, 5}, {3, 2, 0, 0}};
  for (const auto& row : rows) {
    if (row.ddr_mode == ddr_mode && row.width_mode == width_mode) {
      const uint32_t entries = 1u << row.entries_log2;
      return index * entries + (offset >> row.offset_shift & (entries - 1));
    }
  }
  return 0;
}
