// The function: its virtual functions, its power state, how its DMA is translated.
#include <algorithm>
#include <cinttypes>
#include <string>
#include <vector>

#include "device/sysfs.h"
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

void ari_write(FILE* out, kxpcie_target& target) {
  const std::optional<uint32_t> offset = target.look(true, PCI_EXT_CAP_ID_ARI);
  if (!offset) {
    fprintf(out, "ARI                    none\n");
    return;
  }
  const uint32_t value = target.dword(*offset + PCI_ARI_CAP);
  fprintf(out, "ARI                    next function %" PRIu32 ", function groups: MFVC %s, ACS %s\n",
          PCI_ARI_CAP_NFN(value), kxpcie_yes(value & PCI_ARI_CAP_MFVC), kxpcie_yes(value & PCI_ARI_CAP_ACS));
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

void group_members_write(FILE* out, kxpcie_target& target, const std::string& group) {
  std::vector<std::string> members;
  if (!kxtools_folder_names(KXTOOLS_PCI_DEVICES, &members)) {
    KXPCIE_FAIL(target, "Failed to open directory");
  }
  std::sort(members.begin(), members.end());
  for (const std::string& member : members) {
    if (kxtools_link_name(std::string(KXTOOLS_PCI_DEVICES) + "/" + member + "/iommu_group") == group) {
      fprintf(out, "  %s\n", member.c_str());
    }
  }
}

}  // namespace

void kxpcie_sriov(FILE* out, kxpcie_target& target) {
  const std::optional<uint32_t> offset = target.look(true, PCI_EXT_CAP_ID_SRIOV);
  uint32_t dwords[SRIOV_DWORDS] = {};
  if (offset) {
    target.dwords(*offset, dwords);
  }
  if (!target.good()) {
    return;
  }
  if (offset) {
    sriov_write(out, dwords);
  } else {
    fprintf(out, "SR-IOV                 none\n");
  }
  ari_write(out, target);
}

void kxpcie_power(FILE* out, kxpcie_target& target) {
  const uint32_t offset = target.find(false, PCI_CAP_ID_PM);
  const uint32_t capabilities = target.dword(offset) >> 16;
  const uint32_t control = target.dword(offset + PCI_PM_CTRL);
  if (!target.good()) {
    return;
  }
  fprintf(out, "power state          %s\n", POWER_STATES[control & PCI_PM_CTRL_STATE_MASK]);
  fprintf(out, "D1 supported         %s\nD2 supported         %s\n", kxpcie_yes(capabilities & PCI_PM_CAP_D1),
          kxpcie_yes(capabilities & PCI_PM_CAP_D2));
  fprintf(out, "PME                  %s, status %s\n", kxpcie_on(control & PCI_PM_CTRL_PME_ENABLE),
          (control & PCI_PM_CTRL_PME_STATUS) != 0 ? "set" : "clear");
  fprintf(out, "reset on D3hot to D0 %s\n", kxpcie_yes((control & PCI_PM_CTRL_NO_SOFT_RESET) == 0));
}

void kxpcie_smmu(FILE* out, kxpcie_target& target) {
  for (const translation_service& row : SERVICES) {
    const std::optional<uint32_t> offset = target.look(true, row.id);
    const uint32_t control = offset ? target.word(*offset + row.control) : 0;
    if (!target.good()) {
      return;
    }
    fprintf(out, "%-29s %s\n", pcie_capability_name(true, row.id), offset ? kxpcie_on(control & row.enabled) : "none");
  }
  const std::string group = kxtools_link_name(kxtools_function_path(target.sbdf(), "iommu_group"));
  const std::string unit = kxtools_link_name(kxtools_function_path(target.sbdf(), "iommu"));
  if (group.empty()) {
    fprintf(out, "no IOMMU group: the host does not translate the function's DMA\n");
    return;
  }
  fprintf(out, "IOMMU unit                    %s\n", unit.empty() ? "not named by the host" : unit.c_str());
  fprintf(out, "IOMMU group                   %s, functions in it:\n", group.c_str());
  group_members_write(out, target, group);
}
