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

/// Reads one sheet line by line. The first fault of a line is told and takes the rest of the line away, so that reading
/// functions need not look whether they got what they asked for: what comes of a bad line is never used.
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
    failed_ = false;
    words_ = words_split(line).value_or(std::vector<word>(1));
    at_ = 0;
    require(words_.size() > 1, "a text is left open or a number is none");
    line.starts_with(' ') ? step_read() : command_read();
    require(peek().kind == word_kind::end, "too many words from '" + peek().text + "' on");
  }

  void finish() {
    command_end();
  }

 private:
  void require(bool holds, const std::string& otherwise) {
    if (!holds && !failed_) {
      out_.push_back({{file_, line_no_}, otherwise});
      failed_ = true;
      at_ = words_.size() - 1;
    }
  }
  const word& peek() const {
    return words_[at_];
  }
  bool take_sign(std::string_view sign) {
    const bool there = peek().kind == word_kind::sign && peek().text == sign;
    at_ += there ? 1 : 0;
    return there;
  }
  void need_sign(std::string_view sign) {
    require(take_sign(sign), "'" + std::string(sign) + "' is missing before '" + peek().text + "'");
  }
  const word& need(word_kind kind, const char* what) {
    require(peek().kind == kind, std::string(what) + " is missing before '" + peek().text + "'");
    return failed_ ? peek() : words_[at_++];
  }
  std::string need_name() {
    return need(word_kind::name, "a name").text;
  }
  std::string need_text() {
    return need(word_kind::text, "a text").text;
  }
  uint32_t need_number() {
    return need(word_kind::number, "a number").number;
  }
  /// The place of a word among those that may stand here.
  template <size_t N>
  uint32_t choice_of(const std::array<std::string_view, N>& choices, const std::string& text,
                     const std::string& otherwise) {
    const auto found = std::find(choices.begin(), choices.end(), text);
    require(found != choices.end(), otherwise);
    return found != choices.end() ? static_cast<uint32_t>(found - choices.begin()) : 0;
  }

  // Commands.

  void command_end() {
    if (!loops_.empty()) {
      out_.push_back({{file_, line_no_}, "a loop before this line has no end"});
    }
    loops_.clear();
    variables_.clear();
  }

  void command_read() {
    command_end();
    command made;
    made.at = {file_, line_no_};
    const std::string kind = need_name();
    made.kind = static_cast<command_kind>(choice_of(command_words, kind, "unknown kind of command '" + kind + "'"));
    made.name = need_name();
    if (made.kind == command_kind::missing) {
      const std::string level = need_name();
      made.level = level_of(level);
      require(made.level != command_level::untold, "'" + level + "' is no level");
    }
    while (peek().kind == word_kind::name) {
      argument_read(made);
    }
    require(made.args.size() <= args_max && (made.kind < command_kind::text || made.args.empty()),
            "too many arguments");
    if (!failed_) {
      commands_.push_back(std::move(made));
    }
  }

  void argument_read(command& made) {
    argument arg;
    arg.name = need_name();
    arg.ranged = take_sign("=");
    if (arg.ranged) {
      arg.min = need_number();
      need_sign("..");
      arg.max = need_number();
      require(arg.min <= arg.max, "the range of '" + arg.name + "' is empty");
    } else if (arg.name == "dev_id") {
      arg.ranged = true;
      arg.max = device_max;
    }
    variables_.push_back({arg.name, false, arg.ranged, arg.min, arg.max});
    made.args.push_back(std::move(arg));
  }

  // Steps.

  void step_read() {
    require(!commands_.empty(), "a step before the first command");
    if (failed_) {
      return;
    }
    command& owner = commands_.back();
    const std::string name = need_name();
    if (const command_level level = level_of(name); level != command_level::untold) {
      level_read(owner, level);
      return;
    }
    const std::string otherwise = "'" + name + "' is no step of this command";
    step made;
    made.what = static_cast<op>(choice_of(step_words, name, otherwise));
    made.line = line_no_;
    require(owner.kind == command_kind::row, otherwise);
    if (!failed_) {
      step_words_read(made, owner);
    }
    if (!failed_) {
      owner.steps.push_back(std::move(made));
    }
  }

  void level_read(command& owner, command_level level) {
    owner.level = level;
    if (peek().kind == word_kind::name && peek().text == "writes") {
      ++at_;
      owner.writes = true;
      require(owner.kind != command_kind::row, "the steps of a row tell what it writes");
    }
    owner.purpose = need_text();
  }

  void step_words_read(step& made, command& owner) {
    switch (made.what) {
      case op::print:
        return print_read(made);
      case op::fields:
      case op::words:
      case op::errors:
      case op::idle:
      case op::ready:
        made.at = place_read();
        return;
      case op::loop:
        return loop_read(made, owner);
      case op::end:
        return loop_end(made, owner);
      case op::add:
        return add_read(made);
      case op::set:
        return set_read(made);
      case op::clear:
        made.at.reg = register_read();
        return;
      case op::summary:
        made.text = need_text();
        return;
      case op::run:
      case op::call:
        made.text = need_name();
        return values_read(made, args_max);
    }
  }

  void print_read(step& made) {
    made.text = need_text();
    while (peek().kind == word_kind::text) {
      made.text += need_text();
    }
    values_read(made, places_max);
    const std::optional<std::vector<bool>> conversions = conversions_of(made.text);
    require(conversions.has_value(), "unknown conversion in the text");
    const size_t num = conversions ? conversions->size() : 0;
    require(num == made.values.size(), "the text has " + std::to_string(num) + " conversions for " +
                                           std::to_string(made.values.size()) + " values");
    for (size_t i = 0; i < num && !failed_; ++i) {
      require(is_wide(made.values[i]) == (*conversions)[i],
              "value " + std::to_string(i + 1) + " and its conversion differ in width");
    }
  }

  bool is_wide(const value& v) const {
    return (v.kind == value_kind::whole && regs_[v.at.reg].width > 4) ||
           (v.kind == value_kind::number && v.number.variable && variables_[v.number.number].total);
  }

  void loop_read(step& made, const command& owner) {
    const std::string name = need_name();
    need_sign("=");
    made.from = operand_read();
    need_sign("..");
    made.to = operand_read();
    const bool bounded = is_bounded(made.from) && is_bounded(made.to);
    made.slot = variable_add({name, false, bounded, least(made.from), most(made.to)});
    if (!failed_) {
      loops_.push_back(owner.steps.size());
    }
  }

  void loop_end(step& made, command& owner) {
    require(!loops_.empty(), "an end without a loop");
    if (failed_) {
      return;
    }
    made.jump = static_cast<uint32_t>(loops_.back());
    step& loop = owner.steps[loops_.back()];
    loop.jump = static_cast<uint32_t>(owner.steps.size());
    variables_[loop.slot].name.clear();  // the name ends with the loop
    loops_.pop_back();
  }

  void add_read(step& made) {
    const std::string name = need_name();
    const auto found = variable_find(name);
    require(found == variables_.end() || found->total, "'" + name + "' is no total");
    made.slot = found == variables_.end() ? variable_add({name, true, false, 0, 0})
                                          : static_cast<uint32_t>(found - variables_.begin());
    values_read(made, 1);
    require(made.values.size() == 1, "a value is missing");
  }

  void set_read(step& made) {
    made.at = place_read();
    while (peek().kind == word_kind::name) {
      value set;
      set.field = field_read(made.at.reg);
      need_sign("=");
      set.number = operand_read();
      made.values.push_back(set);
    }
    require(!made.values.empty(), "a field is missing");
  }

  // Values and places.

  std::vector<variable>::iterator variable_find(const std::string& name) {
    return std::find_if(variables_.begin(), variables_.end(), [&](const variable& v) { return v.name == name; });
  }
  uint32_t variable_add(variable made) {
    require(variable_find(made.name) == variables_.end(), "'" + made.name + "' stands for something else already");
    require(variables_.size() < slots_max, "too many names in this command");
    if (!failed_) {
      variables_.push_back(std::move(made));
    }
    return static_cast<uint32_t>(variables_.size()) - 1;
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

  operand operand_read() {
    if (peek().kind == word_kind::number) {
      return {false, need_number()};
    }
    const std::string name = need_name();
    const auto found = variable_find(name);
    require(found != variables_.end(), "unknown name '" + name + "'");
    return failed_ ? operand() : operand{true, static_cast<uint32_t>(found - variables_.begin())};
  }

  uint32_t register_read() {
    const std::string name = need_name();
    const auto found = numbers_.find(name);
    require(found != numbers_.end(), "unknown register '" + name + "'");
    return failed_ ? 0 : found->second;
  }

  operand index_read(uint32_t size, const std::string& name) {
    need_sign("[");
    const operand index = operand_read();
    need_sign("]");
    require(is_bounded(index), "the index of '" + name + "' has no range");
    // A word of the user's reaches every instance; loops may walk a part.
    const bool is_word = index.variable && index.number < commands_.back().args.size();
    require(is_word ? most(index) == size - 1 : most(index) < size,
            "the index of '" + name + "' goes up to " + std::to_string(most(index)) + ", the register ends at " +
                std::to_string(size - 1));
    return index;
  }

  place place_read() {
    place made;
    made.reg = register_read();
    const reg_gen::reg& r = regs_[made.reg];
    if ((r.array_type & 2) != 0) {
      made.m = index_read(r.m_size, r.name);
    }
    if (r.array_type != 0) {
      made.n = index_read(r.n_size, r.name);
    }
    return made;
  }

  uint32_t field_read(uint32_t reg) {
    const std::string name = need_name();
    const std::vector<reg_gen::field>& fields = regs_[reg].fields;
    const auto found = std::find_if(fields.begin(), fields.end(), [&](const auto& f) { return f.name == name; });
    require(found != fields.end(), "register '" + regs_[reg].name + "' has no field '" + name + "'");
    require(failed_ || found->len <= 32, "field '" + name + "' has more than 32 bits");
    return static_cast<uint32_t>(found - fields.begin());
  }

  value value_read() {
    value made;
    if (peek().kind == word_kind::number || variable_find(peek().text) != variables_.end()) {
      made.number = operand_read();
      return made;
    }
    made.at = place_read();
    if (take_sign(".")) {
      made.kind = value_kind::field;
      made.field = field_read(made.at.reg);
    } else {
      made.kind = value_kind::whole;
      require(regs_[made.at.reg].width <= 8, "the register has more than 8 bytes");
    }
    return made;
  }

  void values_read(step& made, size_t max) {
    while (peek().kind == word_kind::name || peek().kind == word_kind::number) {
      made.values.push_back(value_read());
    }
    require(made.values.size() <= max, "too many values");
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
  bool failed_ = false;
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
