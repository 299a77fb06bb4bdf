// What the kernel has against mapping a BAR.
#pragma once

#include "device/bar.h"

/// True when the kernel keeps a BAR of the function from every program: its driver has claimed it, or the kernel is
/// locked down. The driver itself reaches it all the same.
bool kxtools_bar_is_kept(const char* sbdf_text, const kxtools_bar_mapping& refused);

/// Says on standard error that the line goes on without a BAR that is kept, and what is not checked for that reason.
void kxtools_bar_kept_tell(const char* sbdf_text, const kxtools_bar_mapping& refused);
