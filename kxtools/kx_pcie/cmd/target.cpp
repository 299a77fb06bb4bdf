#include "target.h"

#include <array>

#include "common/little_endian.h"
#include "common/report.h"
#include "kx_pcie/capability_walk.h"
#include "kx_pcie/card_lock.h"
#include "kx_pcie/config_space.h"

void kxpcie_target::fail(const char* function, int line, std::string text) {
  if (good()) {
    failure_ = {-1, function, line, std::move(text)};
  }
}

bool kxpcie_target::check(int32_t result) {
  if (good()) {
    failure_.result = result;
  }
  return good();
}

int32_t kxpcie_target::end() const {
  if (!failure_.text.empty()) {
    kx_line_print(KX_STYLE_KXTOOLS_ERR, failure_.function, failure_.line, "%s\n", failure_.text.c_str());
  }
  return failure_.result;
}

uint32_t kxpcie_target::dword(uint32_t offset) {
  uint32_t value = UINT32_MAX;
  if (good()) {
    check(pcie_cfg_read_dword(sbdf_, offset, &value));
  }
  return good() ? value : UINT32_MAX;
}

uint16_t kxpcie_target::word(uint32_t offset) {
  std::array<uint8_t, 2> bytes = {0xFF, 0xFF};
  if (good()) {
    check(pcie_cfg_read(sbdf_, offset, bytes.size(), bytes.data()));
  }
  return kx_le_get<uint16_t>(bytes);
}

void kxpcie_target::dwords(uint32_t offset, std::span<uint32_t> values) {
  for (uint32_t& value : values) {
    value = dword(offset);
    offset += 4;
  }
}

void kxpcie_target::dword_write(uint32_t offset, uint32_t value) {
  if (good()) {
    check(pcie_cfg_write_dword(sbdf_, offset, value));
  }
}

void kxpcie_target::word_write(uint32_t offset, uint16_t value) {
  std::array<uint8_t, 2> bytes = {};
  kx_le_put(bytes, 0, value);
  if (good()) {
    check(pcie_cfg_write(sbdf_, offset, bytes.size(), bytes.data()));
  }
}

uint16_t kxpcie_target::word_change(uint32_t offset, uint16_t mask, uint16_t value) {
  card_lock card;
  check(card.take());
  const uint16_t before = word(offset);
  word_write(offset, static_cast<uint16_t>((before & ~mask) | (value & mask)));
  return before;
}

std::vector<kxpcie_capability> kxpcie_target::capabilities(bool extended) {
  std::vector<kxpcie_capability> list;
  if (!extended && (dword(PCI_COMMAND) >> 16 & PCI_STATUS_CAP_LIST) == 0) {
    return list;
  }
  pcie_capability_walk(
      extended ? pcie_capability_list::extended : pcie_capability_list::standard,
      [this](uint32_t offset, uint32_t* value) {
        *value = dword(offset);
        return failure_.result;
      },
      [&list, extended](uint32_t offset, uint32_t header) {
        const uint16_t id = static_cast<uint16_t>(extended ? PCI_EXT_CAP_ID(header) : header & 0xFF);
        const uint8_t version = static_cast<uint8_t>(extended ? PCI_EXT_CAP_VER(header) : 0);
        list.push_back({id, version, static_cast<uint16_t>(offset)});
        return 0;
      });
  return list;
}

std::optional<uint32_t> kxpcie_target::look(bool extended, uint16_t id) {
  for (const kxpcie_capability& capability : capabilities(extended)) {
    if (good() && capability.id == id) {
      return capability.offset;
    }
  }
  return std::nullopt;
}

uint32_t kxpcie_target::find(bool extended, uint16_t id) {
  const std::optional<uint32_t> offset = look(extended, id);
  if (!offset) {
    KXPCIE_FAIL(*this, "the function has no %s capability", pcie_capability_name(extended, id));
  }
  return offset.value_or(0);
}
