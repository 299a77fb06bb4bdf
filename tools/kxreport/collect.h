// Asking one card: the values of the sections that a command wants go into a sink as they are read.
#pragma once

#include <string>
#include <vector>

#include "card.h"
#include "value.h"

enum report_section : uint32_t {
  SECTION_IDENTITY = 1 << 0,
  SECTION_FIRMWARE = 1 << 1,
  SECTION_TEMPERATURE = 1 << 2,
  SECTION_HEALTH = 1 << 3,
  SECTION_CHECKS = 1 << 4,  ///< of the health every check, not only how many failed
  SECTION_LINK = 1 << 5,
  SECTION_COUNTERS = 1 << 6,
  SECTION_REGISTERS = 1 << 7,
  SECTION_SHORT = 1 << 8,  ///< one line of a list
  SECTION_KERNEL = 1 << 9,
  SECTION_RAW = 1 << 10,   ///< bytes for a replay
  SECTION_EYES = 1 << 11,  ///< of the link the lanes' eyes, which takes seconds a lane
};

struct collect_request {
  uint32_t sections = 0;
  std::vector<std::string> units;  ///< names; none: all
};

/// What went wrong with a card, collected until its values are through.
using collect_errors = std::vector<std::string>;

/// Asks the function and sends its group, begun already, to the end: `answers` and `errors` included. Ends early, with
/// what was read, when a signal was raised.
void card_collect(const card_place& place, const collect_request& request, value_sink* out);

// The parts. Each sends what it could read and adds a line to `errors` for what it could not.
void identity_collect(card* asked, value_sink* out, collect_errors* errors);
void kernel_names_collect(const card_place& place, value_sink* out);
/// What the kernel's files tell, whether the card answers or not.
void kernel_collect(const card_place& place, value_sink* out);
/// With `bound` what lies in BAR 0 too.
void raw_collect(card* asked, bool bound, value_sink* out, collect_errors* errors);
void firmware_collect(card* asked, value_sink* out, collect_errors* errors);
void temperature_collect(card* asked, value_sink* out, collect_errors* errors);
void link_collect(card* asked, bool eyes, value_sink* out, collect_errors* errors);
void health_collect(const collect_request& request, value_sink* out, collect_errors* errors);
void counters_collect(const collect_request& request, value_sink* out, collect_errors* errors);
void registers_collect(const collect_request& request, value_sink* out, collect_errors* errors);
/// The values of one line of a list.
void short_collect(card* asked, bool channel, bool bound, value_sink* out, collect_errors* errors);

/// The PCIe link as configuration space tells it. False when it does not.
struct pcie_link {
  int64_t speed = 0;  ///< transfers a second; 0 for a code that is not known
  int64_t speed_best = 0;
  uint32_t width = 0;
  uint32_t width_best = 0;
  bool at_best = false;
};
bool pcie_link_read(uint32_t sbdf, pcie_link* link);
