#include "dpp_row.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "dpp_chip/dpp_card_guard.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_print.h"
#include "qlix_comm/check.h"
#include "qlix_comm/plural.h"

namespace {

constexpr uint32_t PRINT_SIZE = 1024;
constexpr uint32_t IDLE_LOOKS = 10;
constexpr useconds_t IDLE_WAIT_US = 1000;

/// A register instance that a step has read.
struct instance {
  uint32_t reg_no;
  uint32_t m;
  uint32_t n;
  uint32_t fields[DPP_REG_FIELD_MAX];

  uint64_t whole() const {
    uint64_t value = 0;
    const uint32_t* field = fields;
    for (const dpp_reg_field& f : dpp_reg_fields_get(*dpp_reg_info_get(reg_no))) {
      value |= uint64_t{*field++} << (f.msb_pos + 1 - f.len);
    }
    return value;
  }
};

/// One run of one row.
class row_runner {
 public:
  row_runner(uint32_t place, const DppCmdArgs& args, uint32_t depth)
      : named_(dpp_cmd_named_table[place]),
        record_(dpp_cmd_records[place]),
        row_(dpp_row_table[record_.index]),
        name_(dpp_cmd_text(record_.name)),
        writes_(args.writes),
        depth_(depth) {
    for (uint32_t i = 0; i < record_.arg_num; ++i) {
      slots_[i] = args.value[i];
      if (strcmp(dpp_cmd_text(dpp_cmd_args[record_.arg_first + i].name), "dev_id") == 0) {
        dev_id_ = args.value[i];
      }
    }
  }

  uint32_t run() {
    for (uint32_t at = 0; at < row_.step_num; ++at) {
      const dpp_row_step& step = dpp_row_steps[row_.step_first + at];
      read_num_ = 0;
      QLIX_COMM_PASS(step_run(step, at));
    }
    return QLIX_COMM_OK;
  }

  const dpp_row_verdicts& verdicts() const {
    return verdicts_;
  }

 private:
  qlix_comm_detail::source_place here(uint32_t line) const {
    return {dpp_cmd_text(named_.sheet), static_cast<int>(line), name_};
  }
  uint32_t failed(const dpp_row_step& step, uint32_t code, const char* callee) const {
    return code == QLIX_COMM_OK ? code : qlix_comm_detail::report_call(here(step.line), code, callee);
  }
  uint64_t number(const dpp_row_operand& o) const {
    return o.is_slot != 0 ? slots_[o.number] : o.number;
  }
  uint32_t index(const dpp_row_operand& o) const {
    return static_cast<uint32_t>(number(o));
  }

  // `at` is the place of the step and becomes that of the last step run.
  uint32_t step_run(const dpp_row_step& step, uint32_t& at) {
    const uint32_t m = index(step.at.m);
    const uint32_t n = index(step.at.n);
    switch (step.op) {
      case dpp_row_op::print:
        return print(step);
      case dpp_row_op::fields:
        return failed(step, dpp_reg_fields_print(dev_id_, step.at.reg_no, m, n), "dpp_reg_fields_print");
      case dpp_row_op::words:
        return failed(step, dpp_reg_print32(dev_id_, step.at.reg_no, m, n), "dpp_reg_print32");
      case dpp_row_op::loop:
        slots_[step.slot] = number(step.from);
        at = slots_[step.slot] > number(step.to) ? step.jump : at;
        return QLIX_COMM_OK;
      case dpp_row_op::end:
        return loop_again(step, at);
      case dpp_row_op::add:
        return total_add(step);
      case dpp_row_op::set:
        return set(step);
      case dpp_row_op::clear:
        return failed(step, dpp_reg_read_away(dev_id_, step.at.reg_no), "dpp_reg_read");
      case dpp_row_op::errors:
      case dpp_row_op::idle:
      case dpp_row_op::ready:
        return verdict(step);
      case dpp_row_op::summary:
        return summary(step);
      case dpp_row_op::run:
        return command_run(step);
      case dpp_row_op::call:
        return function_call(step);
    }
    return QLIX_COMM_OK;
  }

  uint32_t loop_again(const dpp_row_step& step, uint32_t& at) {
    const dpp_row_step& loop = dpp_row_steps[row_.step_first + step.jump];
    if (slots_[loop.slot] < number(loop.to)) {
      ++slots_[loop.slot];
      at = step.jump;
    }
    return QLIX_COMM_OK;
  }

  // A step reads each instance once: reading a counter again would find it cleared.
  uint32_t instance_read(const dpp_row_step& step, const dpp_row_place& place, const instance** out) {
    const uint32_t m = index(place.m);
    const uint32_t n = index(place.n);
    instance* const end = read_ + read_num_;
    instance* const found =
        std::find_if(read_, end, [&](const instance& i) { return i.reg_no == place.reg_no && i.m == m && i.n == n; });
    *out = found;
    if (found != end) {
      return QLIX_COMM_OK;
    }
    *found = {place.reg_no, m, n, {}};
    ++read_num_;
    return failed(step, dpp_reg_read(dev_id_, place.reg_no, m, n, found->fields), "dpp_reg_read");
  }

