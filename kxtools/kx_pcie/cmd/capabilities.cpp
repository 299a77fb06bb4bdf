#include "capabilities.h"

#include <endian.h>

#include "common/report.h"
#include "kx_pcie/capability_walk.h"
#include "kx_pcie/card_lock.h"
#include "kx_pcie/config_space.h"

int32_t kxpcie_capabilities_read(kxtools_sbdf sbdf, bool extended, std::vector<kxpcie_capability>* list) {
  list->clear();
  uint32_t status = 0;
  if (!extended && pcie_cfg_read_dword(sbdf, PCI_COMMAND, &status) != 0) {
    return -1;
  }
  if (!extended && (status >> 16 & PCI_STATUS_CAP_LIST) == 0) {
    return 0;
  }
  const pcie_walk_result walk = pcie_capability_walk(
      extended ? pcie_capability_list::extended : pcie_capability_list::standard,
      [sbdf](uint32_t offset, uint32_t* value) { return pcie_cfg_read_dword(sbdf, offset, value); },
      [=](uint32_t offset, uint32_t header) {
        const uint16_t id = static_cast<uint16_t>(extended ? PCI_EXT_CAP_ID(header) : header & 0xFF);
        const uint8_t version = static_cast<uint8_t>(extended ? PCI_EXT_CAP_VER(header) : 0);
        list->push_back({id, version, static_cast<uint16_t>(offset)});
        return 0;
      });
  return walk.end == pcie_walk_end::failed ? -1 : 0;
}

int32_t kxpcie_capability_look(kxtools_sbdf sbdf, bool extended, uint16_t id, bool* found, uint32_t* offset) {
  std::vector<kxpcie_capability> list;
  *found = false;
  if (kxpcie_capabilities_read(sbdf, extended, &list) != 0) {
    return -1;
  }
  for (const kxpcie_capability& capability : list) {
    if (capability.id == id) {
      *found = true;
      *offset = capability.offset;
      return 0;
    }
  }
  return 0;
}

int32_t kxpcie_capability_find(kxtools_sbdf sbdf, bool extended, uint16_t id, uint32_t* offset) {
  bool found = false;
  if (kxpcie_capability_look(sbdf, extended, id, &found, offset) != 0) {
    return -1;
  }
  if (!found) {
    KXTOOLS_ERR("the function has no %s capability\n", pcie_capability_name(extended, id));
    return -1;
  }
  return 0;
}

int32_t kxpcie_dwords_read(kxtools_sbdf sbdf, uint32_t offset, uint32_t count, uint32_t* values) {
  for (uint32_t i = 0; i < count; ++i) {
    if (pcie_cfg_read_dword(sbdf, offset + 4 * i, &values[i]) != 0) {
      return -1;
    }
  }
  return 0;
}

int32_t kxpcie_word_read(kxtools_sbdf sbdf, uint32_t offset, uint16_t* value) {
  uint16_t little = 0xFFFF;
  if (pcie_cfg_read(sbdf, offset, sizeof little, &little) != 0) {
    return -1;
  }
  *value = le16toh(little);
  return 0;
}

int32_t kxpcie_word_write(kxtools_sbdf sbdf, uint32_t offset, uint16_t value) {
  const uint16_t little = htole16(value);
  return pcie_cfg_write(sbdf, offset, sizeof little, &little);
}

int32_t kxpcie_word_change(kxtools_sbdf sbdf, uint32_t offset, uint16_t mask, uint16_t value, uint16_t* before) {
  card_lock card;
  if (!card.take() || kxpcie_word_read(sbdf, offset, before) != 0) {
    return -1;
  }
  return kxpcie_word_write(sbdf, offset, static_cast<uint16_t>((*before & ~mask) | (value & mask)));
}
