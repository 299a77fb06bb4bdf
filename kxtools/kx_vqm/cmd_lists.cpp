// The static lists of commands. A command that has no function of its own shows and sets the registers that the
// description holds for it; one without registers there does not compile.
#include <algorithm>
#include <array>
#include <numeric>
#include <string_view>

#include "cmd_item.h"
#include "commands.h"
#include "registers.h"

namespace {

constexpr uint8_t EVERYONE = 0;
constexpr uint8_t SUPER = 1;

/// One row of a list as it is written here. Without a function of its own the command shows or sets registers of the
/// description; without a help text it has the words that these take, or none.
struct item_row {
  std::string_view name;
  uint8_t permission = EVERYONE;
  kxtools_cmd_handler handler = nullptr;
  const char* lists = "";
  const char* purpose = "";
  const char* help = nullptr;
  std::string_view list = {};  ///< of the description, when it is not its name
};

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
  const kx_register_description* array = vqm_array_of(rows);
  if (array != nullptr) {
    help->add("+ [");
    help->add(VQM_REGISTERS.view(array->index));
    help->add("]");
  }
  std::string_view open = array == nullptr ? "(+ [" : " (+ [";
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

template <uint32_t WordsBack, size_t N>
consteval std::array<vqm_cmd_item, N> make_items(const item_row (&rows)[N]) {
  std::array<vqm_cmd_item, N> items = {};
  for (size_t i = 0; i < N; ++i) {
    vqm_cmd_item& item = items[i];
    text_builder(item.name).add(rows[i].name);
    item.permission = rows[i].permission;
    item.handler = rows[i].handler;
    item.lists = rows[i].lists;
    item.purpose = rows[i].purpose;
    vqm_lists_visit(rows[i].lists, [](std::string_view list) { return VQM_REGISTERS.list(list)[0].width != 0; });
    if (rows[i].handler == nullptr) {
      item.handler = vqm_cmd_adapter<vqm_registers_run, WordsBack>;
      const auto registers = VQM_REGISTERS.list(rows[i].list.empty() ? rows[i].name : rows[i].list);
      item.reference = static_cast<uint64_t>(&registers[0] - VQM_REGISTERS.registers.data());
      item.word = static_cast<uint32_t>(registers.size());
    }
    text_builder help(item.help);
    if (rows[i].help != nullptr) {
      help.add(rows[i].help);
    } else if (rows[i].handler == nullptr) {
      describe_words(&help, VQM_REGISTERS.registers.subspan(item.reference, item.word));
    }
  }
  return items;
}

constexpr kxtools_cmd_handler SUMMARY = vqm_cmd_adapter<vqm_summary_show, 1>;

constexpr auto short_module_cmds = make_items<1>({
    {"rd", EVERYONE, SUMMARY, "rdesc.state rdesc.arbitor_state rdesc.packed_mode rdesc.split_mode"},
    {"rx", EVERYONE, SUMMARY, "trpg.rx"},
    {"rxst", EVERYONE, SUMMARY, "trpg.rxst"},
    {"tx", EVERYONE, SUMMARY, "trpg.tx"},
    {"txst", EVERYONE, SUMMARY, "trpg.txst"},
    {"rxtop", SUPER, SUMMARY, "trpg.rxtop"},
    {"txctrl", SUPER, SUMMARY, "trpg.txctrl"},
    {"pktst", SUPER, SUMMARY, "trpg.pktst"},
    {"msix", SUPER, SUMMARY, "wr_used_vring.msix_buff"},
    {"usedbuff", SUPER, SUMMARY, "wr_used_vring.ring_buff"},
    {"msixst", SUPER, SUMMARY, "wr_used_vring.msix_st"},
    {"qfcst", SUPER, SUMMARY, "wr_used_vring.qfc_st"},
    {"used_ring_st", SUPER, SUMMARY, "rx_aximw.used_st wr_used_vring.ring_buff"},
    {"int", SUPER, SUMMARY, "glb.int_st glb.cq_int_event glb.cq_int_mask axim.ier axim.imr"},
    {"version", SUPER, SUMMARY, "glb.version glb.date", "Shows the version of the engine"},
    {"vqm_clear", SUPER, vqm_cmd_adapter<vqm_clear, 1>, "", "Clears every counter that can be cleared"},
    {"status", EVERYONE, SUMMARY,
     "glb.int_st glb.oam host.oam_st rdesc.state qman.hard_st qfc.oam rx_aximw.work_st tx_aximr.topst"},
    {"show_alarm", EVERYONE, SUMMARY, "glb.alarm_int_event host.alarm_st rdesc.desc_alarm_event rdesc.desc_alarm_st"},
    {"show_config", EVERYONE, SUMMARY,
     "glb.test_mode host.device_num_queues host.vq_num_max qman.vqm_aging_en qman.qe_free_th "
     "qman.desc_ctrl_reg qman.rx_max_limit qman.tx_qman_limit qfc.sys_clk qfc.fc_us_num qfc.qman_aging_t "
     "qfc.desc_link_max bman.qafull_cfg wr_used_vring.qageing"},
    {"res_state", SUPER, SUMMARY, "bman.cnt bman.buff bman.qeid_st rdesc.split_link_num"},
    {"aximle", SUPER, SUMMARY, "axim.wpeir axim.rpeir rdesc.aximr_err_cnt_oam"},
    {"ost", SUPER, SUMMARY, "ost"},
    {"show_all", SUPER, vqm_cmd_adapter<vqm_all_show, 1>, "", "Shows every register that is in no array"},
    // What must be 0 in a healthy engine.
    {"check_vqm", EVERYONE, vqm_cmd_adapter<vqm_check, 1>,
     "glb.int_st glb.cq_int_event glb.alarm_int_event host.alarm_st rdesc.desc_alarm_event "
     "rdesc.aximr_err_cnt_oam rdesc.desc_len_err_oam bman.pkt_discard_cnt trpg.pktst axim.wpeir axim.rpeir",
     "Tells which error and alarm registers are not 0"},
    {"bdf", SUPER, SUMMARY, "bdf"},
});

constexpr char VF_PURPOSE[] = "Shows what a virtual function (0..1192, or all) sent, received and dropped";

constexpr auto two_stage_cmds = make_items<1>({
    {"vf", EVERYONE, vqm_cmd_adapter<two_stage_vf_stat, 1>, "", VF_PURPOSE, "vf port stat info by vf_id  + [vfid]"},
    {.name = "enqs", .permission = SUPER, .help = ""},
    {.name = "qp", .permission = SUPER, .help = "qpair stat info by q_id  + [qp_id]"},
    {.name = "vring", .help = "vring info by q_id  + [qp_id]"},
    {"debug", SUPER, vqm_cmd_adapter<vqm_debug, 1>, "", "Shows the debug registers, or opens or closes them",
     "debug info show/open/closes"},
    {.name = "rdesc_sel", .permission = SUPER, .help = ""},
    {.name = "idtrans_sel", .permission = SUPER, .help = ""},
    {"vqm_print_zero", SUPER, vqm_cmd_adapter<vqm_print_zero, 1>, "",
     "Chooses whether fields that are 0 are printed (1) or not (0)", "set if print zero_info + [0/1]"},
    // The walk answers with the first entry of a name: this one is listed, never reached.
    {.name = "ost", .permission = SUPER, .help = ""},
});

// The registers of the commands of the same names in no group.
constexpr auto CNT_CMDS = make_items<2>({
    {"vf", EVERYONE, vqm_cmd_adapter<two_stage_vf_stat, 2>, "", VF_PURPOSE, "+ [vfid]"},
    {"enqs", SUPER},
    {"qp", SUPER},
});

constexpr auto BARCHAN_CMDS = make_items<2>({
    {"bind_bdf", SUPER, vqm_cmd_adapter<barchan_bind_bdf, 2>, "",
     "Chooses the function whose mailbox send_ovs_msg uses", "+ [bdf]"},
    {"send_ovs_msg", SUPER, vqm_cmd_adapter<barchan_send_ovs_msg, 2>, "",
     "Sends a message to the card's virtual switch and shows the reply", "+ [event_id] [word] ..."},
});

constexpr std::string_view list_of(size_t row) {
  return VQM_REGISTERS.view(VQM_REGISTERS.registers[row].list);
}

/// Whether the register is the first of a list of a group, "group.command".
constexpr bool begins_command(size_t row) {
  return list_of(row).find('.') != std::string_view::npos && (row == 0 || list_of(row - 1) != list_of(row));
}

consteval size_t described_num() {
  size_t num = 0;
  for (size_t row = 0; row < VQM_REGISTERS.registers.size(); ++row) {
    num += begins_command(row) ? 1 : 0;
  }
  return num;
}

/// The commands of all groups as the description has them: a list is a command.
consteval auto described_items() {
  item_row rows[described_num()];
  size_t next = 0;
  for (size_t row = 0; row < VQM_REGISTERS.registers.size(); ++row) {
    if (begins_command(row)) {
      const std::string_view list = list_of(row);
      rows[next++] = {.name = list.substr(list.find('.') + 1),
                      .permission = VQM_REGISTERS.registers[row].super ? SUPER : EVERYONE,
                      .list = list};
    }
  }
  auto items = make_items<2>(rows);
  items[0].handler = vqm_cmd_adapter<glb_print_version, 2>;
  items[1].handler = vqm_cmd_adapter<glb_print_date, 2>;
  return items;
}
constexpr auto DESCRIBED_CMDS = described_items();

consteval vqm_module group(std::string_view name, std::span<const vqm_cmd_item> items) {
  vqm_module made = {.items = items.data(), .count = static_cast<uint32_t>(items.size()), .permission = EVERYONE};
  text_builder(made.name).add(name);
  return made;
}

consteval vqm_module group(std::string_view name) {
  const auto belongs = [name](const vqm_cmd_item& item) {
    return list_of(item.reference).starts_with(name) && list_of(item.reference)[name.size()] == '.';
  };
  const auto first = std::find_if(DESCRIBED_CMDS.begin(), DESCRIBED_CMDS.end(), belongs);
  return group(name, std::span(first, std::find_if_not(first, DESCRIBED_CMDS.end(), belongs)));
}

constexpr auto VQM_MODULES = std::to_array<vqm_module>({
    group("glb"),
    group("host"),
    group("rdesc"),
    group("qman"),
    group("qfc"),
    group("bman"),
    group("tx_aximr"),
    group("rx_aximw"),
    group("wr_used_vring"),
    group("trpg"),
    group("hot"),
    group("cnt", CNT_CMDS),
    group("others", {}),
    group("axim"),
    group("MODE"),
    group("barchan", BARCHAN_CMDS),
});

// The lists of a group stand together: nothing of the description is left out.
static_assert(std::accumulate(VQM_MODULES.begin(), VQM_MODULES.end(), size_t{0},
                              [](size_t sum, const vqm_module& module) { return sum + module.count; }) ==
              DESCRIBED_CMDS.size() + CNT_CMDS.size() + BARCHAN_CMDS.size());
static_assert(short_module_cmds.size() == 25 && two_stage_cmds.size() == 9 && VQM_MODULES.size() == 16);

}  // namespace

std::span<const vqm_cmd_item> vqm_short_module_cmds() {
  return short_module_cmds;
}

std::span<const vqm_cmd_item> vqm_two_stage_cmds() {
  return two_stage_cmds;
}

std::span<const vqm_module> vqm_module_list() {
  return VQM_MODULES;
}
