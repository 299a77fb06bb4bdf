// The function: its virtual functions, its power state, how its DMA is translated.
#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <climits>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bits.h"
#include "capabilities.h"
#include "common/report.h"
#include "kx_pcie/config_space.h"
#include "reports.h"

namespace {

// SR-IOV, in dwords from the capability.
constexpr uint32_t SRIOV_DWORDS = 15;
constexpr uint32_t SRIOV_BAR = 9;
constexpr uint32_t SRIOV_BARS = 6;

// Power management, in the control and status register.
constexpr uint32_t POWER_STATE = 3;
constexpr uint32_t POWER_NO_SOFT_RESET = 1u << 3;
constexpr uint32_t POWER_PME_ENABLED = 1u << 8;
constexpr uint32_t POWER_PME_STATUS = 1u << 15;
constexpr const char* POWER_STATES[] = {"D0", "D1", "D2", "D3hot"};

// Address translation services and their relatives: a control register each, from the capability.
struct translation_service {
  uint16_t id;
  uint32_t control;
  uint16_t enabled;
};
constexpr translation_service SERVICES[] = {
    {PCI_ECAP_ID_ATS, 0x06, 1u << 15},
    {PCI_ECAP_ID_PRI, 0x04, 1u << 0},
    {PCI_ECAP_ID_PASID, 0x06, 1u << 0},
};

int32_t ari_write(FILE* out, kxtools_sbdf sbdf) {
  bool found = false;
  uint32_t offset = 0;
  uint32_t value = 0;
  if (kxpcie_capability_look(sbdf, true, PCI_ECAP_ID_ARI, &found, &offset) != 0 ||
      (found && kxpcie_dwords_read(sbdf, offset + 4, 1, &value) != 0)) {
    return -1;
  }
  if (!found) {
    fprintf(out, "ARI                    none\n");
    return 0;
  }
  fprintf(out, "ARI                    next function %" PRIu32 ", function groups: MFVC %s, ACS %s\n",
          value >> 8 & 0xFF, kxpcie_yes(value & 1), kxpcie_yes(value & 2));
  return 0;
}

void sriov_write(FILE* out, const uint32_t (&dwords)[SRIOV_DWORDS]) {
  const uint32_t control = dwords[2];
  fprintf(out, "VFs                    %s, memory %s\n", kxpcie_on(control & 1), kxpcie_on(control >> 3 & 1));
  fprintf(out, "VF count               %" PRIu32 " of %" PRIu32 ", initial %" PRIu32 "\n", dwords[4] & 0xFFFF,
          dwords[3] >> 16, dwords[3] & 0xFFFF);
  fprintf(out, "first VF offset        %" PRIu32 "\nVF stride              %" PRIu32 "\n", dwords[5] & 0xFFFF,
          dwords[5] >> 16);
  fprintf(out, "VF device              0x%04" PRIx32 "\n", dwords[6] >> 16);
  fprintf(out, "page size              %" PRIu64 " KiB, supported mask 0x%08" PRIx32 "\n", uint64_t{dwords[8]} * 4,
          dwords[7]);
  fprintf(out, "ARI capable hierarchy  %s\n", kxpcie_yes(control >> 4 & 1));
  for (uint32_t i = 0; i < SRIOV_BARS; ++i) {
    if (dwords[SRIOV_BAR + i] != 0) {
      fprintf(out, "VF BAR %" PRIu32 "               0x%08" PRIx32 "\n", i, dwords[SRIOV_BAR + i]);
    }
  }
}

// The last part of where a link of the function's folder leads, "" when it has none.
std::string link_name(const char* function, const char* link) {
  const std::string path = std::string(KXTOOLS_PCI_DEVICES) + "/" + function + "/" + link;
  char target[PATH_MAX];
  const ssize_t length = readlink(path.c_str(), target, sizeof target);
  if (length <= 0) {
    return "";
  }
  const std::string text(target, static_cast<size_t>(length));
  return text.substr(text.rfind('/') + 1);
}

int32_t group_members_write(FILE* out, const std::string& group) {
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(KXTOOLS_PCI_DEVICES), closedir);
  if (folder == nullptr) {
    KXTOOLS_ERR("Failed to open directory\n");
    return -1;
  }
  std::vector<std::string> members;
  while (const dirent* entry = readdir(folder.get())) {
    if (entry->d_name[0] != '.' && link_name(entry->d_name, "iommu_group") == group) {
      members.emplace_back(entry->d_name);
    }
  }
  std::sort(members.begin(), members.end());
  for (const std::string& member : members) {
    fprintf(out, "  %s\n", member.c_str());
  }
  return 0;
}

}  // namespace

int32_t kxpcie_sriov(FILE* out, kxtools_sbdf sbdf) {
  bool found = false;
  uint32_t offset = 0;
  uint32_t dwords[SRIOV_DWORDS] = {};
  if (kxpcie_capability_look(sbdf, true, PCI_ECAP_ID_SRIOV, &found, &offset) != 0 ||
      (found && kxpcie_dwords_read(sbdf, offset, SRIOV_DWORDS, dwords) != 0)) {
    return -1;
  }
  if (found) {
    sriov_write(out, dwords);
  } else {
    fprintf(out, "SR-IOV                 none\n");
  }
  return ari_write(out, sbdf);
}

int32_t kxpcie_power(FILE* out, kxtools_sbdf sbdf) {
  uint32_t offset = 0;
  uint32_t registers[2] = {};
  if (kxpcie_capability_find(sbdf, false, PCI_CAP_ID_PM, &offset) != 0 ||
      kxpcie_dwords_read(sbdf, offset, 2, registers) != 0) {
    return -1;
  }
  const uint32_t capabilities = registers[0] >> 16;
  const uint32_t control = registers[1];
  fprintf(out, "power state          %s\n", POWER_STATES[control & POWER_STATE]);
  fprintf(out, "D1 supported         %s\nD2 supported         %s\n", kxpcie_yes(capabilities >> 9 & 1),
          kxpcie_yes(capabilities >> 10 & 1));
  fprintf(out, "PME                  %s, status %s\n", kxpcie_on(control & POWER_PME_ENABLED),
          (control & POWER_PME_STATUS) != 0 ? "set" : "clear");
  fprintf(out, "reset on D3hot to D0 %s\n", kxpcie_yes((control & POWER_NO_SOFT_RESET) == 0));
  return 0;
}

int32_t kxpcie_smmu(FILE* out, kxtools_sbdf sbdf) {
  for (const translation_service& row : SERVICES) {
    bool found = false;
    uint32_t offset = 0;
    uint16_t control = 0;
    if (kxpcie_capability_look(sbdf, true, row.id, &found, &offset) != 0 ||
        (found && kxpcie_word_read(sbdf, offset + row.control, &control) != 0)) {
      return -1;
    }
    fprintf(out, "%-29s %s\n", kxpcie_capability_name(true, row.id), found ? kxpcie_on(control & row.enabled) : "none");
  }
  char function[13];
  kxtools_sbdf_text(sbdf, function);
  const std::string group = link_name(function, "iommu_group");
  const std::string unit = link_name(function, "iommu");
  if (group.empty()) {
    fprintf(out, "no IOMMU group: the host does not translate the function's DMA\n");
    return 0;
  }
  fprintf(out, "IOMMU unit                    %s\n", unit.empty() ? "not named by the host" : unit.c_str());
  fprintf(out, "IOMMU group                   %s, functions in it:\n", group.c_str());
  return group_members_write(out, group);
}
