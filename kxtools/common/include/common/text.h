// Text made of a format, where it does not go straight to a stream.
#pragma once

#include <string>

/// What printf would print.
[[gnu::format(printf, 1, 2)]] std::string kx_text(const char* format, ...);
