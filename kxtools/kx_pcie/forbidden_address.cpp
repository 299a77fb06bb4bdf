#include "forbidden_address.h"

#include <algorithm>
#include <array>

namespace {

struct address_range {
  uint64_t first;
  uint64_t last;
};

constexpr uint64_t ADDRESS_END = uint64_t{1} << 44;

// The last row stands for everything beyond the card's address space.
constexpr auto FORBIDDEN_RANGES = std::to_array<address_range>({
#include "forbidden_ranges.inc"
    {ADDRESS_END, UINT64_MAX},
});

constexpr bool are_ascending_and_apart() {
  for (size_t i = 0; i < FORBIDDEN_RANGES.size(); ++i) {
    if (FORBIDDEN_RANGES[i].first > FORBIDDEN_RANGES[i].last ||
        (i > 0 && FORBIDDEN_RANGES[i].first <= FORBIDDEN_RANGES[i - 1].last)) {
      return false;
    }
  }
  return true;
}
static_assert(are_ascending_and_apart());

}  // namespace

bool pcie_address_is_forbidden(uint64_t address) {
  if (address % 4 != 0) {
    return true;
  }
  return std::any_of(FORBIDDEN_RANGES.begin(), FORBIDDEN_RANGES.end(), [address](const address_range& range) {
    return address <= range.last && address + 3 >= range.first;
  });
}
