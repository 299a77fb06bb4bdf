// Function-level reset: the function forgets what it was set to, so the settings are kept and given back.
#include <unistd.h>

#include <cstring>
#include <vector>

#include "actions.h"
#include "capabilities.h"
#include "common/report.h"
#include "common/signals.h"
#include "errors_bits.h"
#include "kx_pcie/config_space.h"
#include "kx_pcie/pcie_lock.h"
#include "link_registers.h"

namespace {

constexpr uint32_t RESET_CAPABLE = 1u << 28;   // device capabilities
constexpr uint16_t INITIATE_RESET = 1u << 15;  // device control
constexpr uint16_t TRANSACTIONS_PENDING = 1u << 5;
constexpr uint32_t COMMAND = 0x04;
constexpr uint16_t COMMAND_BUS_MASTER = 1u << 2;
constexpr uint32_t SRIOV_CONTROL = 0x08;
constexpr uint16_t SRIOV_VF_ENABLED = 1;
constexpr uint32_t ALL_ONES = 0xFFFFFFFF;

constexpr useconds_t STEP_US = 1000;
constexpr int PENDING_STEPS = 100;
constexpr useconds_t RESET_US = 100000;  // the function may stay silent that long
constexpr int BACK_STEPS = 1000;

// What the host has set, by the register's place: in the header, or from a capability. Command comes last, so that the
// function decodes its BARs only when they are back.
struct setting {
  bool in_capability;
  bool extended;
  uint16_t id;
  uint16_t offset;
  uint8_t words;  // of 16 bits
};
constexpr setting SETTINGS[] = {
    {false, false, 0, 0x10, 12},  // BARs
    {false, false, 0, 0x30, 2},   // expansion ROM
    {false, false, 0, 0x0C, 1},   // cache line size, latency timer
    {false, false, 0, 0x3C, 1},   // interrupt line
    {true, false, PCI_CAP_ID_EXPRESS, DEVICE_CONTROL, 1},
    {true, false, PCI_CAP_ID_EXPRESS, LINK_CONTROL, 1},
    {true, false, PCI_CAP_ID_EXPRESS, 0x28, 1},  // device control 2
    {true, false, PCI_CAP_ID_EXPRESS, LINK_CONTROL_2, 1},
    {true, false, PCI_CAP_ID_MSI, 0x02, 1},
    {true, false, PCI_CAP_ID_MSIX, 0x02, 1},
    {true, true, PCI_ECAP_ID_AER, AER_UNCORRECTABLE_MASK, 4},  // mask and severity
    {true, true, PCI_ECAP_ID_AER, AER_CORRECTABLE_MASK, 2},
    {true, true, PCI_ECAP_ID_AER, AER_CONTROL, 2},
    {true, true, PCI_ECAP_ID_ARI, 0x06, 1},
    {true, true, PCI_ECAP_ID_ATS, 0x06, 1},
    {false, false, 0, COMMAND, 1},
};

struct saved_word {
  uint32_t offset;
  uint16_t value;
};

int32_t settings_save(kxtools_sbdf sbdf, std::vector<saved_word>* saved) {
  for (const setting& row : SETTINGS) {
    bool found = true;
    uint32_t base = 0;
    if (row.in_capability && kxpcie_capability_look(sbdf, row.extended, row.id, &found, &base) != 0) {
      return -1;
    }
    for (uint32_t i = 0; found && i < row.words; ++i) {
      saved_word word = {.offset = base + row.offset + 2 * i};
      if (kxpcie_word_read(sbdf, word.offset, &word.value) != 0) {
        return -1;
      }
      saved->push_back(word);
    }
  }
  return 0;
}

int32_t settings_restore(kxtools_sbdf sbdf, const std::vector<saved_word>& saved) {
  int32_t result = 0;
  for (const saved_word& word : saved) {
    result |= kxpcie_word_write(sbdf, word.offset, word.value);
  }
  return result;
}

bool has_driver(const char* function) {
  char path[64];
  snprintf(path, sizeof path, "%s/%s/driver", KXTOOLS_PCI_DEVICES, function);
  return access(path, F_OK) == 0;
}

int32_t reset_check(kxtools_sbdf sbdf, const char* word, uint32_t* express) {
  char function[13];
  kxtools_sbdf_text(sbdf, function);
  if (strcmp(word, function) != 0) {
    KXTOOLS_ERR("the bound function is %s, not %s; nothing was reset\n", function, word);
    return -1;
  }
  uint32_t capabilities = 0;
  if (kxpcie_capability_find(sbdf, false, PCI_CAP_ID_EXPRESS, express) != 0 ||
      kxpcie_dwords_read(sbdf, *express + DEVICE_CAPABILITIES, 1, &capabilities) != 0) {
    return -1;
  }
  if ((capabilities & RESET_CAPABLE) == 0) {
    KXTOOLS_ERR("the function cannot be reset by itself\n");
    return -1;
  }
  if (has_driver(function)) {
    KXTOOLS_ERR("a driver uses %s; unbind it first\n", function);
    return -1;
  }
  bool found = false;
  uint32_t sriov = 0;
  uint16_t control = 0;
  if (kxpcie_capability_look(sbdf, true, PCI_ECAP_ID_SRIOV, &found, &sriov) != 0 ||
      (found && kxpcie_word_read(sbdf, sriov + SRIOV_CONTROL, &control) != 0)) {
    return -1;
  }
  if ((control & SRIOV_VF_ENABLED) != 0) {
    KXTOOLS_ERR("virtual functions of %s are on; a reset would remove them\n", function);
    return -1;
  }
  return 0;
}

// No new requests, and an end of those under way. A function that does not come to an end is reset all the same.
int32_t quiesce(kxtools_sbdf sbdf, uint32_t express) {
  uint16_t command = 0;
  if (kxpcie_word_read(sbdf, COMMAND, &command) != 0 ||
      kxpcie_word_write(sbdf, COMMAND, static_cast<uint16_t>(command & ~COMMAND_BUS_MASTER)) != 0) {
    return -1;
  }
  for (int i = 0; i < PENDING_STEPS; ++i) {
    uint16_t status = 0;
    if (kxpcie_word_read(sbdf, express + DEVICE_STATUS, &status) != 0) {
      return -1;
    }
    if ((status & TRANSACTIONS_PENDING) == 0) {
      return 0;
    }
    usleep(STEP_US);
  }
  KXTOOLS_INFO("transactions are still pending after %d ms\n", PENDING_STEPS);
  return 0;
}

int32_t reset_run(kxtools_sbdf sbdf, uint32_t express) {
  uint16_t control = 0;
  if (quiesce(sbdf, express) != 0 || kxpcie_word_read(sbdf, express + DEVICE_CONTROL, &control) != 0 ||
      kxpcie_word_write(sbdf, express + DEVICE_CONTROL, static_cast<uint16_t>(control | INITIATE_RESET)) != 0) {
    return -1;
  }
  usleep(RESET_US);
  for (int i = 0; i < BACK_STEPS; ++i) {
    uint32_t identity = 0;
    if (pcie_cfg_read_dword(sbdf, 0, &identity) != 0) {
      return -1;
    }
    if (identity != ALL_ONES) {
      return 0;
    }
    usleep(STEP_US);
  }
  KXTOOLS_ERR("the function does not answer %d ms after its reset\n", BACK_STEPS + static_cast<int>(RESET_US / 1000));
  return -1;
}

}  // namespace

int32_t kxpcie_flr(kxtools_sbdf sbdf, kxpcie_words words) {
  uint32_t express = 0;
  if (reset_check(sbdf, words[0], &express) != 0) {
    return -1;
  }
  // No other tool process may use the tunnel meanwhile.
  pcie_lock lock;
  std::vector<saved_word> saved;
  if (!lock.take() || settings_save(sbdf, &saved) != 0) {
    return -1;
  }
  // From the first change to the last setting given back nothing interrupts.
  const kx_signal_hold hold;
  int32_t result = reset_run(sbdf, express);
  if (settings_restore(sbdf, saved) != 0) {
    KXTOOLS_ERR("not every setting could be given back to %s\n", words[0]);
    result = -1;
  }
  if (result == 0) {
    kx_print("%s was reset and has its settings back\n", words[0]);
  }
  return result;
}
