#include "commands.h"

#include "collect.h"

namespace {

constexpr const char* ONE_OR_ALL = "DEVICE|--all";
constexpr const char* WITH_UNITS = "DEVICE|--all [UNIT...]";

constexpr report_command COMMANDS[] = {
    {"list", "", "all card functions, a line each: what they are, how they are", command_kind::list, SECTION_SHORT},
    {"identity", ONE_OR_ALL, "serial and part number, driver, MAC addresses", command_kind::cards, SECTION_IDENTITY},
    {"firmware", ONE_OR_ALL, "version and partition of the running firmware", command_kind::cards, SECTION_FIRMWARE},
    {"health", WITH_UNITS, "every check of the units, and the temperature", command_kind::cards,
     SECTION_TEMPERATURE | SECTION_HEALTH | SECTION_CHECKS},
    {"link", ONE_OR_ALL, "PCIe link, and the module in the port", command_kind::cards, SECTION_LINK},
    {"counters", WITH_UNITS, "counters, but for those that a read clears", command_kind::cards, SECTION_COUNTERS},
    {"registers", WITH_UNITS, "registers, but for those that a read clears", command_kind::cards, SECTION_REGISTERS},
    {"summary", ONE_OR_ALL, "all of the above but single checks and registers, as monitoring takes it",
     command_kind::cards,
     SECTION_TEMPERATURE | SECTION_HEALTH | SECTION_IDENTITY | SECTION_FIRMWARE | SECTION_LINK | SECTION_COUNTERS},
    {"watch", "DEVICE [UNIT...]", "a live view: rates, temperature, link, what is wrong", command_kind::watch,
     SECTION_TEMPERATURE | SECTION_HEALTH | SECTION_CHECKS | SECTION_LINK | SECTION_COUNTERS},
    {"bundle", "DEVICE FILE", "everything, as an archive for support that kxvcard plays back", command_kind::bundle,
     SECTION_KERNEL | SECTION_TEMPERATURE | SECTION_HEALTH | SECTION_CHECKS | SECTION_IDENTITY | SECTION_FIRMWARE |
         SECTION_LINK | SECTION_COUNTERS | SECTION_REGISTERS | SECTION_RAW},
    {"diff", "FILE FILE", "what differs between two bundles", command_kind::diff, 0},
    {"commands", "", "what kxreport and kxtool can do", command_kind::commands, 0},
    {"schema", "", "the JSON schema of every document of kxreport", command_kind::schema, 0},
};

}  // namespace

std::span<const report_command> report_commands() {
  return COMMANDS;
}

const report_command* report_command_find(std::string_view name) {
  for (const report_command& row : COMMANDS) {
    if (row.name == name) {
      return &row;
    }
  }
  return nullptr;
}
