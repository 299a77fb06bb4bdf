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

constexpr dpp_dtb_field DDR_FIELDS[] = {{"valid", 127, 1},    {"type_mode", 126, 3},  {"rw_len", 123, 2},
                                        {"v46_flag", 121, 1}, {"lpm_wr_vld", 120, 1}, {"baddr", 119, 20},
                                        {"ecc_en", 99, 1},    {"rw_addr", 29, 30}};
constexpr dpp_dtb_field ERAM_1_FIELDS[] = {{"valid", 127, 1},  {"type_mode", 126, 3}, {"data_mode", 123, 2},
                                           {"cpu_wr", 121, 1}, {"cpu_rd", 120, 1},    {"cpu_rd_mode", 119, 1},
                                           {"addr", 113, 26},  {"data_h", 0, 1}};
constexpr dpp_dtb_field ERAM_64_FIELDS[] = {{"valid", 127, 1},  {"type_mode", 126, 3}, {"data_mode", 123, 2},
                                            {"cpu_wr", 121, 1}, {"cpu_rd", 120, 1},    {"cpu_rd_mode", 119, 1},
                                            {"addr", 113, 26},  {"data_h", 63, 32},    {"data_l", 31, 32}};
constexpr dpp_dtb_field ERAM_128_FIELDS[] = {{"valid", 127, 1},  {"type_mode", 126, 3}, {"data_mode", 123, 2},
                                             {"cpu_wr", 121, 1}, {"cpu_rd", 120, 1},    {"cpu_rd_mode", 119, 1},
                                             {"addr", 113, 26}};
constexpr dpp_dtb_field ZCAM_FIELDS[] = {{"valid", 127, 1},     {"type_mode", 126, 3}, {"ram_reg_flag", 123, 1},
                                         {"zgroup_id", 122, 2}, {"zblock_id", 120, 3}, {"zcell_id", 117, 2},
                                         {"mask", 115, 4},      {"sram_addr", 111, 9}};
constexpr dpp_dtb_field ETCAM_FIELDS[] = {{"valid", 127, 1},
                                          {"type_mode", 126, 3},
                                          {"block_sel", 123, 3},
                                          {"init_en", 120, 1},
                                          {"row_or_col_msk", 119, 1},
                                          {"vben", 118, 1},
                                          {"reg_tcam_flag", 117, 1},
                                          {"uload", 116, 8},
                                          {"rd_wr", 108, 1},
                                          {"wr_mode", 107, 8},
                                          {"data_or_mask", 99, 1},
                                          {"addr", 98, 9},
                                          {"vbit", 89, 8}};
constexpr dpp_dtb_field MC_HASH_FIELDS[] = {
    {"valid", 127, 1}, {"type_mode", 126, 3}, {"std_h", 63, 32}, {"std_l", 31, 32}};

constexpr dpp_dtb_table_info TABLES[] = {{"ddr", DDR_FIELDS},
                                         {"eram 1 bit", ERAM_1_FIELDS},
                                         {"eram 64 bit", ERAM_64_FIELDS},
                                         {"eram 128 bit", ERAM_128_FIELDS},
                                         {"zcam", ZCAM_FIELDS},
                                         {"etcam", ETCAM_FIELDS},
                                         {"mc_hash", MC_HASH_FIELDS}};
static_assert(std::size(TABLES) == DPP_DTB_TABLE_TYPE_NUM);

// Each field lies below the one before it and inside the word.
constexpr bool layouts_are_sound() {
  for (const dpp_dtb_table_info& table : TABLES) {
    uint32_t below = CMD_BITS;
    for (const dpp_dtb_field& field : table.fields) {
      if (field.msb >= below || field.len == 0 || field.len > 32 || field.len > field.msb + 1) {
        return false;
      }
      below = field.msb + 1u - field.len;
    }
  }
  return true;
}
static_assert(layouts_are_sound());

