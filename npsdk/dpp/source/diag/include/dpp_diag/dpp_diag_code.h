// Codes of the diagnostic commands that drive a block through several steps.
#pragma once

#include <cstdint>

inline constexpr uint32_t DPP_RC_DIAG_NOT_READY = 0x611;    ///< the block did not reach the awaited state
inline constexpr uint32_t DPP_RC_DIAG_WRONG_STATE = 0x612;  ///< the block is not in the state that the step needs
inline constexpr uint32_t DPP_RC_DIAG_MISMATCH = 0x613;     ///< a memory does not hold what was written
inline constexpr uint32_t DPP_RC_DIAG_INTERRUPTED = 0x614;  ///< ended by a signal before all was done
