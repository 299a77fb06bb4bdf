// Training the link anew. Only the port above the function can start that.
#include <unistd.h>

#include "actions.h"
#include "bits.h"
#include "capabilities.h"
#include "common/report.h"
#include "link_registers.h"
#include "port_above.h"

namespace {

constexpr uint32_t ROOT_PORT = 4;
constexpr uint32_t DOWNSTREAM_PORT = 6;

constexpr useconds_t TRAINING_STEP_US = 1000;
constexpr int TRAINING_STEPS = 1000;  // a link trains within tens of milliseconds or not at all

int32_t port_find(kxtools_sbdf function, kxtools_sbdf* port) {
  if (!kxpcie_port_above(function, port)) {
    KXTOOLS_ERR("no port above the function can be found\n");
    return -1;
  }
  return 0;
}

int32_t port_check(kxtools_sbdf port, uint32_t* express) {
  uint16_t capabilities = 0;
  if (kxpcie_capability_find(port, false, PCI_CAP_ID_EXPRESS, express) != 0 ||
      kxpcie_word_read(port, *express + EXPRESS_CAPABILITIES, &capabilities) != 0) {
    return -1;
  }
  const uint32_t type = capabilities >> 4 & 0xF;
  if (type != ROOT_PORT && type != DOWNSTREAM_PORT) {
    KXTOOLS_ERR("the bridge above the function is no root port and no downstream port\n");
    return -1;
  }
  return 0;
}

// Until the request is taken and the training is over.
int32_t training_wait(kxtools_sbdf port, uint32_t express, uint32_t* status) {
  for (int i = 0; i < TRAINING_STEPS; ++i) {
    usleep(TRAINING_STEP_US);
    uint32_t registers = 0;
    if (kxpcie_dwords_read(port, express + LINK_CONTROL, 1, &registers) != 0) {
      return -1;
    }
    if (registers == UINT32_MAX) {
      KXTOOLS_ERR("the port above the function does not answer\n");
      return -1;
    }
    *status = registers >> 16;
    if ((registers & LINK_CONTROL_RETRAIN) == 0 && (*status & LINK_STATUS_TRAINING) == 0) {
      return 0;
    }
  }
  KXTOOLS_ERR("the link is still training after %d ms\n", TRAINING_STEPS);
  return -1;
}

}  // namespace

int32_t kxpcie_retrain(kxtools_sbdf sbdf, kxpcie_words) {
  kxtools_sbdf port = KXTOOLS_SBDF_NONE;
  uint32_t express = 0;
  uint16_t control = 0;
  uint16_t before = 0;
  if (port_find(sbdf, &port) != 0 || port_check(port, &express) != 0 ||
      kxpcie_word_read(port, express + LINK_CONTROL, &control) != 0 ||
      kxpcie_word_read(port, express + LINK_STATUS, &before) != 0) {
    return -1;
  }
  char name[13];
  kxtools_sbdf_text(port, name);
  kx_print("port %s: link at %s x%u trains anew\n", name, kxpcie_speed_text(kxpcie_link_speed(before)),
           kxpcie_link_width(before));
  // The bit reads as 0 and needs no taking back.
  uint32_t after = 0;
  if (kxpcie_word_write(port, express + LINK_CONTROL, static_cast<uint16_t>(control | LINK_CONTROL_RETRAIN)) != 0 ||
      training_wait(port, express, &after) != 0) {
    return -1;
  }
  kx_print("port %s: link at %s x%u\n", name, kxpcie_speed_text(kxpcie_link_speed(after)), kxpcie_link_width(after));
  return 0;
}
