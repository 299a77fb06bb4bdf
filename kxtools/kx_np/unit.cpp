// Checks and counters are found in the register description by name: *_init_done holds its reset value in a block that
// is ready, *_int_status is 0 in one without errors, *_cnt and *_num count.
#include "kx_np/unit.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>

#include "common/card_memory.h"
#include "common/report.h"
#include "dpp_diag/dpp_trpg.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_info.h"
#include "dpp_reg/dpp_reg_types.h"
#include "kx_np/cmd.h"
#include "kx_np/np_init.h"

namespace {

constexpr uint64_t NP_SIZE = 0x2001000;    // up to the last doorbell
constexpr uint64_t PORT_BLOCK = 0x400000;  // of the port block in the register space
constexpr uint64_t PORT_BLOCK_SIZE = 0x30000;

constexpr uint32_t WORDS_MAX = DPP_REG_WIDTH_MAX / 4;
constexpr uint32_t COUNTER_WORDS_MAX = 2;
constexpr uint32_t PORT_LINK_UP = 1u << 31;

/// One instance of a register and what it holds.
struct reading {
  const dpp_reg_info* info;
  uint32_t m;
  uint32_t n;
  uint32_t words[WORDS_MAX];

  std::span<const uint32_t> all_words() const {
    return {words, info->width / 4};
  }
  // What lies behind a window has no address in card memory: 0.
  uint64_t address() const {
    uint32_t place = 0;
    const bool windowed = info->access == DPP_REG_ACCESS_TM || info->access == DPP_REG_ACCESS_SE_ALG;
    return !windowed && dpp_reg_get_reg_addr(info->reg_no, m, n, &place) == 0 ? KX_CARD_NP + place : 0;
  }
  /// Bits of a field of at most 64 bits; word 0 holds the register's highest bits.
  uint64_t field_get(const dpp_reg_field& field) const {
    uint64_t value = 0;
    for (uint32_t bit = field.msb_pos + 1; bit-- > field.msb_pos + 1u - field.len;) {
      value = value << 1 | (words[info->width / 4 - 1 - bit / 32] >> bit % 32 & 1);
    }
    return value;
  }
};

std::string_view name_of(const dpp_reg_info& info) {
  return dpp_reg_text_get(info.name);
}

bool is_port_register(const dpp_reg_info& info) {
  return name_of(info).starts_with("trpg_");
}

bool is_ready_register(const dpp_reg_info& info) {
  return name_of(info).ends_with("_init_done");
}

bool is_state(const dpp_reg_info& info) {
  return info.field_num != 0 && dpp_reg_fields_get(info)[0].flag == 0;
}

bool is_check(const dpp_reg_info& info) {
  return is_ready_register(info) || name_of(info).ends_with("_int_status") ||
         info.reg_no == dpp_regs::trpg_port_status_info::NUMBER;
}

bool is_counter(const dpp_reg_info& info) {
  const std::string_view name = name_of(info);
  return (name.ends_with("_cnt") || name.ends_with("_num")) && is_state(info) && info.width <= 4 * COUNTER_WORDS_MAX;
}

// Counts of the packet path start again from 0 with each read; the buffer block's pointer counts are levels.
bool is_cleared_by_read(const dpp_reg_info& info) {
  const std::string_view name = name_of(info);
  return name.ends_with("_cnt") && is_state(info) && !(name.starts_with("pbu_") && name.ends_with("_ptr_cnt"));
}

bool is_in_list(kxtools_unit_list list, const dpp_reg_info& info) {
  switch (list) {
    case kxtools_unit_list::checks:
      return is_check(info);
    case kxtools_unit_list::counters:
      return is_counter(info);
    case kxtools_unit_list::registers:
      return true;
    case kxtools_unit_list::steady_counters:
      return is_counter(info) && !is_cleared_by_read(info);
    case kxtools_unit_list::steady_registers:
      return !is_cleared_by_read(info);
    case kxtools_unit_list::cleared:
      return is_cleared_by_read(info);
  }
  return false;
}

// Of checks and counters the ports that there are, of registers every instance.
bool is_whole(kxtools_unit_list list) {
  return list == kxtools_unit_list::registers || list == kxtools_unit_list::steady_registers ||
         list == kxtools_unit_list::cleared;
}

std::string instance_name(const reading& read) {
  char name[128];
  dpp_reg_instance_name_get(*read.info, read.m, read.n, name);
  return name;
}

// The fields that are not 0.
std::string fields_text(const reading& read) {
  std::string text;
  for (const dpp_reg_field& field : dpp_reg_fields_get(*read.info)) {
    const uint64_t value = field.len <= 64 ? read.field_get(field) : 0;
    if (value != 0) {
      text += text.empty() ? "" : ", ";
      text += dpp_reg_text_get(field.name);
      if (field.len > 1) {
        text += ' ';
        text += std::to_string(value);
      }
    }
  }
  return text;
}

// The parts of a block that are not ready.
std::string unready_text(const reading& read) {
  std::string text;
  for (const dpp_reg_field& field : dpp_reg_fields_get(*read.info)) {
    if (read.field_get(field) != field.default_value) {
      text += text.empty() ? "not ready: " : ", ";
      text += dpp_reg_text_get(field.name);
    }
  }
  return text;
}

/// Hands one value to the caller's visitor; false ends the visit.
class value_teller {
 public:
  value_teller(kxtools_unit_list list, kxtools_unit_visitor visitor, void* self)
      : list_(list), visitor_(visitor), self_(self) {}

