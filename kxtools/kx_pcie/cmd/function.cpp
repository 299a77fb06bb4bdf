// The function: its virtual functions, its power state, how its DMA is translated.
#include <algorithm>
#include <cinttypes>
#include <string>
#include <vector>

#include "capabilities.h"
#include "common/report.h"
#include "device/sysfs.h"
#include "kx_pcie/config_space.h"
#include "reports.h"
#include "text.h"

namespace {

constexpr uint32_t SRIOV_DWORDS = PCI_SRIOV_VFM / 4;  // up to the VFs' last BAR
constexpr const char* POWER_STATES[] = {"D0", "D1", "D2", "D3hot"};

// Address translation services and their relatives: a control register each, from the capability.
struct translation_service {
  uint16_t id;
  uint32_t control;
  uint16_t enabled;
};
constexpr translation_service SERVICES[] = {
    {PCI_EXT_CAP_ID_ATS, PCI_ATS_CTRL, PCI_ATS_CTRL_ENABLE},
    {PCI_EXT_CAP_ID_PRI, PCI_PRI_CTRL, PCI_PRI_CTRL_ENABLE},
    {PCI_EXT_CAP_ID_PASID, PCI_PASID_CTRL, PCI_PASID_CTRL_ENABLE},
};

int32_t ari_write(FILE* out, kxtools_sbdf sbdf) {
  bool found = false;
  uint32_t offset = 0;
  uint32_t value = 0;
  if (kxpcie_capability_look(sbdf, true, PCI_EXT_CAP_ID_ARI, &found, &offset) != 0 ||
      (found && kxpcie_dwords_read(sbdf, offset + PCI_ARI_CAP, 1, &value) != 0)) {
    return -1;
  }
  if (!found) {
    fprintf(out, "ARI                    none\n");
    return 0;
  }
  fprintf(out, "ARI                    next function %" PRIu32 ", function groups: MFVC %s, ACS %s\n",
          PCI_ARI_CAP_NFN(value), kxpcie_yes(value & PCI_ARI_CAP_MFVC), kxpcie_yes(value & PCI_ARI_CAP_ACS));
  return 0;
}

void sriov_write(FILE* out, const uint32_t (&dwords)[SRIOV_DWORDS]) {
  const uint32_t control = dwords[PCI_SRIOV_CTRL / 4];
  fprintf(out, "VFs                    %s, memory %s\n", kxpcie_on(control & PCI_SRIOV_CTRL_VFE),
          kxpcie_on(control & PCI_SRIOV_CTRL_MSE));
  fprintf(out, "VF count               %" PRIu32 " of %" PRIu32 ", initial %" PRIu32 "\n",
          dwords[PCI_SRIOV_NUM_VF / 4] & 0xFFFF, dwords[PCI_SRIOV_TOTAL_VF / 4] >> 16,
          dwords[PCI_SRIOV_INITIAL_VF / 4] & 0xFFFF);
  fprintf(out, "first VF offset        %" PRIu32 "\nVF stride              %" PRIu32 "\n",
          dwords[PCI_SRIOV_VF_OFFSET / 4] & 0xFFFF, dwords[PCI_SRIOV_VF_STRIDE / 4] >> 16);
  fprintf(out, "VF device              0x%04" PRIx32 "\n", dwords[PCI_SRIOV_VF_DID / 4] >> 16);
  fprintf(out, "page size              %" PRIu64 " KiB, supported mask 0x%08" PRIx32 "\n",
          uint64_t{dwords[PCI_SRIOV_SYS_PGSIZE / 4]} * 4, dwords[PCI_SRIOV_SUP_PGSIZE / 4]);
  fprintf(out, "ARI capable hierarchy  %s\n", kxpcie_yes(control & PCI_SRIOV_CTRL_ARI));
  for (uint32_t i = 0; i < PCI_SRIOV_NUM_BARS; ++i) {
    if (const uint32_t bar = dwords[PCI_SRIOV_BAR / 4 + i]; bar != 0) {
      fprintf(out, "VF BAR %" PRIu32 "               0x%08" PRIx32 "\n", i, bar);
    }
  }
}

int32_t group_members_write(FILE* out, const std::string& group) {
  std::vector<std::string> members;
  if (!kxtools_folder_names(KXTOOLS_PCI_DEVICES, &members)) {
    KXTOOLS_ERR("Failed to open directory\n");
    return -1;
  }
  std::sort(members.begin(), members.end());
  for (const std::string& member : members) {
    if (kxtools_link_name(std::string(KXTOOLS_PCI_DEVICES) + "/" + member + "/iommu_group") == group) {
      fprintf(out, "  %s\n", member.c_str());
    }
  }
  return 0;
}

}  // namespace

int32_t kxpcie_sriov(FILE* out, kxtools_sbdf sbdf) {
  bool found = false;
  uint32_t offset = 0;
  uint32_t dwords[SRIOV_DWORDS] = {};
  if (kxpcie_capability_look(sbdf, true, PCI_EXT_CAP_ID_SRIOV, &found, &offset) != 0 ||
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
  fprintf(out, "power state          %s\n", POWER_STATES[control & PCI_PM_CTRL_STATE_MASK]);
  fprintf(out, "D1 supported         %s\nD2 supported         %s\n", kxpcie_yes(capabilities & PCI_PM_CAP_D1),
          kxpcie_yes(capabilities & PCI_PM_CAP_D2));
  fprintf(out, "PME                  %s, status %s\n", kxpcie_on(control & PCI_PM_CTRL_PME_ENABLE),
          (control & PCI_PM_CTRL_PME_STATUS) != 0 ? "set" : "clear");
  fprintf(out, "reset on D3hot to D0 %s\n", kxpcie_yes((control & PCI_PM_CTRL_NO_SOFT_RESET) == 0));
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
    fprintf(out, "%-29s %s\n", pcie_capability_name(true, row.id), found ? kxpcie_on(control & row.enabled) : "none");
  }
  const std::string group = kxtools_link_name(kxtools_function_path(sbdf, "iommu_group"));
  const std::string unit = kxtools_link_name(kxtools_function_path(sbdf, "iommu"));
  if (group.empty()) {
    fprintf(out, "no IOMMU group: the host does not translate the function's DMA\n");
    return 0;
  }
  fprintf(out, "IOMMU unit                    %s\n", unit.empty() ? "not named by the host" : unit.c_str());
  fprintf(out, "IOMMU group                   %s, functions in it:\n", group.c_str());
  return group_members_write(out, group);
}
