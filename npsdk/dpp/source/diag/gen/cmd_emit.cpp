#include "cmd_emit.h"

#include <algorithm>
#include <cstring>
#include <unordered_map>

#include "text_pool.h"

namespace cmd_gen {

namespace {

/// Rows of one array of the generated source.
class array_source {
 public:
  explicit array_source(const char* declaration) : declaration_(declaration) {}
  void row(const std::string& values) {
    rows_ += "{" + values + "},\n";
    ++count_;
  }
  uint32_t count() const {
    return count_;
  }
  // An empty array holds one row of zeros, because C++ has none without rows.
  std::string source() const {
    return "extern const " + std::string(declaration_) + "[] = {\n" + (count_ == 0 ? "{},\n" : rows_) + "};\n";
  }

 private:
  const char* declaration_;
  std::string rows_;
  uint32_t count_ = 0;
};

std::string listed(std::initializer_list<uint32_t> values) {
  std::string out;
  for (const uint32_t v : values) {
    out += (out.empty() ? "" : ",") + std::to_string(v) + "u";
  }
  return out;
}

template <typename Choice>
std::string choice(const char* type, Choice value) {
  return type + ("{" + listed({static_cast<uint32_t>(value)}) + "}");
}

// A word of the debug shell is no function of the driver.
std::string function_name(const command& c) {
  return (c.kind == command_kind::shell ? "dpp_shell_" : "") + c.name;
}

std::string operand_text(const operand& o) {
  return "{" + listed({o.is_slot, o.number}) + "}";
}

std::string place_text(const place& p) {
  return "{" + listed({p.reg_no}) + "," + operand_text(p.m) + "," + operand_text(p.n) + "}";
}

bool is_record(const command& c) {
  return c.kind != command_kind::missing;
}

bool is_listed(const command& c) {
  return c.level == command_level::everyone || c.level == command_level::super;
}

size_t count(const std::vector<command>& commands, bool (*wanted)(const command&)) {
  return static_cast<size_t>(std::count_if(commands.begin(), commands.end(), wanted));
}

/// Collects the arrays while it goes over the commands.
class table_writer {
 public:
  table_writer(const std::vector<command>& commands, const std::vector<reg_gen::reg>& regs)
      : commands_(commands), regs_(regs) {
    for (const command& c : commands) {
      if (is_record(c)) {
        index_.emplace(c.name, static_cast<uint32_t>(index_.size()));
      }
    }
  }

  std::string source() {
    for (const command& c : commands_) {
      if (is_listed(c)) {
        listed_.row(listed({pool_.add(c.name), c.level == command_level::super ? 1u : 0u}));
      }
      if (is_record(c)) {
        command_add(c);
      }
    }
    for (const reg_gen::reg& r : regs_) {
      record_add("diag_dpp_reg_" + r.name + "_prt", command_kind::register_print, r.number);
    }
    for (size_t i = 0; records_.count() < COMMAND_COUNT; ++i) {
      record_add("diag_dpp_reg_" + regs_[i].name + "_dump", command_kind::register_dump, regs_[i].number);
    }
    return "// Generated from the command sheets; do not edit.\n"
           "#include \"dpp_cmd_table.h\"\n\n#include \"dpp_cmd_bridge.h\"\n"
           "#include \"dpp_diag/dpp_diag_functions.h\"\n#include \"dpp_row_functions.h\"\n\n" +
           records_.source() + named_.source() + listed_.source() + name_slots_source("dpp_cmd_name_slots", names_) +
           rows_.source() + args_.source() + steps_.source() + values_.source() + functions_.source() +
           pool_.source("dpp_cmd_text_pool");
  }

 private:
  void record_add(const std::string& name, command_kind kind, uint32_t index, const std::vector<argument>& args = {}) {
    names_.push_back(name);
    records_.row(listed({pool_.add(name)}) + "," + choice("dpp_cmd_kind", kind) + "," +
                 listed({index, args_.count(), static_cast<uint32_t>(args.size())}));
    for (const argument& a : args) {
      args_.row(listed({pool_.add(a.name), a.ranged ? 1u : 0u, a.min, a.max}));
    }
  }

  void command_add(const command& c) {
    named_.row(listed({pool_.add(c.at.file), c.at.line, pool_.add(c.purpose), c.writes ? 1u : 0u}));
    if (c.kind == command_kind::row) {
      record_add(c.name, c.kind, rows_.count(), c.args);
      row_add(c);
    } else {
      record_add(c.name, c.kind, function_add(function_name(c)), c.args);
    }
  }

  uint32_t function_add(const std::string& name) {
    functions_.row("&dpp_cmd_bridge<" + name + ">::call");
    return functions_.count() - 1;
  }

