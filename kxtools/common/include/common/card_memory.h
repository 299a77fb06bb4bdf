// Where the parts of the card lie in card memory, as the tunnel addresses it.
#pragma once

#include <cstdint>

inline constexpr uint64_t KX_CARD_VQM = 0x6208000000;                        ///< the queue engine's own registers
inline constexpr uint64_t KX_CARD_VQM_VF_COUNTERS = KX_CARD_VQM + 0x400000;  ///< its counters by virtual function
inline constexpr uint64_t KX_CARD_VQM_HOST = 0x6209000000;                   ///< what the host sees of its functions
inline constexpr uint64_t KX_CARD_GDMA = 0x620DA00000;
inline constexpr uint64_t KX_CARD_VQM_GDMA = 0x620DA04000;
inline constexpr uint64_t KX_CARD_DXGE_TO_NP = 0x6211400000;   ///< packet interface to the network processor
inline constexpr uint64_t KX_CARD_DXGE_TO_VQM = 0x6211800000;  ///< packet interface to the queue engine
inline constexpr uint64_t KX_CARD_BMAN = 0x6212000000;
inline constexpr uint64_t KX_CARD_QMAN = 0x6212400000;
inline constexpr uint64_t KX_CARD_LRO = 0x6212800000;
inline constexpr uint64_t KX_CARD_TRACE = 0x6214000000;  ///< traffic generators and port counters
inline constexpr uint64_t KX_CARD_NP = 0x6218000000;     ///< register space of the network processor
