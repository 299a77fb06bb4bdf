// The commands of kxreport, as the parser, the help, the manual and the program's description of itself take them.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

enum class command_kind : uint8_t {
  list,      ///< all functions of the host, a line each
  cards,     ///< one function or all, by sections
  watch,     ///< one function, again and again
  bundle,    ///< one function into an archive
  diff,      ///< two archives
  commands,  ///< what the programs can do
  schema,    ///< the schema of all documents
};

struct report_command {
  const char* name;
  const char* words;  ///< behind the name
  const char* purpose;
  command_kind kind;
  uint32_t sections;
};

std::span<const report_command> report_commands();
/// The command of that name, or null.
const report_command* report_command_find(std::string_view name);
