#include "cmd_sheet.h"

#include <algorithm>
#include <array>
#include <optional>
#include <unordered_map>

#include "cmd_words.h"
#include "csv.h"

namespace cmd_gen {

namespace {

constexpr std::array<std::string_view, 5> command_words = {"command", "function", "text", "shell", "missing"};
constexpr std::array<std::string_view, 4> level_words = {"", "everyone", "super", "unlisted"};
constexpr std::array<std::string_view, 14> step_words = {"print", "fields", "words", "loop",  "end",     "add", "set",
                                                         "clear", "errors", "idle",  "ready", "summary", "run", "call"};

command_level level_of(std::string_view word) {
  const auto found = std::find(level_words.begin() + 1, level_words.end(), word);
  return found == level_words.end() ? command_level::untold : static_cast<command_level>(found - level_words.begin());
}

/// What a name of a row stands for.
struct variable {
  std::string name;
  bool total = false;
  bool bounded = false;
  uint32_t min = 0;
  uint32_t max = 0;
};

/// Reads one sheet line by line. Every reading function says what is wrong and leaves the line at the first fault.
class sheet_reader {
 public:
  sheet_reader(const std::string& file, const std::vector<reg_gen::reg>& regs, std::vector<command>& commands,
               complaints& out)
      : file_(file), regs_(regs), commands_(commands), out_(out) {
    for (const reg_gen::reg& r : regs) {
      numbers_[r.name] = r.number;
    }
  }

  void line_read(uint32_t line_no, std::string_view line) {
    line_no_ = line_no;
    const bool indented = line.starts_with(' ');
    std::optional<std::vector<word>> words = words_split(line);
    if (!words) {
      complain("a text is left open or a number is none");
      return;
    }
    words_ = std::move(*words);
    at_ = 0;
    const bool good = indented ? step_read() : command_read();
    if (good && peek().kind != word_kind::end) {
      complain("too many words from '" + peek().text + "' on");
    }
  }

  void finish() {
    command_end();
  }

 private:
  bool complain(const std::string& text) {
    out_.push_back({{file_, line_no_}, text});
    return false;
  }
  const word& peek() const {
    return words_[at_];
  }
  bool take_sign(std::string_view sign) {
    if (peek().kind != word_kind::sign || peek().text != sign) {
      return false;
    }
    ++at_;
    return true;
  }
  bool need_sign(std::string_view sign) {
    return take_sign(sign) || complain("'" + std::string(sign) + "' is missing before '" + peek().text + "'");
  }
  bool need_name(std::string& name) {
    if (peek().kind != word_kind::name) {
      return complain("a name is missing before '" + peek().text + "'");
    }
    name = words_[at_++].text;
    return true;
  }
  bool need_text(std::string& text) {
    if (peek().kind != word_kind::text) {
      return complain("a text is missing before '" + peek().text + "'");
    }
    text = words_[at_++].text;
    return true;
  }
  bool need_number(uint32_t& number) {
    if (peek().kind != word_kind::number) {
      return complain("a number is missing before '" + peek().text + "'");
    }
    number = words_[at_++].number;
    return true;
  }

  // Commands.

  void command_end() {
    if (!loops_.empty()) {
      complain("a loop before this line has no end");
    }
    loops_.clear();
    variables_.clear();
  }

  bool command_read() {
    command_end();
    std::string kind;
    command made;
    if (!need_name(kind)) {
      return false;
    }
    const auto found = std::find(command_words.begin(), command_words.end(), kind);
    if (found == command_words.end()) {
      return complain("unknown kind of command '" + kind + "'");
    }
    made.at = {file_, line_no_};
    made.kind = static_cast<command_kind>(found - command_words.begin());
    if (!need_name(made.name)) {
      return false;
    }
    if (made.kind == command_kind::missing) {
      return missing_read(made);
    }
    while (peek().kind == word_kind::name) {
      if (!argument_read(made)) {
        return false;
      }
    }
    if (made.args.size() > args_max || (made.kind >= command_kind::text && !made.args.empty())) {
      return complain("too many arguments");
    }
    commands_.push_back(std::move(made));
    return true;
  }

  bool missing_read(command& made) {
    std::string level;
    if (!need_name(level)) {
      return false;
    }
    made.level = level_of(level);
    commands_.push_back(made);
    return made.level != command_level::untold || complain("'" + level + "' is no level");
  }

  bool argument_read(command& made) {
    argument arg;
    arg.name = words_[at_++].text;
    if (take_sign("=")) {
      arg.ranged = true;
      if (!need_number(arg.min) || !need_sign("..") || !need_number(arg.max)) {
        return false;
      }
      if (arg.min > arg.max) {
        return complain("the range of '" + arg.name + "' is empty");
      }
    } else if (arg.name == "dev_id") {
      arg.ranged = true;
      arg.max = device_max;
    }
    variables_.push_back({arg.name, false, arg.ranged, arg.min, arg.max});
    made.args.push_back(std::move(arg));
    return true;
  }

  // Steps.

