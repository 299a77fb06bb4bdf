#include "cmd_sheet.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <optional>
#include <unordered_map>

#include "cmd_words.h"
#include "csv.h"

namespace cmd_gen {

namespace {

// By the kind of command, level or step; "" is none that a sheet names.
constexpr std::array<std::string_view, 7> COMMAND_WORDS = {"command", "function", "text", "shell", "", "", "missing"};
constexpr std::array<std::string_view, 3> LEVEL_WORDS = {"everyone", "super", "unlisted"};
constexpr std::array<std::string_view, 14> STEP_WORDS = {"print", "fields", "words", "loop",  "",        "add", "set",
                                                         "clear", "errors", "idle",  "ready", "summary", "run", "call"};

bool is_level(std::string_view word) {
  return std::find(LEVEL_WORDS.begin(), LEVEL_WORDS.end(), word) != LEVEL_WORDS.end();
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
    const size_t indent = line.find_first_not_of(' ');
    indent != 0 ? step_read(indent) : command_read();
    require(peek().kind == word_kind::end, "too many words from '" + peek().text + "' on");
  }

  void finish() {
    failed_ = false;
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
    loops_end(0);
    variables_.clear();
  }

  void command_read() {
    command_end();
    command made;
    made.at = {file_, line_no_};
    const std::string kind = need_name();
    if (kind == "fields") {
      shown_read(made);
    } else {
      made.kind = static_cast<command_kind>(choice_of(COMMAND_WORDS, kind, "unknown kind of command '" + kind + "'"));
      made.name = need_name();
      while (peek().kind == word_kind::name && !is_level(peek().text)) {
        argument_read(made);
      }
    }
    level_read(made);
    require(made.args.size() <= ARGS_MAX && (made.kind < command_kind::text || made.args.empty()),
            "too many arguments");
    if (!failed_) {
      commands_.push_back(std::move(made));
    }
  }

  /// A row of one step, which prints an instance of a register: the arguments are its indexes.
  void shown_read(command& made) {
    made.name = need_name();
    argument_add(made, {"dev_id", true, 0, DEVICE_MAX});
    step fields;
    fields.what = op::fields;
    fields.line = line_no_;
    fields.at = place_of([&](const std::string&, uint32_t size) { return index_argument_read(made, size); });
    made.steps.push_back(std::move(fields));
  }
  operand index_argument_read(command& made, uint32_t size) {
    need_sign("[");
    argument_add(made, {need_name(), true, 0, size - 1});
    need_sign("]");
    return {1, static_cast<uint32_t>(made.args.size()) - 1};
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
      arg.max = DEVICE_MAX;
    }
    argument_add(made, std::move(arg));
  }
  void argument_add(command& made, argument arg) {
    variables_.push_back({arg.name, false, arg.ranged, arg.min, arg.max});
    made.args.push_back(std::move(arg));
  }

  /// Who may use the command and what it is for.
  void level_read(command& made) {
    made.level = static_cast<command_level>(
        choice_of(LEVEL_WORDS, peek().text, "command '" + made.name + "' does not tell who may use it"));
    at_ += failed_ ? 0 : 1;
    if (made.kind == command_kind::missing) {
      return;
    }
    if (peek().kind == word_kind::name && peek().text == "writes") {
      ++at_;
      made.writes = true;
      require(made.kind != command_kind::row, "the steps of a row tell what it writes");
    }
    made.purpose = need_text();
  }

  // Steps.

  void step_read(size_t indent) {
    require(!commands_.empty(), "a step before the first command");
    require(indent % 2 == 0 && indent / 2 <= loops_.size() + 1, "the step is indented too far");
    if (failed_) {
      return;
    }
    loops_end(indent / 2 - 1);
    command& owner = commands_.back();
    const std::string name = need_name();
    if (name == "health" && owner.kind == command_kind::row) {
      return health_read(owner);
    }
    const std::string otherwise = "'" + name + "' is no step of this command";
    step made;
    made.what = static_cast<op>(choice_of(STEP_WORDS, name, otherwise));
    made.line = line_no_;
    require(owner.kind == command_kind::row, otherwise);
    if (!failed_) {
      step_words_read(made, owner);
    }
    if (!failed_) {
      owner.steps.push_back(std::move(made));
    }
  }

