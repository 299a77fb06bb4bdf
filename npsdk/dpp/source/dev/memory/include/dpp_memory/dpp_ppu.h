// Memories of the packet processor's clusters.
#pragma once

#include <cstdint>

inline constexpr uint32_t DPP_PPU_CLUSTER_NUM = 6;
inline constexpr uint32_t DPP_PPU_ME_NUM = 8;
inline constexpr uint32_t DPP_PPU_WORDS = 4;  ///< of one line of every memory

enum dpp_ppu_memory : uint32_t {
  DPP_PPU_MEM_INSTR = 0,
  DPP_PPU_MEM_DUP = 1,
  DPP_PPU_MEM_SDT = 2,
  DPP_PPU_MEM_ME_REG = 3,   ///< of one micro-engine
  DPP_PPU_MEM_ME_DATA = 4,  ///< of one micro-engine
};
inline constexpr uint32_t DPP_PPU_ADDR_MAX = 0xFFFFF;

// One line of a memory. `me_id` is 0 for the memories of the cluster. 0x1205 for a value out of range, 0x1201 for a
// null pointer, or the code of the failed access.
uint32_t dpp_ppu_mem_get(uint32_t dev_id, uint32_t cluster, dpp_ppu_memory memory, uint32_t me_id, uint32_t addr,
                         uint32_t* words);
uint32_t dpp_ppu_mem_set(uint32_t dev_id, uint32_t cluster, dpp_ppu_memory memory, uint32_t me_id, uint32_t addr,
                         const uint32_t* words);
