// Cells of a comma-separated line, and the numbers in them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace reg_gen {

/// The cells of one line without blanks around them. A cell in double quotes may hold commas; "" in it is one quote.
/// Nothing when a quote is left open.
std::optional<std::vector<std::string>> csv_cells(std::string_view line);

/// A whole cell as decimal or, after 0x, hexadecimal number of at most 32 bits.
std::optional<uint32_t> csv_number(std::string_view cell);

/// Takes the next line, without its end, off `text`. False at the end.
bool csv_next_line(std::string_view& text, std::string_view& line);

}  // namespace reg_gen