  bool tell(const reading& read) const {
    switch (list_) {
      case kxtools_unit_list::checks:
        return tell_check(read);
      case kxtools_unit_list::counters:
      case kxtools_unit_list::steady_counters:
        return tell_counters(read);
      case kxtools_unit_list::registers:
      case kxtools_unit_list::steady_registers:
        return tell_value(read, instance_name(read), read.all_words(), "", true);
      case kxtools_unit_list::cleared:
        return tell_value(read, instance_name(read), {}, "", true);
    }
    return false;
  }

 private:
  bool tell_value(const reading& read, const std::string& name, std::span<const uint32_t> words,
                  const std::string& note, bool good) const {
    return visitor_(self_, {name.c_str(), read.address(), words, note.c_str(), good});
  }

  // A port without a cable is no failure.
  bool tell_check(const reading& read) const {
    if (read.info->reg_no == dpp_regs::trpg_port_status_info::NUMBER) {
      const bool up = (read.words[0] & PORT_LINK_UP) != 0;
      return tell_value(read, instance_name(read), read.all_words(), up ? fields_text(read) : "link down", true);
    }
    const std::string note = is_ready_register(*read.info) ? unready_text(read) : fields_text(read);
    return tell_value(read, instance_name(read), read.all_words(), note, note.empty());
  }

  // Two halves are one counter; other fields of a register count on their own.
  bool tell_counters(const reading& read) const {
    const std::span<const dpp_reg_field> fields = dpp_reg_fields_get(*read.info);
    if (fields.size() == 1 || read.info->width > 4) {
      return tell_value(read, instance_name(read), read.all_words(), "", true);
    }
    for (const dpp_reg_field& field : fields) {
      const uint32_t words[] = {static_cast<uint32_t>(read.field_get(field))};
      if (!tell_value(read, instance_name(read) + "." + dpp_reg_text_get(field.name), words, "", true)) {
        return false;
      }
    }
    return true;
  }

  kxtools_unit_list list_;
  kxtools_unit_visitor visitor_;
  void* self_;
};

uint32_t instances(const dpp_reg_info& info) {
  const uint64_t number = dpp_reg_instance_num_get(info);
  return number <= KXTOOLS_UNIT_ARRAY_MAX ? static_cast<uint32_t>(number) : 0;
}

bool is_chosen(kxtools_unit_list list, bool ports, const dpp_reg_info& info) {
  return dpp_reg_is_described(info) && is_port_register(info) == ports && is_in_list(list, info);
}

// Registers are dumped whole; what has no port is neither checked nor counted.
bool is_chosen_instance(kxtools_unit_list list, const dpp_reg_info& info, uint32_t instance) {
  return is_whole(list) || !is_port_register(info) || info.array_type == 0 ||
         std::find(std::begin(DPP_TRPG_USED_PORTS), std::end(DPP_TRPG_USED_PORTS), instance) !=
             std::end(DPP_TRPG_USED_PORTS);
}

uint32_t values_count(kxtools_unit_list list, bool ports) {
  uint32_t number = 0;
  for (uint32_t reg_no = 0; reg_no < DPP_REG_NUM; ++reg_no) {
    const dpp_reg_info* info = dpp_reg_info_get(reg_no);
    for (uint32_t i = 0; is_chosen(list, ports, *info) && i < instances(*info); ++i) {
      number += is_chosen_instance(list, *info, i) ? 1 : 0;
    }
  }
  return number;
}

int32_t register_visit(kxtools_unit_list list, const dpp_reg_info& info, const value_teller& teller, bool* goes_on) {
  const uint32_t columns = std::max(1u, (info.array_type & DPP_REG_BINARY_ARRAY) != 0 ? info.n_size : instances(info));
  for (uint32_t i = 0; i < instances(info) && *goes_on; ++i) {
    if (!is_chosen_instance(list, info, i)) {
      continue;
    }
    reading read = {.info = &info, .m = i / columns, .n = i % columns};
    if (list != kxtools_unit_list::cleared &&
        dpp_reg_words_read(KX_NP_DEVICE, info.reg_no, read.m, read.n, read.words) != 0) {
      KXTOOLS_ERR("%s cannot be read\n", instance_name(read).c_str());
      return -1;
    }
    *goes_on = teller.tell(read);
  }
  return 0;
}

int32_t values_visit(kxtools_unit_list list, bool ports, kxtools_unit_visitor visitor, void* self) {
  const value_teller teller(list, visitor, self);
  bool goes_on = true;
  for (uint32_t reg_no = 0; reg_no < DPP_REG_NUM && goes_on; ++reg_no) {
    const dpp_reg_info* info = dpp_reg_info_get(reg_no);
    if (is_chosen(list, ports, *info) && register_visit(list, *info, teller, &goes_on) != 0) {
      return -1;
    }
  }
  return 0;
}

constexpr kxtools_unit_window NP_WINDOWS[] = {{0, KX_CARD_NP, NP_SIZE}};
constexpr kxtools_unit_window PORT_WINDOWS[] = {{0, KX_CARD_NP + PORT_BLOCK, PORT_BLOCK_SIZE}};

}  // namespace

constinit const kxtools_unit kxnp_unit = {
    .name = "np",
    .title = "network processor",
    .open = kxnp_dev_init,
    .count = [](kxtools_unit_list list) { return values_count(list, false); },
    .visit = [](kxtools_unit_list list, kxtools_unit_visitor visitor,
                void* self) { return values_visit(list, false, visitor, self); },
    .windows = NP_WINDOWS,
};

constinit const kxtools_unit kxnp_port_unit = {
    .name = "pcsmac",
    .title = "network ports, as the port block (trpg) tells",
    .open = kxnp_dev_init,
    .count = [](kxtools_unit_list list) { return values_count(list, true); },
    .visit = [](kxtools_unit_list list, kxtools_unit_visitor visitor,
                void* self) { return values_visit(list, true, visitor, self); },
    .windows = PORT_WINDOWS,
};
