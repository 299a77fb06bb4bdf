// Functions that rows call: each prints what several commands show, with other numbers. Arguments are those of the
// rows, whose ranges have been checked. They return 0 or the code of what failed, which has been traced.
#pragma once

#include <cstdint>

#include "dpp_memory/dpp_ppu.h"

/// Which traces of the driver are printed.
uint32_t dpp_comm_print_level_set(uint32_t level);

/// What the capture of a block (0 packet receive, 1 packet buffer, 2 output DMA) holds by its status: whether it is
/// full, the captured packets, and the bytes of the one that is kept.
uint32_t dpp_capture_prt(uint32_t dev_id, uint32_t block, uint32_t full, uint32_t num, uint32_t length);

/// An entry of a policer's memory (0 queues, 1 packet queues, 2 profiles, 3 queue map); car_type 0 to 2 is its level.
uint32_t dpp_stat_car_entry_prt(uint32_t dev_id, uint32_t memory, uint32_t car_type, uint32_t index);

/// An eRAM entry of the width that `mode` names (dpp_se_mem.h), set to 0 by the read when `clear` is 1.
uint32_t dpp_se_eram_entry_prt(uint32_t dev_id, uint32_t addr, uint32_t mode, uint32_t clear);
/// An entry of a direct DDR table, of the width that `mode` names.
uint32_t dpp_se_ddr_table_entry_prt(uint32_t dev_id, uint32_t table, uint32_t index, uint32_t mode);
/// The blocks of a ternary table.
uint32_t dpp_etcam_table_blocks_prt(uint32_t dev_id, uint32_t table);
/// Judges the zblocks of a zgroup; with `writes` 1 patterns are written and what stood there comes back.
uint32_t dpp_se_zgroup_check(uint32_t dev_id, uint32_t zgroup, uint32_t writes);

/// The records of the table numbers of a type, 0 for those of every type.
uint32_t dpp_sdt_records_prt(uint32_t dev_id, uint32_t type);
/// Entries of a table number, which must be of that type.
uint32_t dpp_sdt_entries_prt(uint32_t dev_id, uint32_t sdt_no, uint32_t type, uint32_t index, uint32_t num);

/// `num` lines of a cluster's memory from `addr` on, of instruction memory at most up to its end.
uint32_t dpp_ppu_mem_prt(uint32_t dev_id, uint32_t cluster, dpp_ppu_memory memory, uint32_t me_id, uint32_t addr,
                         uint32_t num);

/// Moves a cluster under the debugger: 0 one step, into a call; 1 one step, over a call; 2 to a stop.
uint32_t dpp_softdbg_move(uint32_t dev_id, uint32_t cluster, uint32_t how);

/// A DDR entry read through a queue; `index` counts entries of 128 << rw_len bits.
uint32_t dpp_dtb_ddr_entry_prt(uint32_t dev_id, uint32_t queue_id, uint32_t rw_len, uint32_t baddr, uint32_t index);