  void row_add(const command& c) {
    rows_.row(listed({steps_.count(), static_cast<uint32_t>(c.steps.size())}));
    for (const step& s : c.steps) {
      const uint32_t target = s.what == op::run ? index_.at(s.text) : pool_.add(s.text);
      const uint32_t slot = s.what == op::call ? function_add(s.text) : s.slot;
      steps_.row(choice("dpp_row_op", s.what) + "," + listed({s.line, target, slot, s.jump}) + "," +
                 operand_text(s.from) + "," + operand_text(s.to) + "," + place_text(s.at) + "," +
                 listed({values_.count(), static_cast<uint32_t>(s.values.size())}));
      for (const value& v : s.values) {
        values_.row(choice("dpp_row_value_kind", v.kind) + "," + operand_text(v.number) + "," + place_text(v.at) + "," +
                    listed({v.field}));
      }
    }
  }

  const std::vector<command>& commands_;
  const std::vector<reg_gen::reg>& regs_;
  std::unordered_map<std::string, uint32_t> index_;
  std::vector<std::string> names_;
  text_pool pool_;
  array_source records_{"dpp_cmd_record dpp_cmd_records"};
  array_source named_{"dpp_cmd_named dpp_cmd_named_table"};
  array_source listed_{"dpp_cmd_listed dpp_cmd_listed_table"};
  array_source rows_{"dpp_row dpp_row_table"};
  array_source args_{"dpp_cmd_arg dpp_cmd_args"};
  array_source steps_{"dpp_row_step dpp_row_steps"};
  array_source values_{"dpp_row_value dpp_row_values"};
  array_source functions_{"dpp_cmd_function dpp_cmd_functions"};
};

}  // namespace

std::string table_text(const std::vector<command>& commands, const std::vector<reg_gen::reg>& regs, complaints& out) {
  if (count(commands, is_record) + regs.size() > COMMAND_COUNT) {
    out.push_back({commands.back().at, "the sheets hold more commands than the table has room for"});
    return {};
  }
  return table_writer(commands, regs).source();
}

std::string functions_text(const std::vector<command>& commands) {
  std::string out =
      "// Generated from the command sheets; do not edit.\n"
      "// The commands that are functions. They return 0 or the code of what failed, which has been traced.\n"
      "#pragma once\n\n#include <cstdint>\n\n#include \"dpp_diag/dpp_driver_functions.h\"\n\n"
      "// Some are declared there too: where the sheet differs, the table does not build.\n"
      "// NOLINTBEGIN(readability-redundant-declaration)\n";
  for (const command& c : commands) {
    if (c.kind == command_kind::row || !is_record(c)) {
      continue;
    }
    out += "uint32_t " + function_name(c) + "(" + (c.kind != command_kind::function ? "const char* text" : "");
    for (const argument& a : c.args) {
      out += (&a == c.args.data() ? "uint32_t " : ", uint32_t ") + a.name;
    }
    out += ");\n";
  }
  out += "// NOLINTEND(readability-redundant-declaration)\n";
  return out;
}

std::string counts_text(const std::vector<command>& commands) {
  const auto constant = [](const char* name, size_t number) {
    return "inline constexpr uint32_t " + std::string(name) + " = " + std::to_string(number) + ";\n";
  };
  return "// Generated from the command sheets; do not edit.\n#pragma once\n\n#include <cstdint>\n\n" +
         constant("DPP_CMD_NUM", COMMAND_COUNT) + constant("DPP_CMD_ARG_MAX", ARGS_MAX) +
         constant("DPP_CMD_NAMED_NUM", count(commands, is_record)) +
         constant("DPP_CMD_LISTED_NUM", count(commands, is_listed));
}

namespace {

// A command of each sheet that everyone may use, with the smallest values that its words take.
std::string examples_text(const std::vector<command>& commands) {
  std::string out;
  std::string sheet;
  for (const command& c : commands) {
    const bool is_run = c.kind == command_kind::row || c.kind == command_kind::function;
    if (c.at.file == sheet || c.level != command_level::everyone || !is_run) {
      continue;
    }
    sheet = c.at.file;
    out += "kxtool bind eth0 kxnp " + c.name;
    for (const argument& a : c.args) {
      out += " " + std::to_string(a.ranged ? a.min : 0);
    }
    out += "\n";
  }
  return out;
}

}  // namespace

std::string manual_text(const std::vector<command>& commands, std::string page) {
  std::string out;
  for (const command& c : commands) {
    if (!is_record(c)) {
      continue;
    }
    out += ".TP\n.B " + c.name + "\n";
    for (const argument& a : c.args) {
      out += ".I " + a.name + "\n";
      if (a.ranged) {
        out += std::to_string(a.min) + " to " + std::to_string(a.max) + "\n";
      }
    }
    out += c.kind == command_kind::text ? ".I text\n" : "";
    out += ".br\n" + c.purpose + (c.level == command_level::super ? " (super user)" : "") +
           (c.level == command_level::unlisted ? " (dpp_shell only)" : "") + ".\n";
  }
  for (const auto& [mark, text] :
       {std::pair("@COMMANDS@\n", out), std::pair("@EXAMPLES@\n", examples_text(commands))}) {
    if (const size_t at = page.find(mark); at != std::string::npos) {
      page.replace(at, strlen(mark), text);
    }
  }
  return page;
}

}  // namespace cmd_gen