  /// The verdicts on a block by its registers' names: ready, without errors, idle.
  void health_read(command& owner) {
    const std::string block = need_name();
    for (const auto& [what, end] :
         {std::pair(op::ready, "_init_done"), std::pair(op::errors, "_int_status"), std::pair(op::idle, "_busy")}) {
      step made;
      made.what = what;
      made.line = line_no_;
      made.at.reg_no = register_find(block + end);
      require(regs_[made.at.reg_no].array_type == 0, "'" + block + end + "' is an array");
      owner.steps.push_back(std::move(made));
    }
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
        return;
      case op::add:
        return add_read(made);
      case op::set:
        return set_read(made);
      case op::clear:
        made.at.reg_no = register_read();
        return;
      case op::summary:
        made.text = need_text();
        return;
      case op::run:
      case op::call:
        made.text = need_name();
        return values_read(made, ARGS_MAX);
    }
  }

  void print_read(step& made) {
    made.text = need_text();
    while (peek().kind == word_kind::text) {
      made.text += need_text();
    }
    values_read(made, DPP_ROW_PLACE_MAX);
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
    return (v.kind == value_kind::whole && regs_[v.at.reg_no].width > 4) ||
           (v.kind == value_kind::number && v.number.is_slot != 0 && variables_[v.number.number].total);
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

  /// Ends loops until `left` are open.
  void loops_end(size_t left) {
    for (; loops_.size() > left; loops_.pop_back()) {
      std::vector<step>& steps = commands_.back().steps;
      step& loop = steps[loops_.back()];
      loop.jump = static_cast<uint32_t>(steps.size());
      variables_[loop.slot].name.clear();  // the name ends with the loop
      require(loop.jump > loops_.back() + 1, "a loop before this line has no steps");
      step end;
      end.what = op::end;
      end.line = loop.line;
      end.jump = static_cast<uint32_t>(loops_.back());
      steps.push_back(std::move(end));
    }
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
    while (peek().kind == word_kind::name || peek().text == "*") {
      const std::vector<uint32_t> fields = fields_read(made.at.reg_no);
      need_sign("=");
      value set;
      set.number = operand_read();
      for (const uint32_t field : fields) {
        set.field = field;
        made.values.push_back(set);
      }
    }
    require(!made.values.empty(), "a field is missing");
  }

  // Values and places.

  std::vector<variable>::iterator variable_find(const std::string& name) {
    return std::find_if(variables_.begin(), variables_.end(), [&](const variable& v) { return v.name == name; });
  }
  uint32_t variable_add(variable made) {
    require(variable_find(made.name) == variables_.end(), "'" + made.name + "' stands for something else already");
    require(variables_.size() < DPP_ROW_SLOT_MAX, "too many names in this command");
    if (!failed_) {
      variables_.push_back(std::move(made));
    }
    return static_cast<uint32_t>(variables_.size()) - 1;
  }
  bool is_bounded(const operand& o) const {
    return o.is_slot == 0 || variables_[o.number].bounded;
  }
  uint32_t least(const operand& o) const {
    return o.is_slot != 0 ? variables_[o.number].min : o.number;
  }
  uint32_t most(const operand& o) const {
    return o.is_slot != 0 ? variables_[o.number].max : o.number;
  }

  operand operand_read() {
    if (peek().kind == word_kind::number) {
      return {0, need_number()};
    }
    const std::string name = need_name();
    const auto found = variable_find(name);
    require(found != variables_.end(), "unknown name '" + name + "'");
    return failed_ ? operand() : operand{1, static_cast<uint32_t>(found - variables_.begin())};
  }

  uint32_t register_read() {
    return register_find(need_name());
  }
  uint32_t register_find(const std::string& name) {
    const auto found = numbers_.find(name);
    require(found != numbers_.end(), "unknown register '" + name + "'");
    return failed_ ? 0 : found->second;
  }

  operand index_read(const std::string& name, uint32_t size) {
    need_sign("[");
    const operand index = operand_read();
    need_sign("]");
    require(is_bounded(index), "the index of '" + name + "' has no range");
    // A word of the user's reaches every instance; loops may walk a part.
    const bool is_word = index.is_slot != 0 && index.number < commands_.back().args.size();
    require(is_word ? most(index) == size - 1 : most(index) < size,
            "the index of '" + name + "' goes up to " + std::to_string(most(index)) + ", the register ends at " +
                std::to_string(size - 1));
    return index;
  }

  /// A register with what `index` reads for each of its dimensions.
  template <typename Index>
  place place_of(Index index) {
    place made;
    made.reg_no = register_read();
    const reg_gen::reg& r = regs_[made.reg_no];
    if ((r.array_type & 2) != 0) {
      made.m = index(r.name, r.m_size);
    }
    if (r.array_type != 0) {
      made.n = index(r.name, r.n_size);
    }
    return made;
  }
  place place_read() {
    return place_of([this](const std::string& name, uint32_t size) { return index_read(name, size); });
  }

  uint32_t field_read(uint32_t reg) {
    const std::string name = need_name();
    const std::vector<reg_gen::field>& fields = regs_[reg].fields;
    const auto found = std::find_if(fields.begin(), fields.end(), [&](const auto& f) { return f.name == name; });
    require(found != fields.end(), "register '" + regs_[reg].name + "' has no field '" + name + "'");
    return failed_ ? 0 : static_cast<uint32_t>(found - fields.begin());
  }

  /// A field, or "*" for all of the register.
  std::vector<uint32_t> fields_read(uint32_t reg) {
    std::vector<uint32_t> fields;
    if (take_sign("*")) {
      fields.resize(regs_[reg].fields.size());
      std::iota(fields.begin(), fields.end(), 0u);
    } else {
      fields.push_back(field_read(reg));
    }
    for (const uint32_t field : fields) {
      const reg_gen::field& f = regs_[reg].fields[field];
      require(f.len <= 32, "field '" + f.name + "' has more than 32 bits");
    }
    return fields;
  }

  void value_read(std::vector<value>& values) {
    value made;
    if (peek().kind == word_kind::number || variable_find(peek().text) != variables_.end()) {
      made.number = operand_read();
      return values.push_back(made);
    }
    made.at = place_read();
    if (!take_sign(".")) {
      made.kind = value_kind::whole;
      require(regs_[made.at.reg_no].width <= 8, "the register has more than 8 bytes");
      return values.push_back(made);
    }
    made.kind = value_kind::field;
    for (const uint32_t field : fields_read(made.at.reg_no)) {
      made.field = field;
      values.push_back(made);
    }
  }

  void values_read(step& made, size_t max) {
    while (peek().kind == word_kind::name || peek().kind == word_kind::number) {
      value_read(made.values);
    }
    require(made.values.size() <= max, "too many values");
  }

  const std::string& file_;
  const std::vector<reg_gen::reg>& regs_;
  std::vector<command>& commands_;
  complaints& out_;
  std::unordered_map<std::string, uint32_t> numbers_;
  std::vector<variable> variables_;  // by slot
  std::vector<size_t> loops_;        // steps of the loops that are open, each inside the one before
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

}  // namespace cmd_gen
