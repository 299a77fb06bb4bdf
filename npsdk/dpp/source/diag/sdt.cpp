// Table numbers: their records and the entries of their tables, on the screen and from the command line.
#include <algorithm>

#include "dpp_chip/dpp_dev.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_memory/dpp_etcam.h"
#include "dpp_memory/dpp_sdt.h"
#include "dpp_memory/dpp_se_mem.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_types.h"
#include "dpp_row_functions.h"
#include "qlix_comm/check.h"
#include "qlix_comm/plural.h"
#include "se_print.h"

namespace {

constexpr uint32_t WIDTH_MAX = 3;
constexpr uint32_t DATA_ARG_WORDS = 10;
constexpr uint32_t HASH_TABLES = 32;
constexpr uint32_t TABLES_IN_FAMILY = 8;  // route areas of each address family

void record_print(uint32_t sdt_no, uint64_t record) {
  const uint32_t type = dpp_sdt_type_of(record);
  QLIX_COMM_PRINT("sdt %u: %s, 0x%08x 0x%08x\n", sdt_no, dpp_sdt_type_name(type), static_cast<uint32_t>(record >> 32),
                  static_cast<uint32_t>(record));
  for (const dpp_format_field& field : dpp_sdt_fields(type)) {
    QLIX_COMM_PRINT("%-40s: 0x%08x\n", field.name, dpp_sdt_field_get(record, field));
  }
}

/// Lines that a table's entries take, as a first line and a number of lines.
struct line_range {
  uint64_t first;
  uint64_t num;
};

line_range eram_lines(uint64_t record) {
  constexpr uint32_t LINE_ENTRIES[] = {128, 4, 2, 1};
  const auto table = dpp_sdt_get<dpp_formats::sdt_eram>(record);
  const uint32_t in_line = LINE_ENTRIES[table.eram_mode];
  return {table.eram_base_addr, (uint64_t{table.eram_table_depth} + in_line - 1) / in_line};
}

line_range ddr_lines(uint64_t record) {
  const auto table = dpp_sdt_get<dpp_formats::sdt_ddr>(record);
  return {uint64_t{table.ddr_base_addr} * DPP_SE_DDR_UNIT_LINES,
          uint64_t{table.ddr_table_depth} << table.ddr_width_mode};
}

// Where a table is: a memory table covers the line, the others have that number.
bool stands_at(uint64_t record, uint32_t type, uint32_t place) {
  switch (type) {
    case DPP_SDT_ERAM:
    case DPP_SDT_DDR: {
      const line_range lines = type == DPP_SDT_ERAM ? eram_lines(record) : ddr_lines(record);
      return place >= lines.first && place - lines.first < lines.num;
    }
    case DPP_SDT_HASH: {
      const auto table = dpp_sdt_get<dpp_formats::sdt_hash>(record);
      return place == table.hash_id * HASH_TABLES + table.hash_table_id;
    }
    case DPP_SDT_LPM: {
      const auto table = dpp_sdt_get<dpp_formats::sdt_lpm>(record);
      return place == table.v46_flag * TABLES_IN_FAMILY + table.lpm_area;
    }
    default:
      return place == dpp_sdt_get<dpp_formats::sdt_etcam>(record).etcam_table_id;
  }
}

/// The records that are wanted, and how many there are.
template <typename Wanted>
uint32_t records_print(uint32_t dev_id, Wanted wanted, uint32_t* num) {
  for (uint32_t sdt_no = 0; sdt_no < DPP_SDT_NUM; ++sdt_no) {
    uint64_t record = 0;
    QLIX_COMM_CALL(dpp_sdt_tbl_get, dev_id, sdt_no, &record);
    if (wanted(record)) {
      record_print(sdt_no, record);
      ++*num;
    }
  }
  return QLIX_COMM_OK;
}

/// Makes a table number one of a memory table.
uint32_t table_set(uint32_t dev_id, uint32_t sdt_no, uint32_t type, const uint32_t (&values)[3], uint64_t* record) {
  QLIX_COMM_CALL(dpp_sdt_pack, type, values, record);
  return QLIX_COMM_CALLED(dpp_sdt_tbl_set, dev_id, sdt_no, *record);
}

}  // namespace

uint32_t dpp_sdt_entries_prt(uint32_t dev_id, uint32_t sdt_no, uint32_t type, uint32_t index, uint32_t num) {
  uint64_t record = 0;
  QLIX_COMM_CALL(dpp_sdt_tbl_get, dev_id, sdt_no, &record);
  if (dpp_sdt_type_of(record) != type) {
    QLIX_COMM_PRINT("sdt %u is of type %s\n", sdt_no, dpp_sdt_type_name(dpp_sdt_type_of(record)));
    return QLIX_COMM_OK;
  }
  for (uint32_t i = 0; i < num; ++i) {
    dpp_sdt_entry entry;
    QLIX_COMM_CALL(dpp_sdt_entry_get, dev_id, record, index + i, &entry);
    se_words_print("entry", index + i, entry.words, entry.word_num);
  }
  return QLIX_COMM_OK;
}

