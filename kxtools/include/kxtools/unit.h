// A hardware unit of the card as the maintenance commands see it: what it checks, counts and holds. Modules offer their
// units as constant rows; the program entry hands them to the commands, which know no module.
#pragma once

#include <cstdint>
#include <span>

/// The lists of values that a unit can go through.
enum class kxtools_unit_list : uint8_t {
  checks,            ///< what tells whether the unit is well
  counters,          ///< at most 64 bits each
  registers,         ///< everything that is described, arrays of at most KXTOOLS_UNIT_ARRAY_MAX elements included
  steady_counters,   ///< the counters but for those that a read clears
  steady_registers,  ///< the registers but for those that a read clears
  cleared,           ///< the registers that a read clears, by name and address: they are not read and have no words
};
inline constexpr uint32_t KXTOOLS_UNIT_ARRAY_MAX = 64;

/// One value as the card holds it; valid during the visit.
struct kxtools_unit_value {
  const char* name;
  uint64_t address;  ///< in card memory, or in configuration space; 0 for what lies behind a window of registers
  std::span<const uint32_t> words;  ///< most significant word first
  const char* note;                 ///< what the value says; "" for nothing
  bool good;                        ///< of a check: as it should be
};

/// False ends the visit.
using kxtools_unit_visitor = bool (*)(void* self, const kxtools_unit_value& value);

/// A part of the unit's address space.
struct kxtools_unit_window {
  uint64_t offset;   ///< first address as the user gives it
  uint64_t address;  ///< the same place in card memory
  uint64_t size;
};

struct kxtools_unit {
  const char* name;   ///< the word that names it
  const char* title;  ///< one line
  /// Prepares for the bound function; null when nothing is to be done. Returns 0 or -1 with a message.
  int32_t (*open)();
  /// Values of a list; 0 for a list that the unit does not have.
  uint32_t (*count)(kxtools_unit_list list);
  /// Reads and visits the values of a list in order. Returns 0, also when the visitor ended it, or -1 with a message
  /// at the first value that cannot be read.
  int32_t (*visit)(kxtools_unit_list list, kxtools_unit_visitor visitor, void* self);
  std::span<const kxtools_unit_window> windows;  ///< ascending, without overlaps
};
