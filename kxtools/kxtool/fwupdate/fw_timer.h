// Limits on the three waits for the card, counted in ticks of the update's main loop. Started by the command's thread,
// cancelled by notices on the receive thread.
#pragma once

#include <cstdint>

enum fw_timer_id : uint32_t { FW_TIMER_END = 22, FW_TIMER_ERASE = 32, FW_TIMER_READ_BACK = 96 };

void fw_start_timer(uint32_t tim_id, uint32_t ticks);
void fw_cancel_timer(uint32_t tim_id);
bool fw_timer_is_active(uint32_t tim_id);

/// Lets `ticks` ticks pass. A timer that runs out prints and logs its message and fails the update.
void fw_timer_main(uint32_t ticks);

/// What the erase timer does when it runs out.
void fw_erase_timeout();
