#include "margin_text.h"

#include <cstdlib>

namespace {

constexpr int COLUMNS = 24;  // to each side of the centre
constexpr int ROWS = 8;      // above and below it

const kxpcie_margin_result& result_of(const kxpcie_lane_margins& margins, kxpcie_margin_direction direction) {
  return margins.results[static_cast<uint32_t>(direction)];
}

bool is_timing(kxpcie_margin_direction direction) {
  return direction == kxpcie_margin_direction::left || direction == kxpcie_margin_direction::right;
}

uint32_t largest_steps(const kxpcie_lane_margins& margins, kxpcie_margin_direction direction) {
  return is_timing(direction) ? margins.abilities.timing_steps : margins.abilities.voltage_steps;
}

char end_mark(kxpcie_margin_end end) {
  switch (end) {
    case kxpcie_margin_end::largest:
      return '+';
    case kxpcie_margin_end::refused:
      return '?';
    default:
      return ' ';
  }
}

// "12/20 0.150 UI ", with the offset in thousandths of a unit interval or in millivolts, when the receiver says what a
// step is.
void cell_write(FILE* out, const kxpcie_lane_margins& margins, kxpcie_margin_direction direction) {
  const kxpcie_margin_result& result = result_of(margins, direction);
  const uint32_t steps = largest_steps(margins, direction);
  const uint32_t percent = is_timing(direction) ? margins.abilities.timing_percent : margins.abilities.voltage_percent;
  if (result.end == kxpcie_margin_end::not_measured) {
    fprintf(out, "  %-20s", "-");
    return;
  }
  char offset[16] = "";
  if (steps != 0 && percent != 0) {
    const uint32_t thousandths = result.steps * percent * 10 / steps;
    if (is_timing(direction)) {
      snprintf(offset, sizeof offset, "%u.%03u UI", thousandths / 1000, thousandths % 1000);
    } else {
      snprintf(offset, sizeof offset, "%4u mV", thousandths);
    }
  }
  fprintf(out, "  %3u/%-3u %-9s %c ", result.steps, steps, offset, end_mark(result.end));
}

// How far an axis is open, in cells of `cells`; a direction that the receiver does not have apart mirrors the other.
int open_cells(const kxpcie_lane_margins& margins, kxpcie_margin_direction direction, kxpcie_margin_direction mirror,
               int cells) {
  const bool measured = result_of(margins, direction).end != kxpcie_margin_end::not_measured;
  const kxpcie_margin_result& result = result_of(margins, measured ? direction : mirror);
  const uint32_t steps = largest_steps(margins, direction);
  return steps == 0 ? 0 : static_cast<int>(result.steps) * cells / static_cast<int>(steps);
}

char cell_of(int x, int y, int across, int along) {
  if (x == 0 && y == 0) {
    return '+';
  }
  // Inside the triangle between the centre and the two open axes.
  const bool open = abs(x) * along + abs(y) * across <= across * along && abs(x) <= across && abs(y) <= along;
  if (open) {
    return ' ';
  }
  return '#';
}

}  // namespace

void kxpcie_margin_table_write(FILE* out, uint32_t first, std::span<const kxpcie_lane_margins> lanes) {
  using direction = kxpcie_margin_direction;
  fprintf(out, "lane  %-20s  %-20s  %-20s  %s\n", "left", "right", "up", "down");
  for (const kxpcie_lane_margins& margins : lanes) {
    fprintf(out, "%4u", first++);
    for (const direction towards : {direction::left, direction::right, direction::up, direction::down}) {
      cell_write(out, margins, towards);
    }
    fprintf(out, "\n");
  }
  fprintf(out, "good steps/steps to the largest offset; + no errors up to it, ? refused, - cannot be measured\n");
}

void kxpcie_eye_write(FILE* out, uint32_t lane, const kxpcie_lane_margins& margins) {
  using direction = kxpcie_margin_direction;
  const int left = open_cells(margins, direction::left, direction::right, COLUMNS);
  const int right = open_cells(margins, direction::right, direction::left, COLUMNS);
  const int up = open_cells(margins, direction::up, direction::down, ROWS);
  const int down = open_cells(margins, direction::down, direction::up, ROWS);
  fprintf(out, "eye of lane %u: timing across, voltage upwards, open where blank\n", lane);
  for (int y = ROWS; y >= -ROWS; --y) {
    fputs("  ", out);
    for (int x = -COLUMNS; x <= COLUMNS; ++x) {
      fputc(cell_of(x, y, x < 0 ? left : right, y < 0 ? down : up), out);
    }
    fputc('\n', out);
  }
  fprintf(out, "the four corners are measured, the edges between them are straight lines\n");
}
