// The link: what it can do, what it does, how its equalisation went.
#include <cinttypes>

#include "reports.h"
#include "text.h"

namespace {

constexpr const char* ASPM[] = {"off", "L0s", "L1", "L0s and L1"};

// Equalisation, from the capabilities that have it.
constexpr uint32_t SECONDARY_LANE_ERRORS = 0x08;
constexpr uint32_t SECONDARY_LANES = 0x0C;  // 16 bits a lane
constexpr uint32_t PHYSICAL_STATUS = 0x0C;
constexpr uint32_t PHYSICAL_LANES = 0x20;  // 8 bits a lane

struct link_state {
  uint32_t capabilities;
  uint32_t control;
  uint32_t status;
  uint32_t capabilities_2;
  uint32_t control_2;
  uint32_t status_2;
};

link_state link_read(kxpcie_target& target) {
  const uint32_t express = target.find(false, PCI_CAP_ID_EXP);
  return {.capabilities = target.dword(express + PCI_EXP_LNKCAP),
          .control = target.word(express + PCI_EXP_LNKCTL),
          .status = target.word(express + PCI_EXP_LNKSTA),
          .capabilities_2 = target.dword(express + PCI_EXP_LNKCAP2),
          .control_2 = target.word(express + PCI_EXP_LNKCTL2),
          .status_2 = target.word(express + PCI_EXP_LNKSTA2)};
}

// "complete, phases 1 2 3 done" from bits 0 to 4 of a status register.
void equalisation_write(FILE* out, uint32_t speed, uint32_t status) {
  fprintf(out, "%s: %s, phases done:%s%s%s%s%s\n", pcie_speed_text(speed),
          (status & 1) != 0 ? "complete" : "NOT COMPLETE", (status & 2) != 0 ? " 1" : "", (status & 4) != 0 ? " 2" : "",
          (status & 8) != 0 ? " 3" : "", (status & 14) == 0 ? " none" : "",
          (status & 16) != 0 ? ", the link asks for another one" : "");
}

void lanes_8gt_write(FILE* out, kxpcie_target& target, uint32_t width) {
  const std::optional<uint32_t> offset = target.look(true, PCI_EXT_CAP_ID_SECPCI);
  if (!offset) {
    return;
  }
  const uint32_t errors = target.dword(*offset + SECONDARY_LANE_ERRORS);
  if (!target.good()) {
    return;
  }
  fprintf(out, "lane errors 0x%08" PRIx32 "\nlane  downstream port  upstream port\n", errors);
  for (uint32_t lane = 0; lane < width && target.good(); ++lane) {
    const uint32_t control = target.word(*offset + SECONDARY_LANES + 2 * lane);
    fprintf(out, "%4" PRIu32 "  preset %-2u hint %u  preset %-2u hint %u\n", lane, control & 0xF, control >> 4 & 7,
            control >> 8 & 0xF, control >> 12 & 7);
  }
}

void lanes_byte_write(FILE* out, kxpcie_target& target, uint32_t first, uint32_t width) {
  fprintf(out, "lane  downstream port  upstream port\n");
  for (uint32_t lane = 0; lane < width && target.good(); ++lane) {
    const uint32_t preset = uint32_t{target.word(first + (lane & ~1u))} >> (8 * (lane & 1));
    fprintf(out, "%4" PRIu32 "  preset %-2u        preset %u\n", lane, preset & 0xF, preset >> 4 & 0xF);
  }
}

struct physical_layer {
  uint16_t id;
  uint32_t speed;
  bool has_parity;
};
constexpr physical_layer PHYSICAL_LAYERS[] = {
    {PCIE_ECAP_PHYSICAL_16GT, PCIE_SPEED_16GT, true},
    {PCIE_ECAP_PHYSICAL_32GT, PCIE_SPEED_32GT, false},
};

void physical_layer_write(FILE* out, kxpcie_target& target, const physical_layer& row, uint32_t width) {
  const std::optional<uint32_t> offset = target.look(true, row.id);
  if (!offset) {
    return;
  }
  uint32_t registers[4] = {};  // the three parity registers follow the status
  target.dwords(*offset + PHYSICAL_STATUS, std::span(registers).first(row.has_parity ? 4 : 1));
  if (!target.good()) {
    return;
  }
  equalisation_write(out, row.speed, registers[0]);
  if (row.has_parity) {
    fprintf(out,
            "data parity mismatches by lane: local 0x%08" PRIx32 ", first retimer 0x%08" PRIx32
            ", second retimer 0x%08" PRIx32 "\n",
            registers[1], registers[2], registers[3]);
  }
  lanes_byte_write(out, target, *offset + PHYSICAL_LANES, width);
}

}  // namespace

void kxpcie_link_status(FILE* out, kxpcie_target& target) {
  const link_state link = link_read(target);
  if (!target.good()) {
    return;
  }
  const uint32_t speed = pcie_link_speed(link.status);
  const uint32_t width = pcie_link_width(link.status);
  const uint32_t best_speed = pcie_link_speed(link.capabilities);
  const uint32_t best_width = pcie_link_width(link.capabilities);
  fprintf(out, "speed        %s of %s%s\n", pcie_speed_text(speed), pcie_speed_text(best_speed),
          speed < best_speed ? "  DEGRADED" : "");
  fprintf(out, "width        x%" PRIu32 " of x%" PRIu32 "%s\n", width, best_width,
          width < best_width ? "  DEGRADED" : "");
  fprintf(out, "speeds       ");
  for (uint32_t i = 1; i < PCIE_SPEEDS; ++i) {
    if ((link.capabilities_2 >> i & 1) != 0) {
      fprintf(out, "%s ", pcie_speed_text(i));
    }
  }
  fprintf(out, "\ntarget       %s\n", pcie_speed_text(pcie_link_speed(link.control_2)));
  fprintf(out, "training     %s\n", (link.status & PCI_EXP_LNKSTA_LT) != 0 ? "in progress" : "not in progress");
  fprintf(out, "ASPM         %s, supported: %s\n", ASPM[link.control & PCI_EXP_LNKCTL_ASPMC],
          ASPM[link.capabilities >> 10 & 3]);
  fprintf(out, "common clock %s\n", kxpcie_yes(link.control & PCI_EXP_LNKCTL_CCC));
  fprintf(out, "port         %" PRIu32 "\n", link.capabilities >> 24);
}

void kxpcie_eq_status(FILE* out, kxpcie_target& target) {
  const link_state link = link_read(target);
  if (!target.good()) {
    return;
  }
  const uint32_t lanes = pcie_link_width(link.capabilities);
  const uint32_t width = lanes < PCIE_LANES_MAX ? lanes : PCIE_LANES_MAX;
  const uint32_t speed = pcie_link_speed(link.status);
  const uint32_t best_speed = pcie_link_speed(link.capabilities);
  if (speed < PCIE_SPEED_8GT) {
    fprintf(out, "the link runs at %s of %s: it is equalised from %s on\n", pcie_speed_text(speed),
            pcie_speed_text(best_speed), pcie_speed_text(PCIE_SPEED_8GT));
    return;
  }
  equalisation_write(out, PCIE_SPEED_8GT, link.status_2 >> 1);
  lanes_8gt_write(out, target, width);
  for (const physical_layer& row : PHYSICAL_LAYERS) {
    if (row.speed <= best_speed) {
      physical_layer_write(out, target, row, width);
    }
  }
}
