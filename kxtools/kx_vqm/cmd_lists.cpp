// The static lists of commands. A command that has no function of its own shows and sets the registers that the
// description holds for it; one without registers there does not compile.
#include <algorithm>
#include <array>
#include <string_view>

#include "cmd_item.h"
#include "commands.h"
#include "registers.h"

namespace {

constexpr uint8_t EVERYONE = 0;
constexpr uint8_t SUPER = 1;

constexpr std::string_view HELP_OF_DESCRIPTION = "*";

/// One row of a list as it is written here.
struct item_row {
  std::string_view name;
  uint8_t permission = EVERYONE;
  std::string_view help = HELP_OF_DESCRIPTION;
  kxtools_cmd_handler handler = nullptr;  ///< null: the command shows or sets registers of the description
};

consteval item_row own(std::string_view name, uint8_t permission, kxtools_cmd_handler handler,
                       std::string_view help = {}) {
  return {name, permission, help, handler};
}

template <size_t N>
class text_builder {
 public:
  constexpr explicit text_builder(char (&text)[N]) : text_(text) {}
  constexpr void add(std::string_view part) {
    for (const char c : part) {
      text_[length_++] = c;
    }
    // Reached with N: an index out of range, which the compiler refuses.
    text_[length_] = '\0';
  }

