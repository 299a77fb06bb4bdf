// The module's commands and how they are run.
#include <array>
#include <cstring>
#include <string>

#include "actions.h"
#include "command.h"
#include "common/nearest.h"
#include "common/report.h"
#include "kx_pcie/config_space.h"
#include "kx_pcie/tunnel.h"
#include "kx_pcie_cmd/cmd.h"
#include "kxtools/cmd.h"
#include "reports.h"

namespace {

constexpr uint8_t READS = 0;
constexpr uint8_t WRITES = 1;

constexpr kxpcie_command report_row(const char* name, const char* help, kxpcie_report_fn report) {
  return {name, help, READS, 0, 0, nullptr, report};
}

// Name, help, permission, fewest and most words, what runs it.
constexpr kxpcie_command ROWS[] = {
    {"devmem", "devmem <address> [words]: words of card memory", READS, 1, 2, kxpcie_devmem},
    {"devmem_write",
     "devmem_write <address> <value> [mask] [--verify]: writes a word of card memory, or reads it back too", WRITES, 2,
     3, kxpcie_devmem_write},
    {"addr_dump", "addr_dump <address> <bytes> [file]: dump of card memory", READS, 2, 3, kxpcie_addr_dump},
    {"dbi_read", "dbi_read <controller 0-4> <offset> [words]: a controller's view of its configuration space", READS, 2,
     3, kxpcie_dbi_read},
    {"csr_read", "csr_read <controller 0-4> <offset> [words]: a controller's control and status registers", READS, 2, 3,
     kxpcie_csr_read},
    {"tunnel_mode", "tunnel_mode [access <0-3> | secure <0-1>]: shows or sets how card memory is accessed", WRITES, 0,
     2, kxpcie_tunnel_mode},
    {"cfg_read", "cfg_read <offset> [1|2|4]: a register of configuration space", READS, 1, 2, kxpcie_cfg_read},
    {"cfg_write", "cfg_write <offset> <value> [1|2|4]: writes a register of configuration space", WRITES, 2, 3,
     kxpcie_cfg_write},
    {"cfg_dump", "cfg_dump [offset] [bytes]: dump of configuration space", READS, 0, 2, kxpcie_cfg_dump},
    report_row("cap_list", "cap_list: capabilities", kxpcie_cap_list),
    report_row("ecap_list", "ecap_list: extended capabilities", kxpcie_ecap_list),
    report_row("bar_list", "bar_list: BARs with address, size and kind", kxpcie_bar_list),
    {"bar_read", "bar_read <bar> <offset> [words]: words of a BAR", READS, 2, 3, kxpcie_bar_read},
    {"bar_write", "bar_write <bar> <offset> <value> [--verify]: writes a word of a BAR, or reads it back too", WRITES,
     3, 3, kxpcie_bar_write},
    {"bar_dump", "bar_dump <bar> <offset> <bytes> [file]: dump of a BAR", READS, 3, 4, kxpcie_bar_dump},
    report_row("msix_dump", "msix_dump: MSI-X table and pending bits", kxpcie_msix_dump),
    report_row("msi_dump", "msi_dump: MSI address, data, mask and pending bits", kxpcie_msi_dump),
    report_row("aer_dump", "aer_dump: recorded errors by name, masks, severities, header log", kxpcie_aer_dump),
    {"aer_clear", "aer_clear: clears the recorded errors, masks stay", WRITES, 0, 0, kxpcie_aer_clear},
    report_row("dev_status", "dev_status: device status and control by name", kxpcie_dev_status),
    report_row("link_status", "link_status: speed and width against what the link can do", kxpcie_link_status),
    report_row("eq_status", "eq_status: equalisation phases and presets by lane", kxpcie_eq_status),
    {"retrain", "retrain: trains the link anew", WRITES, 0, 0, kxpcie_retrain},
    {"margin", "margin [lane|all] [ms]: margins of the card's receivers, ms at each step", WRITES, 0, 2, kxpcie_margin},
    {"eye", "eye <lane> [ms]: margins of a lane, drawn timing by voltage", WRITES, 1, 2, kxpcie_eye},
    report_row("sriov", "sriov: virtual functions and ARI", kxpcie_sriov),
    report_row("power", "power: power state", kxpcie_power),
    {"flr", "flr <function>: resets the bound function, whose address confirms it", WRITES, 1, 1, kxpcie_flr},
    report_row("vpd_dump", "vpd_dump: product data", kxpcie_vpd_dump),
    report_row("smmu", "smmu: address translation services and the host's IOMMU group", kxpcie_smmu),
    {"black_box", "black_box <file>: all of the above that only reads, and configuration space, into a file", READS, 1,
     1, kxpcie_black_box},
};
constexpr uint32_t COMMANDS = std::size(ROWS);

bool function_get(kxtools_sbdf* sbdf) {
  *sbdf = pcie_bound_sbdf_get();
  if (*sbdf == KXTOOLS_SBDF_NONE) {
    kx_print("It does not bind to any pcie device,Please bind kx device!\n");
    return false;
  }
  bool answers = false;
  if (pcie_function_answers(*sbdf, &answers) != 0) {
    return false;
  }
  if (!answers) {
    kx_print("[PCIe] the card does not answer, its configuration space reads all ones!\n");
    return false;
  }
  return true;
}

const kxpcie_command* command_find(const char* name) {
  for (const kxpcie_command& row : ROWS) {
    if (strcmp(row.name, name) == 0) {
      return &row;
    }
  }
  return nullptr;
}

// The words without an option, which may only be the last one. False with a message when it is another one.
bool option_check(const kxpcie_command& command, kxpcie_words* words) {
  if (words->empty() || strncmp(words->back(), "--", 2) != 0) {
    return true;
  }
  if (strstr(command.help, KXPCIE_VERIFY) == nullptr) {
    kx_error_print("kxtool: '%s' is no word of %s, which takes no options\n", words->back(), command.name);
    return false;
  }
  const char* const last = words->back();
  if (!kxpcie_verify_take(words)) {
    kx_unknown_word_print((std::string("option of ") + command.name).c_str(), last, std::array{KXPCIE_VERIFY});
    return false;
  }
  return true;
}

int32_t kxpcie_exec(kxtools_cmd_context* ctx) {
  const kxpcie_command* command = ctx == nullptr || ctx->cmd == nullptr ? nullptr : command_find(ctx->cmd->name);
  if (command == nullptr) {
    return KXTOOLS_ERR("ctx is NULL\n");
  }
  const kxpcie_words words(ctx->argp, ctx->argc);
  kxpcie_words counted = words;
  if (!option_check(*command, &counted)) {
    return -1;
  }
  if (counted.size() < command->words_min || counted.size() > command->words_max) {
    return KXTOOLS_ERR("too %s words: %s\n", counted.size() < command->words_min ? "few" : "many", command->help);
  }
  kxtools_sbdf sbdf = KXTOOLS_SBDF_NONE;
  if (!function_get(&sbdf)) {
    return -1;
  }
  kxpcie_target target(sbdf);
  if (command->run != nullptr) {
    command->run(target, words);
  } else {
    command->report(stdout, target);
  }
  fflush(stdout);
  return target.end();
}

constexpr std::array<kxtools_cmd_entry, COMMANDS> kxpcie_sub_cmd_list = [] {
  std::array<kxtools_cmd_entry, COMMANDS> list = {};
  for (uint32_t i = 0; i < COMMANDS; ++i) {
    list[i] = {.name = ROWS[i].name, .help = ROWS[i].help, .handler = kxpcie_exec, .permission = ROWS[i].permission};
  }
  return list;
}();

}  // namespace

int32_t kxpcie_cmd_init() {
  return kxtools_cmd_register(KXTOOLS_MODULE_KXPCIE, kxpcie_sub_cmd_list.data(), COMMANDS);
}
