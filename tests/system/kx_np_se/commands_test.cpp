// The search-engine commands in the tool's shell: what one sets the next shows.
#include <gtest/gtest.h>

#include "session.h"

namespace {

const session::Row rows[] = {
    {"diag_dpp_se_cfg_se_empty_prt 0", "hash_empty                              : 0x00000001\n"},
    {"diag_dpp_se 0", "se ppu request        : 0x00000011, response: 0x00000000\n"},
    {"diag_dpp_se_fc 0", "se flow control count : 0x00000000\n"},
    {"diag_dpp_se_error_status 0", "etcam_int_status                        : ERROR, rsp_err\n"},
    {"diag_dpp_se_smmu0_detail 0", "smmu0 plcr request    : 0x00000000, response: 0x00000000\n"},
    {"diag_dpp_se_alg_detail 0", "alg zreg hit          : 0x00000000\n"},
    {"diag_dpp_se_etcam_detail 0", "block 7 key: 0x00000000, hit: 0x00000000\n"},
    {"diag_dpp_se_detail 0", "smmu1 ddr 7 read: 0x00000000, write: 0x00000000\n"},
    {"diag_dpp_se_detail_fc 0", "plcr_fc                                 : 0x00000000\n"},
    {"diag_dpp_se_eram_sdt_tbl_wr 0 7 3 0x1000 0x10", ""},
    {"diag_dpp_se_sdt_tbl_wr 0 8 0xa8000000 0x40000", ""},
    {"diag_dpp_se_sdt_tbl_prt 0 7", "eram_base_addr                          : 0x00001000\n"},
    {"diag_dpp_se_sdt_tbl_prt_all 0", "2 of 256 table numbers\n"},
    {"diag_dpp_se_sdt_tbl_prt_type 0 5", "sdt 8: eTCAM, 0xa8000000 0x00040000\n"},
    {"diag_dpp_se_sdt_info_srh 0 1 0x100f", "1 tables of type eRAM at 0x100f\n"},
    {"dpp_sdt_table_data_pre 0 0 1 2 3 4", "words 0 to 9 wait for dpp_sdt_table_data_write\n"},
    {"dpp_sdt_table_data_write 0 7 5", ""},
    {"diag_dpp_se_eram_dir_rd_more 0 7 5 1", "entry[0x000005]: 0x00000001 0x00000002 0x00000003 0x00000004\n"},
    {"diag_dpp_se_smmu0_scan 0 0x1000 8", "1 of 8 lines are not zero\n"},
    {"diag_dpp_se_smmu0_rd128 0 0x10", "eram128[0x000010]: 0x00112233 0x44556677 0x8899aabb 0xccddeeff\n"},
    {"diag_dpp_se_smmu0_wr128 0 0x2000 1 2 3 4", ""},
    {"diag_dpp_se_smmu0_wr64 0 0x4003 1 5 6", ""},
    {"diag_dpp_se_smmu0_rd128_more 0 0x2000 2", "eram128[0x002001]: 0x00000000 0x00000000 0x00000005 0x00000006\n"},
    {"diag_dpp_se_smmu0_rd64 0 0x4000", "eram64[0x004000]: 0x00000001 0x00000002\n"},
    {"diag_dpp_se_smmu0_rd32 0 0x8003", "eram32[0x008003]: 0x00000004\n"},
    {"diag_dpp_se_smmu0_rd1 0 0x10001f", "eram1[0x10001f]: 0x00000001\n"},
    {"diag_dpp_se_smmu0_rd2 0 0x8001f", "eram2[0x08001f]: 0x00000002\n"},
    {"diag_dpp_se_smmu0_rd128_clear 0 0x2000", "eram128[0x002000]: 0x00000001 0x00000002 0x00000003 0x00000004\n"},
    {"diag_dpp_se_smmu0_plcr_mono_prt 0", "N:3\n"},
    {"diag_dpp_se_smmu0_dma_baddr_prt 0", "dma_baddr"},
    {"diag_dpp_se_smmu0_odma_baddr_prt 0", ": 0x00001000\n"},
    {"diag_dpp_se_smmu0_mcast_baddr_prt 0", ": 0x00002000\n"},
    {"diag_dpp_se_smmu0_mcast_tbl_prt 0 255", "N:255\n"},
    {"dpp_sdt_eram_ddr_table_add 0 9 2 2 0x80 4", "sdt 9: DDR, "},
    {"dpp_sdt_table_data_write 0 9 3", ""},
    {"diag_dpp_se_ddr_dir_rd_more 0 9 3 1", "entry[0x000003]: 0x00000001 0x00000002 0x00000003 0x00000004\n"},
    {"diag_dpp_se_smmu1_dir_tbl_data_rd128 0 1 12", "direct table 1: valid, width_mode 2, tbl_baddr 0x0002000\n"},
    {"diag_dpp_se_smmu1_dir_tbl_data_rd256 0 1 6", "ddr256[0x004006]: 0x00000001 0x00000002"},
    {"diag_dpp_se_smmu1_dir_tbl_data_rd512 0 1 3", "ddr512[0x002003]: 0x00000001 0x00000002"},
    {"diag_dpp_se_smmu1_rd128_more 0 0x800c 1", "ddr128[0x00800c]: 0x00000001 0x00000002 0x00000003 0x00000004\n"},
    {"diag_dpp_se_smmu1_rd256_more 0 0x4006 1", "ddr256[0x004006]: 0x00000001"},
    {"diag_dpp_se_smmu1_rd512_more 0 0x2003 1", "ddr512[0x002003]: 0x00000001"},
    {"diag_dpp_se_smmu1_cache_en_cfg_prt 0", "direct_cache_en"},
    {"diag_dpp_se_smmu1_ser_cache_en_cfg_prt 0", ": 0x000000ff\n"},
    {"diag_dpp_se_smmu1_ecc_addr_prt 0", "N:7\n"},
    {"diag_dpp_se_fifo_depth_val_init_prt 0", "N:15\nprog_full_assert                        : 0x00000060\n"},
    {"diag_dpp_se_smmu1_stat_mode_cfg_prt 0", "stat_mode"},
    {"diag_dpp_se_etcam_block_tbl_id_prt 0 7", "N:7\n"},
    {"diag_dpp_se_etcam_block_baddr_prt 0 7", "N:7\n"},
    {"diag_dpp_se_etcam_table_block_prt 0 2", "  block 3: entries of 640 bits, first row 0\n  1 blocks\n"},
    {"diag_dpp_se_etcam_table_block_all_prt 0", "etcam table 7:\n  0 blocks\n"},
    {"dpp_sdt_table_data_write 0 8 0", ""},
    {"diag_dpp_se_etcam_entry_prt 0 3 0", "block 3, row 0, valid parts 0xff\n  data: 0000000100000002"},
    {"diag_dpp_se_etcam_tbl_entry_prt 0 2 0",
     "etcam table 2, entry 0: block 3, row 0, first part 0, 640 bits, valid\n"},
    {"diag_dpp_se_alg_write512_pre_ex 0 6 0 0 0 0 0 0 0 0 0 3", "words 6 to 15 wait for diag_dpp_se_alg_write512_ex\n"},
    {"diag_dpp_se_alg_write512_ex 0 0x14800", ""},  // registers of zblock 9: it serves hash engine 1
    {"diag_dpp_se_alg_write512_pre_ex 0 0 0x83010102 0x03040506 0x0708abcd 0xef010000", "words 0 to 9"},
    {"diag_dpp_se_alg_write512_ex 0 0x4810 8", ""},  // zblock 9, zcell 0, line 0x10
    {"diag_dpp_se_alg_write512_ex 0 0x14810", ""},   // its overflow register
    {"diag_dpp_se_alg_read512 0 0x4810", "alg[0x004810]: 0x83010102 0x03040506 0x0708abcd 0xef010000\n"},
    {"diag_dpp_se_alg_read_zblock 0 9", "zreg_00                                 : 0x83010102\n"},
    {"diag_dpp_se_hash_zcam_item_prt 0 9 0 0x10", "quarter 0: hash_id 1, table_id 3, 128 bits\n"},
    {"diag_dpp_se_hash_ddr4_item_prt 0 1 2 3", "quarter 3: empty\n"},
    {"diag_dpp_se_hash_key_data 0 0 0x01020304 0x05060708", "key: 010203040506070800"},
    {"diag_dpp_se_hash_search 0 1 3 8 4", "zblock 9, zreg: HIT\nfound in quarter 0\nresult: abcdef01\n"},
    {"diag_dpp_se_hash_cfg_prt 0 3", "M:3, N:7\n"},
    {"diag_dpp_se_hash_cfg_ex_prt 0 1", "zgroup 1, zblock 1: st_en 1, service_sel 0, hash_channel_sel 1,"},
    {"diag_dpp_se_lpm_search 0 0 0x0a000001", "no IPv4 area is enabled\n"},
    {"diag_dpp_se_lpm_cfg_prt 0", "v6_en"},
    {"diag_dpp_se_lpm_cfg_ex_prt 0", "area 7: v4 ddr_en 0, "},
    {"dpp_se_tlb_help 0", "  diag_dpp_se_smmu0_wr128(dev_id, addr, data0, data1, data2, data3)\n"},
    {"diag_dpp_se_health_check 0", "SE: 18 items, 1 errors, 0 not ready, 0 busy: NOT HEALTHY\n"},
    {"host_dtb_huge_mem_init 0", "queue"},  // a queue, or one line why there is none
};

constexpr const char* card = R"({"network_processor": {
  "eram": {"0x10": "00112233445566778899aabbccddeeff"},
  "registers": {"0x264000": 17, "0x27b000": 2, "0x320104": "0xa0002000", "0x27800c": "0x80000002"}}})";

TEST(NpSearchEngine, GoodWordsShowAndSet) {
  session::expect_shows(card, "kxnp ", rows);
}

}  // namespace
