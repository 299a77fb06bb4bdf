// Mapping a BAR, and what the kernel has against it.
#pragma once

#include <cstdint>

enum class kxtools_bar_step : uint8_t { mapped, open, length, map };

struct kxtools_bar_mapping {
  kxtools_bar_step step;      ///< what failed, or mapped
  int error;                  ///< errno of it
  volatile uint8_t* address;  ///< of the first byte asked for; null unless mapped
};

/// Maps the pages that hold `length` bytes from byte `start` on of the BAR whose file is `path` and whose physical
/// start is `bar_address`, without a word. kxtools_dev_unmmap of the same bytes unmaps them.
kxtools_bar_mapping kxtools_bar_map(const char* path, uint64_t bar_address, uint64_t start, uint64_t length,
                                    bool write);
/// Says on standard error why the kernel refused to open or map the file `path` of a BAR, and what helps.
void kxtools_bar_refusal_tell(const char* sbdf_text, const char* path, int error);

/// True when the kernel keeps a BAR of the function from every program: its driver has claimed it, or the kernel is
/// locked down. The driver itself reaches it all the same.
bool kxtools_bar_is_kept(const char* sbdf_text, const kxtools_bar_mapping& refused);

/// Says on standard error that the line goes on without a BAR that is kept, and what is not checked for that reason.
void kxtools_bar_kept_tell(const char* sbdf_text, const kxtools_bar_mapping& refused);
