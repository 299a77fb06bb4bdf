// Margins as an operator reads them.
#pragma once

#include <cstdint>
#include <cstdio>
#include <span>

#include "margin.h"

/// A table with one row a lane; the first row is of lane `first`.
void kxpcie_margin_table_write(FILE* out, uint32_t first, std::span<const kxpcie_lane_margins> lanes);

/// The eye of one lane: timing from left to right, voltage from bottom to top, up to the largest offsets. The four
/// corners are measured, the edges between them are straight lines.
void kxpcie_eye_write(FILE* out, uint32_t lane, const kxpcie_lane_margins& margins);