  bool step_read() {
    if (commands_.empty()) {
      return complain("a step before the first command");
    }
    command& owner = commands_.back();
    std::string name;
    if (!need_name(name)) {
      return false;
    }
    if (level_of(name) != command_level::untold) {
      return level_read(owner, level_of(name));
    }
    const auto found = std::find(step_words.begin(), step_words.end(), name);
    if (found == step_words.end() || owner.kind != command_kind::row) {
      return complain("'" + name + "' is no step of this command");
    }
    step made;
    made.what = static_cast<op>(found - step_words.begin());
    made.line = line_no_;
    if (!step_words_read(made, owner)) {
      return false;
    }
    owner.steps.push_back(std::move(made));
    return true;
  }

  bool level_read(command& owner, command_level level) {
    owner.level = level;
    if (peek().kind == word_kind::name && peek().text == "writes") {
      ++at_;
      owner.writes = true;
      if (owner.kind == command_kind::row) {
        return complain("the steps of a row tell what it writes");
      }
    }
    return need_text(owner.purpose);
  }

  bool step_words_read(step& made, command& owner) {
    switch (made.what) {
      case op::print:
        return print_read(made);
      case op::fields:
      case op::words:
      case op::errors:
      case op::idle:
      case op::ready:
        return place_read(made.at);
      case op::loop:
        return loop_read(made, owner);
      case op::end:
        return loop_end(made, owner);
      case op::add:
        return add_read(made);
      case op::set:
        return set_read(made);
      case op::clear:
        return register_read(made.at.reg);
      case op::summary:
        return need_text(made.text);
      case op::run:
      case op::call:
        return need_name(made.text) && values_read(made, args_max);
    }
    return false;
  }

  bool print_read(step& made) {
    if (!need_text(made.text)) {
      return false;
    }
    while (peek().kind == word_kind::text) {
      made.text += words_[at_++].text;
    }
    if (!values_read(made, places_max)) {
      return false;
    }
    const std::optional<std::vector<bool>> conversions = conversions_of(made.text);
    if (!conversions) {
      return complain("unknown conversion in the text");
    }
    if (conversions->size() != made.values.size()) {
      return complain("the text has " + std::to_string(conversions->size()) + " conversions for " +
                      std::to_string(made.values.size()) + " values");
    }
    for (size_t i = 0; i < made.values.size(); ++i) {
      if (is_wide(made.values[i]) != (*conversions)[i]) {
        return complain("value " + std::to_string(i + 1) + " and its conversion differ in width");
      }
    }
    return true;
  }

  bool is_wide(const value& v) const {
    return (v.kind == value_kind::whole && regs_[v.at.reg].width > 4) ||
           (v.kind == value_kind::number && v.number.variable && variables_[v.number.number].total);
  }

  bool loop_read(step& made, const command& owner) {
    std::string name;
    if (!need_name(name) || !need_sign("=") || !operand_read(made.from) || !need_sign("..") || !operand_read(made.to)) {
      return false;
    }
    const bool bounded = is_bounded(made.from) && is_bounded(made.to);
    return variable_add({name, false, bounded, least(made.from), most(made.to)}, made.slot) &&
           (loops_.push_back(owner.steps.size()), true);
  }

  bool loop_end(step& made, command& owner) {
    if (loops_.empty()) {
      return complain("an end without a loop");
    }
    made.jump = static_cast<uint32_t>(loops_.back());
    step& loop = owner.steps[loops_.back()];
    loop.jump = static_cast<uint32_t>(owner.steps.size());
    variables_[loop.slot].name.clear();  // the name ends with the loop
    loops_.pop_back();
    return true;
  }

  bool add_read(step& made) {
    std::string name;
    if (!need_name(name)) {
      return false;
    }
    const auto found = variable_find(name);
    if (found == variables_.end()) {
      if (!variable_add({name, true, false, 0, 0}, made.slot)) {
        return false;
      }
    } else if (!found->total) {
      return complain("'" + name + "' is no total");
    } else {
      made.slot = static_cast<uint32_t>(found - variables_.begin());
    }
    return values_read(made, 1) && (made.values.size() == 1 || complain("a value is missing"));
  }

  bool set_read(step& made) {
    if (!place_read(made.at)) {
      return false;
    }
    while (peek().kind == word_kind::name) {
      value set;
      if (!field_read(made.at.reg, set.field) || !need_sign("=") || !operand_read(set.number)) {
        return false;
      }
      made.values.push_back(set);
    }
    return !made.values.empty() || complain("a field is missing");
  }

  // Values and places.

  std::vector<variable>::iterator variable_find(const std::string& name) {
    return std::find_if(variables_.begin(), variables_.end(), [&](const variable& v) { return v.name == name; });
  }
  bool variable_add(variable made, uint32_t& slot) {
    if (variable_find(made.name) != variables_.end()) {
      return complain("'" + made.name + "' stands for something else already");
    }
    if (variables_.size() == slots_max) {
      return complain("too many names in this command");
    }
    slot = static_cast<uint32_t>(variables_.size());
    variables_.push_back(std::move(made));
    return true;
  }
  bool is_bounded(const operand& o) const {
    return !o.variable || variables_[o.number].bounded;
  }
  uint32_t least(const operand& o) const {
    return o.variable ? variables_[o.number].min : o.number;
  }
  uint32_t most(const operand& o) const {
    return o.variable ? variables_[o.number].max : o.number;
  }

