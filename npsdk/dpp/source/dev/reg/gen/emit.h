// What the generator writes: the table of the driver, and the types under which code names registers and fields.
#pragma once

#include <string>
#include <vector>

#include "sheet.h"

namespace reg_gen {

/// Source text of the constant table. `regs` is complete and sorted by number.
std::string table_text(const std::vector<reg>& regs);

/// Header text: for each described register a structure dpp_regs::<name> with its NUMBER and one uint32_t member a
/// field, in the order of the field value vector; for each format a structure dpp_formats::<name> with its WIDTH in
/// bytes, its FIELDS and such members.
std::string types_text(const std::vector<reg>& regs, const std::vector<reg>& formats);

}  // namespace reg_gen
