// What "-h" behind a command tells: its words with their ranges, and what it shows, sets or clears on the card.
#include <cinttypes>

#include "cmd_item.h"
#include "commands.h"
#include "common/report.h"
#include "registers.h"

namespace {

void text_print(const char* before, std::string_view text, const char* after) {
  kx_print("%s%.*s%s", before, static_cast<int>(text.size()), text.data(), after);
}

void values_print(std::span<const kx_register_description> rows) {
  const char* before = " [<";
  for (const kx_register_description& row : rows) {
    if (row.access == kx_register_access::rw) {
      text_print(before, VQM_REGISTERS.view(row.name), "");
      kx_print(" 0..0x%" PRIx64 ">", UINT64_MAX >> (64 - row.width));
      before = " <";
    }
  }
  kx_print("%s\n", before[1] == '[' ? "" : "]");
}

void register_print(const kx_register_description& row) {
  const char* what = row.access == kx_register_access::clear ? "Clears" : "Shows";
  kx_print("    %s%s ", what, row.access == kx_register_access::rw ? " or sets" : "");
  text_print("", VQM_REGISTERS.view(row.name), "");
  const char* before = ": ";
  for (const kx_field_description& field : VQM_REGISTERS.fields(row)) {
    if (row.field_count > 1 || VQM_REGISTERS.view(field.name) != VQM_REGISTERS.view(row.name)) {
      text_print(before, VQM_REGISTERS.view(field.name), "");
      before = ", ";
    }
  }
  kx_print(".\n");
}

}  // namespace

void vqm_empty_group_usage(const kxtools_cmd_entry& group) {
  vqm_group_help_print(group);
  kx_print("    No commands in this build.\n");
}

void vqm_cmd_usage(const kxtools_cmd_entry& entry) {
  const kxtools_cmd_entry* group = vqm_cmd_group_of(&entry);
  const vqm_cmd_item* item = vqm_cmd_item_find(group == nullptr ? nullptr : group->name, entry.name);
  kx_print("kxvqm %s%s%s", group == nullptr ? "" : group->name, group == nullptr ? "" : " ", entry.name);
  if (item == nullptr || item->word == 0) {
    kx_print(" %s\n", item == nullptr ? "" : item->help);
    if (item != nullptr) {
      const bool told = item->purpose[0] != '\0';
      kx_print("    %s%s.\n", told ? item->purpose : "Shows the registers of ", told ? "" : item->lists);
    }
    return;
  }
  const auto rows = VQM_REGISTERS.registers.subspan(item->reference, item->word);
  if (const kx_register_description* array = vqm_array_of(rows); array != nullptr) {
    text_print(" <", VQM_REGISTERS.view(array->index), "");
    kx_print(" 0..%u>", vqm_index_kind_of(*array).max);
  }
  values_print(rows);
  for (const kx_register_description& row : rows) {
    register_print(row);
  }
}