  /// The fields of the instance that the step names.
  uint32_t fields_read(const dpp_row_step& step, uint32_t* fields) const {
    return failed(
        step, dpp_reg_read(dev_id_, step.at.reg_no, index(step.at.m), index(step.at.n), {fields, DPP_REG_FIELD_MAX}),
        "dpp_reg_read");
  }

  uint32_t value_get(const dpp_row_step& step, const dpp_row_value& value, uint64_t& out) {
    if (value.kind == dpp_row_value_kind::number) {
      out = number(value.number);
      return QLIX_COMM_OK;
    }
    const instance* read = nullptr;
    const uint32_t code = instance_read(step, value.at, &read);
    out = value.kind == dpp_row_value_kind::whole ? read->whole() : read->fields[value.field];
    return code;
  }

  uint32_t values_get(const dpp_row_step& step, uint64_t* out) {
    for (uint32_t i = 0; i < step.value_num; ++i) {
      QLIX_COMM_PASS(value_get(step, dpp_row_values[step.value_first + i], out[i]));
    }
    return QLIX_COMM_OK;
  }

  uint32_t print(const dpp_row_step& step) {
    uint64_t values[DPP_ROW_PLACE_MAX];
    QLIX_COMM_PASS(values_get(step, values));
    char text[PRINT_SIZE];
    dpp_row_format(text, sizeof text, dpp_cmd_text(step.text), {values, step.value_num});
    QLIX_COMM_PRINT("%s", text);
    return QLIX_COMM_OK;
  }

  uint32_t total_add(const dpp_row_step& step) {
    uint64_t value = 0;
    const uint32_t code = value_get(step, dpp_row_values[step.value_first], value);
    slots_[step.slot] += value;
    return code;
  }

  uint32_t set(const dpp_row_step& step) {
    uint32_t fields[DPP_REG_FIELD_MAX] = {};
    DPP_CARD_GUARD(guard, dev_id_, dpp_reg_window_mutex(dev_id_, step.at.reg_no));
    QLIX_COMM_PASS(guard.status());
    if (step.value_num < dpp_reg_fields_get(*dpp_reg_info_get(step.at.reg_no)).size()) {
      QLIX_COMM_PASS(fields_read(step, fields));
    }
    for (uint32_t i = 0; i < step.value_num; ++i) {
      const dpp_row_value& value = dpp_row_values[step.value_first + i];
      fields[value.field] = index(value.number);
    }
    QLIX_COMM_PASS(failed(step, dpp_reg_write(dev_id_, step.at.reg_no, index(step.at.m), index(step.at.n), fields),
                          "dpp_reg_write"));
    if (writes_ != nullptr) {
      written_tell(step);
    }
    return QLIX_COMM_OK;
  }

  // The instance, and the fields that the step names.
  void written_tell(const dpp_row_step& step) const {
    const std::span<const dpp_reg_field> fields = dpp_reg_fields_get(*dpp_reg_info_get(step.at.reg_no));
    char text[PRINT_SIZE];
    item_name(step, text);
    for (uint32_t i = 0; i < step.value_num; ++i) {
      const dpp_row_value& value = dpp_row_values[step.value_first + i];
      const size_t length = strlen(text);
      snprintf(text + length, PRINT_SIZE - length, " %s=0x%x", dpp_reg_text_get(fields[value.field].name),
               index(value.number));
    }
    writes_->add(text);
  }

  // Work in progress is no fault: only what is still busy after several looks is reported.
  uint32_t busy_read(const dpp_row_step& step, uint32_t* fields) {
    const size_t field_num = dpp_reg_fields_get(*dpp_reg_info_get(step.at.reg_no)).size();
    std::fill_n(fields, field_num, UINT32_MAX);
    for (uint32_t look = 0; look < IDLE_LOOKS; ++look) {
      uint32_t now[DPP_REG_FIELD_MAX];
      QLIX_COMM_PASS(fields_read(step, now));
      bool busy = false;
      for (size_t i = 0; i < field_num; ++i) {
        fields[i] &= now[i];
        busy = busy || fields[i] != 0;
      }
      if (!busy) {
        break;
      }
      usleep(IDLE_WAIT_US);
    }
    return QLIX_COMM_OK;
  }