uint32_t dpp_sdt_records_prt(uint32_t dev_id, uint32_t type) {
  uint32_t num = 0;
  QLIX_COMM_CALL(
      records_print, dev_id,
      [type](uint64_t record) {
        return type == DPP_SDT_NONE ? dpp_sdt_type_of(record) != DPP_SDT_NONE : dpp_sdt_type_of(record) == type;
      },
      &num);
  QLIX_COMM_PRINT("%u of %u table numbers\n", num, DPP_SDT_NUM);
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_se_sdt_tbl_prt(uint32_t dev_id, uint32_t sdt_no) {
  uint64_t record = 0;
  QLIX_COMM_CALL(dpp_sdt_tbl_get, dev_id, sdt_no, &record);
  record_print(sdt_no, record);
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_se_sdt_info_srh(uint32_t dev_id, uint32_t table_type, uint32_t place) {
  uint32_t num = 0;
  QLIX_COMM_CALL(
      records_print, dev_id,
      [=](uint64_t record) { return dpp_sdt_type_of(record) == table_type && stands_at(record, table_type, place); },
      &num);
  QLIX_COMM_PRINT("%u table%s of type %s at 0x%x\n", num, qlix_comm_plural(num), dpp_sdt_type_name(table_type), place);
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_se_sdt_tbl_wr(uint32_t dev_id, uint32_t sdt_no, uint32_t data_h, uint32_t data_l) {
  return QLIX_COMM_CALLED(dpp_sdt_tbl_set, dev_id, sdt_no, uint64_t{data_h} << 32 | data_l);
}

uint32_t diag_dpp_se_eram_sdt_tbl_wr(uint32_t dev_id, uint32_t sdt_no, uint32_t eram_mode, uint32_t eram_base_addr,
                                     uint32_t eram_table_depth) {
  uint64_t record = 0;
  return QLIX_COMM_CALLED(table_set, dev_id, sdt_no, DPP_SDT_ERAM, {eram_mode, eram_base_addr, eram_table_depth},
                          &record);
}

uint32_t dpp_sdt_eram_ddr_table_add(uint32_t dev_id, uint32_t sdt_no, uint32_t table_type, uint32_t width,
                                    uint32_t base, uint32_t depth) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, width, 0, table_type == DPP_SDT_ERAM ? WIDTH_MAX : DPP_SE_DDR_MODE_MAX);
  uint64_t record = 0;
  QLIX_COMM_CALL(table_set, dev_id, sdt_no, table_type, {width, base, depth}, &record);
  record_print(sdt_no, record);
  return QLIX_COMM_OK;
}

// The words wait in registers of the chip, so the two steps may be two runs of the tool.
uint32_t dpp_sdt_table_data_pre(uint32_t dev_id, uint32_t first_word, uint32_t word0, uint32_t word1, uint32_t word2,
                                uint32_t word3, uint32_t word4, uint32_t word5, uint32_t word6, uint32_t word7,
                                uint32_t word8, uint32_t word9) {
  const uint32_t words[DATA_ARG_WORDS] = {word0, word1, word2, word3, word4, word5, word6, word7, word8, word9};
  const uint32_t end = std::min(first_word + DATA_ARG_WORDS, DPP_SDT_ENTRY_WORDS);
  for (uint32_t i = first_word; i < end; ++i) {
    QLIX_COMM_CALL(dpp_reg_write32_bymn, dev_id, dpp_regs::se_sdt_tbl_data::NUMBER, 0, i, words[i - first_word]);
  }
  QLIX_COMM_PRINT("words %u to %u wait for dpp_sdt_table_data_write\n", first_word, end - 1);
  return QLIX_COMM_OK;
}

uint32_t dpp_sdt_table_data_write(uint32_t dev_id, uint32_t sdt_no, uint32_t index) {
  uint64_t record = 0;
  QLIX_COMM_CALL(dpp_sdt_tbl_get, dev_id, sdt_no, &record);
  dpp_sdt_entry entry = {};
  for (uint32_t i = 0; i < DPP_SDT_ENTRY_WORDS; ++i) {
    QLIX_COMM_CALL(dpp_reg_read32, dev_id, dpp_regs::se_sdt_tbl_data::NUMBER, 0, i, &entry.words[i]);
  }
  return QLIX_COMM_CALLED(dpp_sdt_entry_set, dev_id, record, index, &entry);
}
