// Time, as waits measure it and as files tell it.
#pragma once

#include <cstdint>
#include <string>

/// Milliseconds on a clock that never jumps.
uint64_t kx_now_ms();

/// Now, as "2026-11-26 19:14:00 UTC".
std::string kx_utc_text();
