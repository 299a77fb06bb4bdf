#include "dpp_memory/dpp_sdt.h"

#include <cstring>
#include <iterator>

#include "dpp_chip/dpp_card_guard.h"
#include "dpp_memory/dpp_etcam.h"
#include "dpp_memory/dpp_se_mem.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_types.h"
#include "qlix_comm/check.h"

namespace {

constexpr uint32_t TYPE_SHIFT = 61;

struct type_row {
  const char* name;
  std::span<const dpp_format_field> fields;
};
constexpr type_row TYPES[] = {{"none", {}},
                              {"eRAM", dpp_formats::sdt_eram::FIELDS},
                              {"DDR", dpp_formats::sdt_ddr::FIELDS},
                              {"hash", dpp_formats::sdt_hash::FIELDS},
                              {"LPM", dpp_formats::sdt_lpm::FIELDS},
                              {"eTCAM", dpp_formats::sdt_etcam::FIELDS}};
static_assert(std::size(TYPES) == DPP_SDT_TYPE_MAX + 1);

/// Mode of the eRAM window for each width of an eRAM table.
constexpr uint32_t ERAM_WINDOW_MODE[] = {DPP_SE_ERAM_1, DPP_SE_ERAM_32, DPP_SE_ERAM_64, DPP_SE_ERAM_128};

uint64_t field_mask(const dpp_format_field& field) {
  return (uint64_t{1} << field.len) - 1;
}

/// The place of an entry behind its window.
struct window_place {
  uint32_t mode;
  uint32_t addr;
};

/// Past the end of the memory there is nothing: no window address wraps to another table.
uint32_t window_addr(uint64_t addr) {
  return addr > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(addr);
}

window_place place_of(uint64_t record, uint32_t index) {
  if (dpp_sdt_type_of(record) == DPP_SDT_ERAM) {
    const auto table = dpp_sdt_get<dpp_formats::sdt_eram>(record);
    const uint32_t mode = ERAM_WINDOW_MODE[table.eram_mode];
    return {mode, window_addr(uint64_t{table.eram_base_addr} * dpp_se_eram_line_entries(mode) + index)};
  }
  const auto table = dpp_sdt_get<dpp_formats::sdt_ddr>(record);
  const uint64_t first = uint64_t{table.ddr_base_addr} * DPP_SE_DDR_UNIT_LINES >> table.ddr_width_mode;
  return {table.ddr_width_mode, window_addr(first + index)};
}

uint32_t depth_of(uint64_t record) {
  switch (dpp_sdt_type_of(record)) {
    case DPP_SDT_ERAM:
      return dpp_sdt_get<dpp_formats::sdt_eram>(record).eram_table_depth;
    case DPP_SDT_DDR:
      return dpp_sdt_get<dpp_formats::sdt_ddr>(record).ddr_table_depth;
    case DPP_SDT_ETCAM:
      return dpp_sdt_get<dpp_formats::sdt_etcam>(record).etcam_table_depth;
    default:
      return 0;
  }
}

uint32_t entry_check(uint32_t dev_id, uint64_t record, uint32_t index, const dpp_sdt_entry* entry) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, dev_id, 0, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_POINT(entry);
  const uint32_t depth = depth_of(record);
  if (depth == 0) {
    QLIX_COMM_TRACE_ERROR("%s: a table of type %s and depth 0 has no numbered entries\n", __func__,
                          dpp_sdt_type_name(dpp_sdt_type_of(record)));
    return QLIX_COMM_OUT_OF_RANGE;
  }
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, index, 0, depth - 1);
  return QLIX_COMM_OK;
}

/// Where an entry of a ternary table stands, and the row that holds it.
struct etcam_spot {
  dpp_etcam_place place;
  dpp_se_etcam_row row;
  uint32_t first;  ///< byte in the row
  uint32_t bytes;
};

uint32_t etcam_spot_get(uint32_t dev_id, uint64_t record, uint32_t index, etcam_spot* spot) {
  const uint32_t table = dpp_sdt_get<dpp_formats::sdt_etcam>(record).etcam_table_id;
  dpp_etcam_place& place = spot->place;
  QLIX_COMM_CALL(dpp_etcam_place_get, dev_id, table, index, &place);
  QLIX_COMM_CALL(dpp_se_etcam_row_read, dev_id, place.block, place.row, &spot->row);
  spot->first = place.first_part * DPP_SE_ETCAM_PART_BYTES;
  spot->bytes = place.part_num * DPP_SE_ETCAM_PART_BYTES;
  return QLIX_COMM_OK;
}

uint32_t etcam_get(uint32_t dev_id, uint64_t record, uint32_t index, dpp_sdt_entry* entry) {
  etcam_spot spot = {};
  QLIX_COMM_CALL(etcam_spot_get, dev_id, record, index, &spot);
  auto& [place, row, first, bytes] = spot;
  for (uint32_t i = 0; i < bytes; ++i) {
    entry->words[i / 4] |= uint32_t{row.data[first + i]} << (24 - 8 * (i % 4));
    entry->words[DPP_SDT_MASK_WORD + i / 4] |= uint32_t{row.mask[first + i]} << (24 - 8 * (i % 4));
  }
  entry->word_num = (bytes + 3) / 4;
  const uint32_t parts = dpp_etcam_place_parts(place);
  entry->valid = (row.valid & parts) == parts ? 1 : 0;
  return QLIX_COMM_OK;
}