  uint32_t verdict(const dpp_row_step& step) {
    const dpp_row_op what = step.op;
    uint32_t fields[DPP_REG_FIELD_MAX];
    QLIX_COMM_PASS(what == dpp_row_op::idle ? busy_read(step, fields) : fields_read(step, fields));
    char bad[PRINT_SIZE];
    bad_fields_list(step.at.reg_no, fields, what == dpp_row_op::ready, bad);
    uint32_t& count = what == dpp_row_op::errors ? verdicts_.errors
                      : what == dpp_row_op::idle ? verdicts_.busy
                                                 : verdicts_.not_ready;
    ++verdicts_.items;
    count += bad[0] != '\0' ? 1 : 0;
    char item[PRINT_SIZE];
    item_name(step, item);
    if (bad[0] == '\0') {
      QLIX_COMM_PRINT("%-40s: OK\n", item);
    } else {
      const char* word = what == dpp_row_op::errors ? "ERROR" : what == dpp_row_op::idle ? "BUSY" : "NOT READY";
      QLIX_COMM_PRINT("%-40s: %s,%s\n", item, word, bad);
    }
    return QLIX_COMM_OK;
  }

  void item_name(const dpp_row_step& step, char (&out)[PRINT_SIZE]) const {
    dpp_reg_instance_name_get(*dpp_reg_info_get(step.at.reg_no), index(step.at.m), index(step.at.n), out);
  }

  // The fields that should not be as they are, each behind a blank.
  void bad_fields_list(uint32_t reg_no, const uint32_t* values, bool ready, char* out) const {
    size_t length = 0;
    out[0] = '\0';
    for (const dpp_reg_field& field : dpp_reg_fields_get(*dpp_reg_info_get(reg_no))) {
      const uint32_t all = field.len >= 32 ? UINT32_MAX : (1u << field.len) - 1;
      const uint32_t value = *values++;
      const bool bad = ready ? value != all : value != 0;
      if (bad && length + 2 < PRINT_SIZE) {
        length += static_cast<size_t>(snprintf(out + length, PRINT_SIZE - length, field.len == 1 ? " %s" : " %s=0x%x",
                                               dpp_reg_text_get(field.name), value));
      }
    }
  }

  uint32_t summary(const dpp_row_step& step) {
    const bool healthy = verdicts_.errors == 0 && verdicts_.not_ready == 0;
    QLIX_COMM_PRINT("%s: %u item%s, %u error%s, %u not ready, %u busy: %s\n", dpp_cmd_text(step.text), verdicts_.items,
                    qlix_comm_plural(verdicts_.items), verdicts_.errors, qlix_comm_plural(verdicts_.errors),
                    verdicts_.not_ready, verdicts_.busy, healthy ? "HEALTHY" : "NOT HEALTHY");
    return QLIX_COMM_OK;
  }

  uint32_t arguments_get(const dpp_row_step& step, DppCmdArgs& args) {
    uint64_t values[DPP_ROW_PLACE_MAX];
    QLIX_COMM_PASS(values_get(step, values));
    args.num = step.value_num;
    args.writes = writes_;
    std::transform(values, values + step.value_num, args.value, [](uint64_t v) { return static_cast<uint32_t>(v); });
    return QLIX_COMM_OK;
  }

  uint32_t function_call(const dpp_row_step& step) {
    DppCmdArgs args;
    QLIX_COMM_PASS(arguments_get(step, args));
    return failed(step, dpp_cmd_functions[step.slot].func(*dpp_cmd_get(0), args), dpp_cmd_text(step.text));
  }

  uint32_t command_run(const dpp_row_step& step) {
    DppCmdArgs args;
    QLIX_COMM_PASS(arguments_get(step, args));
    const DppCmdEntry* entry = dpp_cmd_get(step.text);
    const bool is_row = dpp_cmd_records[step.text].kind == dpp_cmd_kind::row;
    return failed(step, is_row ? dpp_row_run(step.text, args, verdicts_, depth_ + 1) : entry->func(*entry, args),
                  entry->name);
  }

  const dpp_cmd_named& named_;
  const dpp_cmd_record& record_;
  const dpp_row& row_;
  const char* name_;
  DppCmdWrites* writes_;
  uint32_t depth_;
  uint32_t dev_id_ = 0;
  uint64_t slots_[DPP_ROW_SLOT_MAX] = {};
  instance read_[DPP_ROW_PLACE_MAX];
  uint32_t read_num_ = 0;
  dpp_row_verdicts verdicts_;
};

}  // namespace

void dpp_row_verdicts::add(const dpp_row_verdicts& other) {
  items += other.items;
  errors += other.errors;
  not_ready += other.not_ready;
  busy += other.busy;
}

uint32_t dpp_row_run(uint32_t place, const DppCmdArgs& args, dpp_row_verdicts& verdicts, uint32_t depth) {
  QLIX_COMM_CHECK_INDEX_UPPER(depth, DPP_ROW_DEPTH_MAX);
  QLIX_COMM_PASS(dpp_cmd_ranges_check(place, args.value));
  row_runner runner(place, args, depth);
  const uint32_t code = runner.run();
  verdicts.add(runner.verdicts());
  return code;
}
