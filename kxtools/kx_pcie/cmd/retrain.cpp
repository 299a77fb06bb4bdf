// Training the link anew. Only the port above the function can start that.
#include "actions.h"
#include "capabilities.h"
#include "common/report.h"
#include "common/wait.h"
#include "device/function.h"
#include "kx_pcie/link_lock.h"

namespace {

// A link trains within tens of milliseconds or not at all.
constexpr kx_wait_limit TRAINING_LIMIT = {.step_us = 1000, .looks = 1000, .sleep_first = true};

int32_t port_find(kxtools_sbdf function, kxtools_sbdf* port) {
  const std::vector<kxtools_sbdf> ports = kxtools_ports_above(function);
  if (ports.empty()) {
    KXTOOLS_ERR("no port above the function can be found\n");
    return -1;
  }
  *port = ports.back();
  return 0;
}

int32_t port_check(kxtools_sbdf port, uint32_t* express) {
  uint16_t capabilities = 0;
  if (kxpcie_capability_find(port, false, PCI_CAP_ID_EXP, express) != 0 ||
      kxpcie_word_read(port, *express + PCI_EXP_FLAGS, &capabilities) != 0) {
    return -1;
  }
  const uint32_t type = (capabilities & PCI_EXP_FLAGS_TYPE) >> 4;
  if (type != PCI_EXP_TYPE_ROOT_PORT && type != PCI_EXP_TYPE_DOWNSTREAM) {
    KXTOOLS_ERR("the bridge above the function is no root port and no downstream port\n");
    return -1;
  }
  return 0;
}

// Until the request is taken and the training is over.
int32_t training_wait(kxtools_sbdf port, uint32_t express, uint32_t* status) {
  uint32_t registers = 0;
  const kx_waited waited = kx_wait(TRAINING_LIMIT, [&] {
    if (kxpcie_dwords_read(port, express + PCI_EXP_LNKCTL, 1, &registers) != 0 || pcie_is_silence(registers)) {
      return kx_look::gone;
    }
    *status = registers >> 16;
    const bool trains = (registers & PCI_EXP_LNKCTL_RL) != 0 || (*status & PCI_EXP_LNKSTA_LT) != 0;
    return trains ? kx_look::again : kx_look::done;
  });
  if (pcie_is_silence(registers)) {
    KXTOOLS_ERR("the port above the function does not answer\n");
  }
  if (waited == kx_waited::late) {
    KXTOOLS_ERR("the link is still training after %u ms\n", TRAINING_LIMIT.looks * TRAINING_LIMIT.step_us / 1000);
  }
  return waited == kx_waited::done ? 0 : -1;
}

}  // namespace

int32_t kxpcie_retrain(kxtools_sbdf sbdf, kxpcie_words) {
  kxtools_sbdf port = KXTOOLS_SBDF_NONE;
  uint32_t express = 0;
  uint16_t control = 0;
  uint16_t before = 0;
  link_lock link;
  if (port_find(sbdf, &port) != 0 || port_check(port, &express) != 0 || !link.take() ||
      kxpcie_word_read(port, express + PCI_EXP_LNKSTA, &before) != 0) {
    return -1;
  }
  char name[13];
  kxtools_sbdf_text(port, name);
  kx_print("port %s: link at %s x%u trains anew\n", name, pcie_speed_text(pcie_link_speed(before)),
           pcie_link_width(before));
  // The bit reads as 0 and needs no taking back.
  uint32_t after = 0;
  if (kxpcie_word_change(port, express + PCI_EXP_LNKCTL, PCI_EXP_LNKCTL_RL, PCI_EXP_LNKCTL_RL, &control) != 0 ||
      training_wait(port, express, &after) != 0) {
    return -1;
  }
  kx_print("port %s: link at %s x%u\n", name, pcie_speed_text(pcie_link_speed(after)), pcie_link_width(after));
  return 0;
}
