// Configuration space: words, dump, lists of capabilities.
#include <cinttypes>

#include "actions.h"
#include "capabilities.h"
#include "common/report.h"
#include "dump.h"
#include "kx_pcie/config_space.h"
#include "reports.h"

namespace {

constexpr uint32_t VPD_LENGTH = 8;

bool place_read(kxpcie_words words, size_t width_index, uint32_t* offset, uint32_t* width) {
  uint64_t at = 0;
  uint64_t bytes = 4;
  if (!kxpcie_number_read(words[0], "offset", PCIE_CFG_SIZE - 1, &at) ||
      (words.size() > width_index && !kxpcie_number_read(words[width_index], "width", 4, &bytes))) {
    return false;
  }
  if (bytes != 1 && bytes != 2 && bytes != 4) {
    KXTOOLS_ERR("width %" PRIu64 " is not 1, 2 or 4\n", bytes);
    return false;
  }
  if (at % bytes != 0) {
    KXTOOLS_ERR("offset 0x%" PRIx64 " is no multiple of %" PRIu64 "\n", at, bytes);
    return false;
  }
  *offset = static_cast<uint32_t>(at);
  *width = static_cast<uint32_t>(bytes);
  return true;
}

// The value of `width` bytes at `offset`, in the host's byte order.
int32_t value_read(kxtools_sbdf sbdf, uint32_t offset, uint32_t width, uint32_t* value) {
  uint8_t bytes[4] = {0xFF, 0xFF, 0xFF, 0xFF};
  if (pcie_cfg_read(sbdf, offset, width, bytes) != 0) {
    return -1;
  }
  *value = 0;
  for (uint32_t i = 0; i < width; ++i) {
    *value |= uint32_t{bytes[i]} << (8 * i);
  }
  return 0;
}

int32_t value_write(kxtools_sbdf sbdf, uint32_t offset, uint32_t width, uint32_t value) {
  uint8_t bytes[4];
  for (uint32_t i = 0; i < width; ++i) {
    bytes[i] = static_cast<uint8_t>(value >> (8 * i));
  }
  return pcie_cfg_write(sbdf, offset, width, bytes);
}

// Whatever is written to the VPD capability is a request to the card.
int32_t tunnel_check(kxtools_sbdf sbdf, uint32_t offset, uint32_t width) {
  bool found = false;
  uint32_t vpd = 0;
  if (kxpcie_capability_look(sbdf, false, PCI_CAP_ID_VPD, &found, &vpd) != 0) {
    return -1;
  }
  if (found && offset < vpd + VPD_LENGTH && vpd < offset + width) {
    KXTOOLS_ERR("offset 0x%x belongs to the tunnel to card memory; use devmem_write\n", offset);
    return -1;
  }
  return 0;
}

int32_t list_write(FILE* out, kxtools_sbdf sbdf, bool extended) {
  std::vector<kxpcie_capability> list;
  if (kxpcie_capabilities_read(sbdf, extended, &list) != 0) {
    return -1;
  }
  fprintf(out, extended ? "offset  id    version  capability\n" : "offset  id  capability\n");
  for (const kxpcie_capability& row : list) {
    if (extended) {
      fprintf(out, "0x%03x   %04x  %-7u  %s\n", row.offset, row.id, row.version, pcie_capability_name(true, row.id));
    } else {
      fprintf(out, "0x%02x    %02x  %s\n", row.offset, row.id, pcie_capability_name(false, row.id));
    }
  }
  if (list.empty()) {
    fprintf(out, "none\n");
  }
  return 0;
}

}  // namespace

int32_t kxpcie_cap_list(FILE* out, kxtools_sbdf sbdf) {
  return list_write(out, sbdf, false);
}

int32_t kxpcie_ecap_list(FILE* out, kxtools_sbdf sbdf) {
  return list_write(out, sbdf, true);
}

int32_t kxpcie_cfg_read(kxtools_sbdf sbdf, kxpcie_words words) {
  uint32_t offset = 0;
  uint32_t width = 0;
  uint32_t value = 0;
  if (!place_read(words, 1, &offset, &width) || value_read(sbdf, offset, width, &value) != 0) {
    return -1;
  }
  kx_print("0x%03" PRIx32 ": 0x%0*" PRIx32 "\n", offset, static_cast<int>(width * 2), value);
  return 0;
}

int32_t kxpcie_cfg_write(kxtools_sbdf sbdf, kxpcie_words words) {
  uint32_t offset = 0;
  uint32_t width = 0;
  uint64_t value = 0;
  if (!place_read(words, 2, &offset, &width) ||
      !kxpcie_number_read(words[1], "value", UINT32_MAX >> (32 - 8 * width), &value) ||
      tunnel_check(sbdf, offset, width) != 0) {
    return -1;
  }
  uint32_t before = 0;
  uint32_t after = 0;
  const uint32_t written = static_cast<uint32_t>(value);
  if (value_read(sbdf, offset, width, &before) != 0 || value_write(sbdf, offset, width, written) != 0 ||
      value_read(sbdf, offset, width, &after) != 0) {
    return -1;
  }
  const int digits = static_cast<int>(width * 2);
  kx_print("0x%03" PRIx32 ": was 0x%0*" PRIx32 ", 0x%0*" PRIx32 " written, reads 0x%0*" PRIx32 "\n", offset, digits,
           before, digits, written, digits, after);
  return 0;
}

int32_t kxpcie_cfg_whole(FILE* out, kxtools_sbdf sbdf) {
  return kxpcie_dump_write(out, 0, PCIE_CFG_SIZE / 4, [sbdf](uint64_t at, uint32_t* value) {
    return pcie_cfg_read_dword(sbdf, static_cast<uint32_t>(at), value);
  });
}

int32_t kxpcie_cfg_dump(kxtools_sbdf sbdf, kxpcie_words words) {
  uint64_t offset = 0;
  if (words.size() > 0 && !kxpcie_number_read(words[0], "offset", PCIE_CFG_SIZE - 4, &offset)) {
    return -1;
  }
  uint64_t bytes = PCIE_CFG_SIZE - offset;
  if (words.size() > 1 && !kxpcie_number_read(words[1], "length", PCIE_CFG_SIZE - offset, &bytes)) {
    return -1;
  }
  if (offset % 4 != 0 || bytes % 4 != 0 || bytes == 0) {
    KXTOOLS_ERR("offset 0x%" PRIx64 " and length 0x%" PRIx64 " must be multiples of 4, the length not 0\n", offset,
                bytes);
    return -1;
  }
  return kxpcie_dump_write(stdout, offset, bytes / 4, [sbdf](uint64_t at, uint32_t* value) {
    return pcie_cfg_read_dword(sbdf, static_cast<uint32_t>(at), value);
  });
}