template <typename Form>
constexpr bool form_fits(uint32_t type) {
  return sizeof(Form) == TABLES[type].fields.size() * sizeof(uint32_t);
}
static_assert(form_fits<dpp_dtb_ddr_form>(DPP_DTB_TABLE_DDR) && form_fits<dpp_dtb_eram_1_form>(DPP_DTB_TABLE_ERAM_1) &&
              form_fits<dpp_dtb_eram_64_form>(DPP_DTB_TABLE_ERAM_64) &&
              form_fits<dpp_dtb_eram_128_form>(DPP_DTB_TABLE_ERAM_128) &&
              form_fits<dpp_dtb_zcam_form>(DPP_DTB_TABLE_ZCAM) && form_fits<dpp_dtb_etcam_form>(DPP_DTB_TABLE_ETCAM) &&
              form_fits<dpp_dtb_mc_hash_form>(DPP_DTB_TABLE_MC_HASH));

void words_print(const char* head, const uint8_t* bytes, uint32_t size, bool swap) {
  QLIX_COMM_PRINT("%s", head);
  for (uint32_t i = 0; i + 4 <= size; i += 4) {
    uint32_t word;
    std::memcpy(&word, bytes + i, sizeof(word));
    QLIX_COMM_PRINT("0x%08x  ", swap ? __builtin_bswap32(word) : word);
  }
}

void eram_print(const dpp_dtb_eram_128_form& form, const dpp_dtb_entry& entry) {
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
  if (type >= DPP_DTB_TABLE_TYPE_NUM) {
    qlix_comm_detail::report_upper(QLIX_COMM_HERE, type, DPP_DTB_TABLE_TYPE_NUM - 1);
    return nullptr;
  }
  return &TABLES[type];
}

uint32_t dpp_dtb_table_cmd_pack(uint32_t type, std::span<const uint32_t> values, uint8_t (&cmd)[DPP_DTB_CMD_BYTES]) {
  const dpp_dtb_table_info* table = dpp_table_info_get(type);
  if (table == nullptr) {
    return QLIX_COMM_OUT_OF_RANGE;
  }
  const uint32_t num = static_cast<uint32_t>(table->fields.size());
  QLIX_COMM_CHECK_INDEX(static_cast<uint32_t>(values.size()), num, num);
  std::memset(cmd, 0, sizeof(cmd));
  for (uint32_t i = 0; i < num; i++) {
    const dpp_dtb_field& field = table->fields[i];
    const uint32_t mask = field.len == 32 ? UINT32_MAX : (1u << field.len) - 1;
    QLIX_COMM_CALL(qlix_comm_write_bits_ex, cmd, CMD_BITS, values[i] & mask, field.msb, field.len);
  }
  return QLIX_COMM_OK;
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
  const dpp_dtb_eram_128_form head = {1, DPP_DTB_MODE_ERAM, data_mode, 1, 0, 0, index};
  uint32_t rc = QLIX_COMM_OK;
  if (data_mode == DPP_ERAM_DATA_128) {
    entry->data_size = 16;
    std::memcpy(entry->data, data, 16);
    rc = dpp_dtb_table_cmd_pack(DPP_DTB_TABLE_ERAM_128, dpp_dtb_form_values(head), entry->cmd);
  } else if (data_mode == DPP_ERAM_DATA_64) {
    const dpp_dtb_eram_64_form form = {1, DPP_DTB_MODE_ERAM, data_mode, 1, 0, 0, index, data[0], data[1]};
    entry->data_in_cmd_flag = 1;
    entry->data_size = 8;
    rc = dpp_dtb_table_cmd_pack(DPP_DTB_TABLE_ERAM_64, dpp_dtb_form_values(form), entry->cmd);
  } else {
    const dpp_dtb_eram_1_form form = {1, DPP_DTB_MODE_ERAM, data_mode, 1, 0, 0, index, data[0]};
    entry->data_in_cmd_flag = 1;
    entry->data_size = 1;
    rc = dpp_dtb_table_cmd_pack(DPP_DTB_TABLE_ERAM_1, dpp_dtb_form_values(form), entry->cmd);
  }
  QLIX_COMM_CHECK_RC(rc, "dpp_dtb_table_cmd_pack");
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
