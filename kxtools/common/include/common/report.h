// The error-line family: every line that the tool prints about itself carries the function and the source line that
// printed it. Lines go to standard output, one at a time even when two threads print, and are flushed at once, so that
// a pipe sees them in the order in which they happened.
#pragma once

#include <cstdint>

/// The fixed parts of one kind of line: `prefix`[function][line]`gap`text. A colour is a terminal sequence that wraps
/// the whole line; its end stands before the final newline.
struct kx_line_style {
  const char* prefix;
  const char* gap;
  const char* colour;
};

inline constexpr kx_line_style KX_STYLE_KXTOOLS_ERR{"kxtools_err: ", " ", nullptr};
inline constexpr kx_line_style KX_STYLE_KXTOOLS_INFO{"kxtools_info: ", " ", nullptr};
inline constexpr kx_line_style KX_STYLE_MTS_ERR{"mts_err: ", "", nullptr};
inline constexpr kx_line_style KX_STYLE_MSG_CHAN_ERR{"msg_chan_err: ", "", "\033[31m"};
inline constexpr kx_line_style KX_STYLE_MSG_CHAN_DEBUG{"msg_chan_debug: ", "", "\033[32m"};

/// Prints one line of `style`; `format` is printed as it stands, its newline included. Returns -1: what a function
/// returns that fails with the line.
[[gnu::format(printf, 4, 5)]] int32_t kx_line_print(const kx_line_style& style, const char* function, int line,
                                                    const char* format, ...);

// Function name and line come from the compiler.
#define KX_LINE(style, ...) kx_line_print(style, __func__, __LINE__, __VA_ARGS__)
#define KXTOOLS_ERR(...) KX_LINE(KX_STYLE_KXTOOLS_ERR, __VA_ARGS__)
#define KXTOOLS_INFO(...) KX_LINE(KX_STYLE_KXTOOLS_INFO, __VA_ARGS__)
// Of a helper that is a part of `caller` and reports under its name.
#define KXTOOLS_ERR_OF(caller, ...) kx_line_print(KX_STYLE_KXTOOLS_ERR, caller, __LINE__, __VA_ARGS__)
#define MTS_ERR(...) KX_LINE(KX_STYLE_MTS_ERR, __VA_ARGS__)
#define MSG_CHAN_ERR(...) KX_LINE(KX_STYLE_MSG_CHAN_ERR, __VA_ARGS__)
#define MSG_CHAN_DEBUG(...) KX_LINE(KX_STYLE_MSG_CHAN_DEBUG, __VA_ARGS__)

/// Prints text without a prefix to standard output and flushes it.
[[gnu::format(printf, 1, 2)]] void kx_print(const char* format, ...);

/// Prints text without a prefix to standard error: what the tool says of itself where no other form is given.
[[gnu::format(printf, 1, 2)]] void kx_error_print(const char* format, ...);

/// The exit status of a process whose work ended with `status`: the same, but 1 instead of 0, with a line on standard
/// error, when something that was printed did not reach standard output (full disk, closed pipe).
int kx_exit_status(int status);
