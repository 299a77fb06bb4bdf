// What the card says when it cannot give its serial or part number.
#pragma once

#include <cstdint>

/// Text for the status byte of a serial-number or part-number reply, which is not 0.
const char* kxtool_reply_status_text(int8_t status);