  bool operand_read(operand& out) {
    if (peek().kind == word_kind::number) {
      out = {false, words_[at_++].number};
      return true;
    }
    std::string name;
    if (!need_name(name)) {
      return false;
    }
    const auto found = variable_find(name);
    if (found == variables_.end()) {
      return complain("unknown name '" + name + "'");
    }
    out = {true, static_cast<uint32_t>(found - variables_.begin())};
    return true;
  }

  bool register_read(uint32_t& reg) {
    std::string name;
    if (!need_name(name)) {
      return false;
    }
    const auto found = numbers_.find(name);
    if (found == numbers_.end()) {
      return complain("unknown register '" + name + "'");
    }
    reg = found->second;
    return true;
  }

  bool index_read(operand& out, uint32_t size, const std::string& name) {
    if (!need_sign("[") || !operand_read(out) || !need_sign("]")) {
      return false;
    }
    if (!is_bounded(out)) {
      return complain("the index of '" + name + "' has no range");
    }
    // A word of the user's reaches every instance; loops may walk a part.
    const bool is_word = out.variable && out.number < commands_.back().args.size();
    const bool fits = is_word ? most(out) == size - 1 : most(out) < size;
    return fits || complain("the index of '" + name + "' goes up to " + std::to_string(most(out)) +
                            ", the register ends at " + std::to_string(size - 1));
  }

  bool place_read(place& out) {
    if (!register_read(out.reg)) {
      return false;
    }
    const reg_gen::reg& r = regs_[out.reg];
    return ((r.array_type & 2) == 0 || index_read(out.m, r.m_size, r.name)) &&
           (r.array_type == 0 || index_read(out.n, r.n_size, r.name));
  }

  bool field_read(uint32_t reg, uint32_t& field) {
    std::string name;
    if (!need_name(name)) {
      return false;
    }
    const std::vector<reg_gen::field>& fields = regs_[reg].fields;
    const auto found = std::find_if(fields.begin(), fields.end(), [&](const auto& f) { return f.name == name; });
    if (found == fields.end()) {
      return complain("register '" + regs_[reg].name + "' has no field '" + name + "'");
    }
    field = static_cast<uint32_t>(found - fields.begin());
    return found->len <= 32 || complain("field '" + name + "' has more than 32 bits");
  }

  bool value_read(value& out) {
    if (peek().kind == word_kind::number || variable_find(peek().text) != variables_.end()) {
      return operand_read(out.number);
    }
    if (!place_read(out.at)) {
      return false;
    }
    if (take_sign(".")) {
      out.kind = value_kind::field;
      return field_read(out.at.reg, out.field);
    }
    out.kind = value_kind::whole;
    return regs_[out.at.reg].width <= 8 || complain("the register has more than 8 bytes");
  }

  bool values_read(step& made, size_t max) {
    while (peek().kind == word_kind::name || peek().kind == word_kind::number) {
      value next;
      if (!value_read(next)) {
        return false;
      }
      made.values.push_back(next);
    }
    return made.values.size() <= max || complain("too many values");
  }

  const std::string& file_;
  const std::vector<reg_gen::reg>& regs_;
  std::vector<command>& commands_;
  complaints& out_;
  std::unordered_map<std::string, uint32_t> numbers_;
  std::vector<variable> variables_;  // by slot
  std::vector<size_t> loops_;        // steps of the loops that are open
  std::vector<word> words_;
  size_t at_ = 0;
  uint32_t line_no_ = 0;
};

}  // namespace

void sheet_read(const std::string& file, std::string_view text, const std::vector<reg_gen::reg>& regs,
                std::vector<command>& commands, complaints& out) {
  sheet_reader reader(file, regs, commands, out);
  std::string_view part;
  std::string line;
  for (uint32_t line_no = 1; reg_gen::csv_next_line(text, part); ++line_no) {
    line += part;
    if (line.ends_with('\\')) {
      line.back() = ' ';
      continue;
    }
    const size_t first = line.find_first_not_of(" \t");
    if (first != std::string::npos && line[first] != '#') {
      reader.line_read(line_no, line);
    }
    line.clear();
  }
  reader.finish();
}

void commands_check(const std::vector<command>& commands, complaints& out) {
  std::unordered_map<std::string, const command*> names;
  for (const command& c : commands) {
    if (!names.try_emplace(c.name, &c).second) {
      out.push_back({c.at, "command '" + c.name + "' stands twice"});
    }
  }
  for (const command& c : commands) {
    for (const step& s : c.steps) {
      if (s.what == op::run && !names.contains(s.text)) {
        out.push_back({{c.at.file, s.line}, "unknown command '" + s.text + "'"});
      }
    }
  }
}

void levels_check(const std::vector<command>& commands, complaints& out) {
  for (const command& c : commands) {
    if (c.level == command_level::untold) {
      out.push_back({c.at, "command '" + c.name + "' does not tell who may use it and what it is for"});
    }
  }
}

}  // namespace cmd_gen
