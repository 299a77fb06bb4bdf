// What the benchmarks of the common library share.
#pragma once

#include "side_by_side.h"

inline constexpr std::uint64_t SEED = 0x6b78;

void tree_bench();
void stack_bench();
void bits_bench();
void tree_growth();
void stack_growth();