// The other entries of the row keep their valid bits.
uint32_t etcam_set(uint32_t dev_id, uint64_t record, uint32_t index, const dpp_sdt_entry* entry) {
  DPP_OPERATION_GUARD(guard, dev_id, DPP_DEV_MUTEX_T_ETCAM);
  etcam_spot spot = {};
  QLIX_COMM_CALL(etcam_spot_get, dev_id, record, index, &spot);
  auto& [place, row, first, bytes] = spot;
  for (uint32_t i = 0; i < bytes; ++i) {
    row.data[first + i] = static_cast<uint8_t>(entry->words[i / 4] >> (24 - 8 * (i % 4)));
    row.mask[first + i] = static_cast<uint8_t>(entry->words[DPP_SDT_MASK_WORD + i / 4] >> (24 - 8 * (i % 4)));
  }
  const uint32_t parts = dpp_etcam_place_parts(place);
  row.valid |= parts;
  return QLIX_COMM_CALLED(dpp_se_etcam_row_write, dev_id, place.block, place.row, parts, &row);
}

}  // namespace

const char* dpp_sdt_type_name(uint32_t type) {
  return type <= DPP_SDT_TYPE_MAX ? TYPES[type].name : "unknown";
}

std::span<const dpp_format_field> dpp_sdt_fields(uint32_t type) {
  return type <= DPP_SDT_TYPE_MAX ? TYPES[type].fields : std::span<const dpp_format_field>();
}

uint32_t dpp_sdt_type_of(uint64_t record) {
  return static_cast<uint32_t>(record >> TYPE_SHIFT);
}

uint32_t dpp_sdt_field_get(uint64_t record, const dpp_format_field& field) {
  return static_cast<uint32_t>(record >> (field.msb + 1 - field.len) & field_mask(field));
}

uint32_t dpp_sdt_pack(uint32_t type, std::span<const uint32_t> values, uint64_t* record) {
  QLIX_COMM_CHECK_INDEX(type, 0, DPP_SDT_TYPE_MAX);
  QLIX_COMM_CHECK_POINT(record);
  const std::span<const dpp_format_field> fields = dpp_sdt_fields(type);
  const uint32_t num = static_cast<uint32_t>(fields.size());
  QLIX_COMM_CHECK_INDEX(static_cast<uint32_t>(values.size()), num, num);
  uint64_t packed = uint64_t{type} << TYPE_SHIFT;
  for (uint32_t i = 0; i < num; ++i) {
    QLIX_COMM_CHECK_INDEX(values[i], 0, static_cast<uint32_t>(field_mask(fields[i])));
    packed |= uint64_t{values[i]} << (fields[i].msb + 1 - fields[i].len);
  }
  *record = packed;
  return QLIX_COMM_OK;
}

uint32_t dpp_sdt_tbl_get(uint32_t dev_id, uint32_t sdt_no, uint64_t* record) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, dev_id, 0, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, sdt_no, 0, DPP_SDT_NUM - 1);
  QLIX_COMM_CHECK_POINT(record);
  DPP_REG_READ(dpp_regs::se_sdt_tbl, halves, dev_id, 0, sdt_no);
  *record = uint64_t{halves.sdt_data_h} << 32 | halves.sdt_data_l;
  return QLIX_COMM_OK;
}

uint32_t dpp_sdt_tbl_set(uint32_t dev_id, uint32_t sdt_no, uint64_t record) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, dev_id, 0, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, sdt_no, 0, DPP_SDT_NUM - 1);
  dpp_regs::se_sdt_tbl halves = {};
  halves.sdt_data_h = static_cast<uint32_t>(record >> 32);
  halves.sdt_data_l = static_cast<uint32_t>(record);
  return QLIX_COMM_CALLED(dpp_reg_write, dev_id, 0, sdt_no, halves);
}

uint32_t dpp_sdt_entry_get(uint32_t dev_id, uint64_t record, uint32_t index, dpp_sdt_entry* entry) {
  QLIX_COMM_PASS(entry_check(dev_id, record, index, entry));
  *entry = {};
  if (dpp_sdt_type_of(record) == DPP_SDT_ETCAM) {
    return etcam_get(dev_id, record, index, entry);
  }
  const auto [mode, addr] = place_of(record, index);
  if (dpp_sdt_type_of(record) == DPP_SDT_ERAM) {
    entry->word_num = dpp_se_eram_entry_words(mode);
    return QLIX_COMM_CALLED(dpp_se_smmu0_ind_read, dev_id, addr, mode, 0, entry->words);
  }
  entry->word_num = 4u << mode;
  return QLIX_COMM_CALLED(dpp_se_smmu1_ind_read, dev_id, addr, mode, entry->words);
}

uint32_t dpp_sdt_entry_set(uint32_t dev_id, uint64_t record, uint32_t index, const dpp_sdt_entry* entry) {
  QLIX_COMM_PASS(entry_check(dev_id, record, index, entry));
  if (dpp_sdt_type_of(record) == DPP_SDT_ETCAM) {
    return etcam_set(dev_id, record, index, entry);
  }
  const auto [mode, addr] = place_of(record, index);
  if (dpp_sdt_type_of(record) == DPP_SDT_ERAM) {
    return QLIX_COMM_CALLED(dpp_se_smmu0_ind_write, dev_id, addr, mode, 1, entry->words);
  }
  return QLIX_COMM_CALLED(dpp_se_smmu1_ind_write, dev_id, addr, mode, entry->words);
}
