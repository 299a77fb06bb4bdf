// The field printer.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "common/register_description.h"

/// Prints the heading of a register or a group of values.
void vqm_print_title(std::string_view title);

/// Prints one line per field of a register value; fields that are zero only when the print-zero setting says so.
void vqm_print_fields(uint64_t value, std::span<const kx_field_description> fields);

/// Whether zero fields are printed: 1 (at start) or 0.
void vqm_print_zero_set(uint32_t print);
