// Configuration space: words, dump, lists of capabilities.
#include <array>
#include <cinttypes>

#include "actions.h"
#include "common/little_endian.h"
#include "common/report.h"
#include "dump.h"
#include "kx_pcie/config_space.h"
#include "reports.h"

namespace {

struct config_place {
  uint32_t offset;
  uint32_t width;
};

config_place config_place_read(kxpcie_target& target, kxpcie_words words, size_t width_index) {
  const uint64_t offset = kxpcie_number(target, words, 0, "offset", PCIE_CFG_SIZE - 1);
  const uint64_t width = kxpcie_number_or(target, words, width_index, "width", 4, 4);
  if (width != 1 && width != 2 && width != 4) {
    KXPCIE_FAIL(target, "width %" PRIu64 " is not 1, 2 or 4", width);
    return {0, 4};
  }
  if (offset % width != 0) {
    KXPCIE_FAIL(target, "offset 0x%" PRIx64 " is no multiple of %" PRIu64, offset, width);
  }
  return {static_cast<uint32_t>(offset), static_cast<uint32_t>(width)};
}

uint32_t value_read(kxpcie_target& target, const config_place& at) {
  std::array<uint8_t, 4> bytes = {};
  if (target.good()) {
    target.check(pcie_cfg_read(target.sbdf(), at.offset, at.width, bytes.data()));
  }
  return kx_le_get<uint32_t>(bytes);
}

void value_write(kxpcie_target& target, const config_place& at, uint32_t value) {
  std::array<uint8_t, 4> bytes = {};
  kx_le_put(bytes, 0, value);
  if (target.good()) {
    target.check(pcie_cfg_write(target.sbdf(), at.offset, at.width, bytes.data()));
  }
}

// Whatever is written to the VPD capability is a request to the card.
void tunnel_check(kxpcie_target& target, const config_place& at) {
  const std::optional<uint32_t> vpd = target.look(false, PCI_CAP_ID_VPD);
  if (vpd && at.offset < *vpd + PCI_CAP_VPD_SIZEOF && *vpd < at.offset + at.width) {
    KXPCIE_FAIL(target, "offset 0x%x belongs to the tunnel to card memory; use devmem_write", at.offset);
  }
}

void list_write(FILE* out, kxpcie_target& target, bool extended) {
  const std::vector<kxpcie_capability> list = target.capabilities(extended);
  if (!target.good()) {
    return;
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
}

void space_dump(FILE* out, kxpcie_target& target, uint64_t offset, uint64_t bytes) {
  kxpcie_dump_write(out, target, offset, bytes / 4, [&target](uint64_t at, uint32_t* value) {
    return pcie_cfg_read_dword(target.sbdf(), static_cast<uint32_t>(at), value);
  });
}

}  // namespace

void kxpcie_cap_list(FILE* out, kxpcie_target& target) {
  list_write(out, target, false);
}

void kxpcie_ecap_list(FILE* out, kxpcie_target& target) {
  list_write(out, target, true);
}

void kxpcie_cfg_read(kxpcie_target& target, kxpcie_words words) {
  const config_place at = config_place_read(target, words, 1);
  const uint32_t value = value_read(target, at);
  if (target.good()) {
    kx_print("0x%03" PRIx32 ": 0x%0*" PRIx32 "\n", at.offset, static_cast<int>(at.width * 2), value);
  }
}

void kxpcie_cfg_write(kxpcie_target& target, kxpcie_words words) {
  const config_place at = config_place_read(target, words, 2);
  const int digits = static_cast<int>(at.width * 2);
  const uint64_t most = UINT32_MAX >> (32 - 8 * at.width);
  const auto written = static_cast<uint32_t>(kxpcie_number(target, words, 1, "value", most));
  tunnel_check(target, at);
  const uint32_t before = value_read(target, at);
  value_write(target, at, written);
  const uint32_t after = value_read(target, at);
  if (target.good()) {
    kx_print("0x%03" PRIx32 ": was 0x%0*" PRIx32 ", 0x%0*" PRIx32 " written, reads 0x%0*" PRIx32 "\n", at.offset,
             digits, before, digits, written, digits, after);
  }
}

void kxpcie_cfg_whole(FILE* out, kxpcie_target& target) {
  space_dump(out, target, 0, PCIE_CFG_SIZE);
}

void kxpcie_cfg_dump(kxpcie_target& target, kxpcie_words words) {
  const uint64_t offset = kxpcie_number_or(target, words, 0, "offset", PCIE_CFG_SIZE - 4, 0);
  const uint64_t rest = PCIE_CFG_SIZE - offset;
  const uint64_t bytes = kxpcie_number_or(target, words, 1, "length", rest, rest);
  if (offset % 4 != 0 || bytes % 4 != 0 || bytes == 0) {
    KXPCIE_FAIL(target, "offset 0x%" PRIx64 " and length 0x%" PRIx64 " must be multiples of 4, the length not 0",
                offset, bytes);
  }
  space_dump(stdout, target, offset, bytes);
}