 private:
  char (&text_)[N];
  size_t length_ = 0;
};

// What words the description lets a command take: the index of an array and one value for each register that is set.
consteval void describe_words(text_builder<sizeof vqm_cmd_item::help>* help,
                              std::span<const kx_register_description> rows) {
  std::string_view index;
  for (const kx_register_description& row : rows) {
    index = row.index.length != 0 ? VQM_REGISTERS.view(row.index) : index;
  }
  if (!index.empty()) {
    help->add("+ [");
    help->add(index);
    help->add("]");
  }
  std::string_view open = index.empty() ? "(+ [" : " (+ [";
  for (const kx_register_description& row : rows) {
    if (row.access == kx_register_access::rw) {
      help->add(open);
      help->add(VQM_REGISTERS.view(row.name));
      open = "] [";
    }
  }
  if (open == "] [") {
    help->add("])");
  }
}

consteval bool is_of(std::string_view list, std::string_view group, std::string_view name) {
  return group.empty() ? list == name
                       : list.size() == group.size() + 1 + name.size() && list.starts_with(group) &&
                             list[group.size()] == '.' && list.ends_with(name);
}

/// The registers of the description that belong to the command; the compiler refuses a command without any.
consteval void find_registers(vqm_cmd_item* item, std::string_view group, std::string_view name) {
  const std::span<const kx_register_description> rows = VQM_REGISTERS.registers;
  uint32_t first = 0;
  while (!is_of(VQM_REGISTERS.view(rows[first].list), group, name)) {
    ++first;
  }
  uint32_t end = first;
  while (end < rows.size() && is_of(VQM_REGISTERS.view(rows[end].list), group, name)) {
    ++end;
  }
  item->reference = first;
  item->word = end - first;
}

template <uint32_t WordsBack, size_t N>
consteval std::array<vqm_cmd_item, N> make_items(std::string_view group, const item_row (&rows)[N]) {
  std::array<vqm_cmd_item, N> items = {};
  for (size_t i = 0; i < N; ++i) {
    vqm_cmd_item& item = items[i];
    text_builder(item.name).add(rows[i].name);
    item.permission = rows[i].permission;
    item.handler = rows[i].handler;
    text_builder help(item.help);
    if (rows[i].handler == nullptr) {
      item.handler = vqm_cmd_adapter<vqm_registers_run, WordsBack>;
      find_registers(&item, group, rows[i].name);
    }
    if (rows[i].help != HELP_OF_DESCRIPTION) {
      help.add(rows[i].help);
    } else {
      describe_words(&help, VQM_REGISTERS.registers.subspan(item.reference, item.word));
    }
  }
  return items;
}

/// A command that shows several lists of the description.
consteval item_row summary(std::string_view name, uint8_t permission) {
  for (std::string_view lists = vqm_summary_lists(name);;) {
    const std::string_view list = lists.substr(0, lists.find(' '));
    // Past the end of an empty list, which the compiler refuses.
    static_cast<void>(VQM_REGISTERS.list(list)[0]);
    if (list.size() == lists.size()) {
      return own(name, permission, vqm_cmd_adapter<vqm_summary_show, 1>);
    }
    lists.remove_prefix(list.size() + 1);
  }
}

constexpr auto short_module_cmds = make_items<1>("", {
                                                         summary("rd", EVERYONE),
                                                         summary("rx", EVERYONE),
                                                         summary("rxst", EVERYONE),
                                                         summary("tx", EVERYONE),
                                                         summary("txst", EVERYONE),
                                                         summary("rxtop", SUPER),
                                                         summary("txctrl", SUPER),
                                                         summary("pktst", SUPER),
                                                         summary("msix", SUPER),
                                                         summary("usedbuff", SUPER),
                                                         summary("msixst", SUPER),
                                                         summary("qfcst", SUPER),
                                                         summary("used_ring_st", SUPER),
                                                         summary("int", SUPER),
                                                         summary("version", SUPER),
                                                         own("vqm_clear", SUPER, vqm_cmd_adapter<vqm_clear, 1>),
                                                         summary("status", EVERYONE),
                                                         summary("show_alarm", EVERYONE),
                                                         summary("show_config", EVERYONE),
                                                         summary("res_state", SUPER),
                                                         summary("aximle", SUPER),
                                                         summary("ost", SUPER),
                                                         own("show_all", SUPER, vqm_cmd_adapter<vqm_all_show, 1>),
                                                         own("check_vqm", EVERYONE, vqm_cmd_adapter<vqm_check, 1>),
                                                         summary("bdf", SUPER),
                                                     });

constexpr auto two_stage_cmds = make_items<1>(
    "", {
            own("vf", EVERYONE, vqm_cmd_adapter<two_stage_vf_stat, 1>, "vf port stat info by vf_id  + [vfid]"),
            {"enqs", SUPER, ""},
            {"qp", SUPER, "qpair stat info by q_id  + [qp_id]"},
            {"vring", EVERYONE, "vring info by q_id  + [qp_id]"},
            own("debug", SUPER, vqm_cmd_adapter<vqm_debug, 1>, "debug info show/open/closes"),
            {"rdesc_sel", SUPER, ""},
            {"idtrans_sel", SUPER, ""},
            own("vqm_print_zero", SUPER, vqm_cmd_adapter<vqm_print_zero, 1>, "set if print zero_info + [0/1]"),
            // The walk answers with the first entry of a name: this one is listed, never reached.
            {"ost", SUPER, ""},
        });

/// The name of a group, for templates.
template <size_t N>
struct group_name {
  char text[N];
  consteval group_name(const char (&name)[N]) {
    std::copy_n(name, N, text);
  }
  consteval std::string_view view() const {
    return {text, N - 1};
  }
};

/// The command's name when `row` is the first register of a list of the group, else empty.
constexpr std::string_view command_of(std::string_view group, size_t row) {
  const auto list_of = [](size_t at) { return VQM_REGISTERS.view(VQM_REGISTERS.registers[at].list); };
  const std::string_view list = list_of(row);
  const bool inside = list.starts_with(group) && list.substr(group.size()).starts_with('.');
  return inside && (row == 0 || list_of(row - 1) != list) ? list.substr(group.size() + 1) : std::string_view();
}

consteval size_t command_count(std::string_view group) {
  size_t count = 0;
  for (size_t row = 0; row < VQM_REGISTERS.registers.size(); ++row) {
    count += command_of(group, row).empty() ? 0 : 1;
  }
  return count;
}

/// The commands of a group as the description has them: a list is a command.
template <group_name Group>
consteval auto described_items() {
  constexpr size_t count = command_count(Group.view());
  item_row rows[count];
  size_t next = 0;
  for (size_t row = 0; row < VQM_REGISTERS.registers.size(); ++row) {
    if (const std::string_view name = command_of(Group.view(), row); !name.empty()) {
      rows[next++] = {name, VQM_REGISTERS.registers[row].super ? SUPER : EVERYONE};
    }
  }
  return make_items<2>(Group.view(), rows);
}

template <group_name Group>
constexpr auto items_of = described_items<Group>();

template <>
constexpr auto items_of<"glb"> = [] {
  auto items = described_items<"glb">();
  items[0].handler = vqm_cmd_adapter<glb_print_version, 2>;
  items[1].handler = vqm_cmd_adapter<glb_print_date, 2>;
  return items;
}();

// The registers of the commands of the same names in no group.
template <>
constexpr auto items_of<"cnt"> = make_items<2>("", {
                                                       own("vf", EVERYONE, vqm_cmd_adapter<cnt_vf_stat, 2>, "+ [vfid]"),
                                                       {"enqs", SUPER},
                                                       {"qp", SUPER},
                                                   });

template <>
constexpr auto items_of<"barchan"> = make_items<2>(
    "", {
            own("bind_bdf", SUPER, vqm_cmd_adapter<barchan_bind_bdf, 2>, "+ [bdf]"),
            own("send_ovs_msg", SUPER, vqm_cmd_adapter<barchan_send_ovs_msg, 2>, "+ [event_id] [word] ..."),
        });

template <group_name Group>
consteval vqm_module group() {
  vqm_module made = {.items = items_of<Group>.data(), .count = items_of<Group>.size(), .permission = EVERYONE};
  text_builder(made.name).add(Group.view());
  return made;
}

constexpr auto vqm_modules = std::to_array<vqm_module>({
    group<"glb">(),
    group<"host">(),
    group<"rdesc">(),
    group<"qman">(),
    group<"qfc">(),
    group<"bman">(),
    group<"tx_aximr">(),
    group<"rx_aximw">(),
    group<"wr_used_vring">(),
    group<"trpg">(),
    group<"hot">(),
    group<"cnt">(),
    {"others", nullptr, 0, EVERYONE},
    group<"axim">(),
    group<"MODE">(),
    group<"barchan">(),
});

static_assert(short_module_cmds.size() == 25 && two_stage_cmds.size() == 9 && vqm_modules.size() == 16);

}  // namespace

std::span<const vqm_cmd_item> vqm_short_module_cmds() {
  return short_module_cmds;
}

std::span<const vqm_cmd_item> vqm_two_stage_cmds() {
  return two_stage_cmds;
}

std::span<const vqm_module> vqm_module_list() {
  return vqm_modules;
}
