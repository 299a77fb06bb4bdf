// Training the link anew. Only the port above the function can start that.
#include "actions.h"
#include "common/report.h"
#include "common/wait.h"
#include "device/function.h"
#include "kx_pcie/link_lock.h"

namespace {

// A link trains within tens of milliseconds or not at all.
constexpr kx_wait_limit TRAINING_LIMIT = {.step_us = 1000, .looks = 1000, .sleep_first = true};

// The port's own state: what fails there fails the command.
kxpcie_target port_find(kxpcie_target& target) {
  const std::vector<kxtools_sbdf> ports = kxtools_ports_above(target.sbdf());
  kxpcie_target port(ports.empty() ? KXTOOLS_SBDF_NONE : ports.back());
  if (ports.empty()) {
    KXPCIE_FAIL(port, "no port above the function can be found");
  }
  return port;
}

uint32_t express_find(kxpcie_target& port) {
  if (!port.good()) {
    return 0;
  }
  const uint32_t express = port.find(false, PCI_CAP_ID_EXP);
  const uint32_t type = (port.word(express + PCI_EXP_FLAGS) & PCI_EXP_FLAGS_TYPE) >> 4;
  if (type != PCI_EXP_TYPE_ROOT_PORT && type != PCI_EXP_TYPE_DOWNSTREAM) {
    KXPCIE_FAIL(port, "the bridge above the function is no root port and no downstream port");
  }
  return express;
}

// Until the request is taken and the training is over; the status then.
uint32_t training_wait(kxpcie_target& port, uint32_t express) {
  uint32_t registers = 0;
  const kx_waited waited = kx_wait(TRAINING_LIMIT, [&] {
    registers = port.dword(express + PCI_EXP_LNKCTL);
    if (pcie_is_silence(registers)) {
      return kx_look::gone;
    }
    const bool trains = (registers & PCI_EXP_LNKCTL_RL) != 0 || (registers >> 16 & PCI_EXP_LNKSTA_LT) != 0;
    return trains ? kx_look::again : kx_look::done;
  });
  if (waited == kx_waited::gone) {
    KXPCIE_FAIL(port, "the port above the function does not answer");
  } else if (waited == kx_waited::late) {
    KXPCIE_FAIL(port, "the link is still training after %u ms", TRAINING_LIMIT.looks * TRAINING_LIMIT.step_us / 1000);
  }
  return registers >> 16;
}

void link_show(kxpcie_target& port, uint32_t status, const char* what) {
  if (port.good()) {
    kx_print("port %s: link at %s x%u%s\n", kxtools_sbdf_text(port.sbdf()).text,
             pcie_speed_text(pcie_link_speed(status)), pcie_link_width(status), what);
  }
}

}  // namespace

void kxpcie_retrain(kxpcie_target& target, kxpcie_words) {
  kxpcie_target port = port_find(target);
  const uint32_t express = express_find(port);
  link_lock link;
  if (port.good() && port.check(link.take())) {
    link_show(port, port.word(express + PCI_EXP_LNKSTA), " trains anew");
    // The bit reads as 0 and needs no taking back.
    port.word_change(express + PCI_EXP_LNKCTL, PCI_EXP_LNKCTL_RL, PCI_EXP_LNKCTL_RL);
    if (port.good()) {
      link_show(port, training_wait(port, express), "");
    }
  }
  target.adopt(port);
}
