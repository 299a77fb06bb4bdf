#include "dxge_error.h"

#include <iterator>
#include <span>

#include "common/report.h"
#include "registers.h"

namespace {

constexpr uint32_t TX_COUNTERS = 0x200810;
constexpr uint32_t RX_COUNTERS = 0x100810;

// In the order of the counters in the instance, one 32-bit register each.
constexpr const char* TX_COUNTER_TEXTS[] = {
    "dxge tx pcode err cnt is                ", "dxge tx pkt len error is                ",
    "dxge tx bb num len error is             ", "dxge tx ip discard pkt cnt is           ",
    "dxge tx pkt head len error cnt is       ", "dxge tx ip reserve pkt cnt is           ",
    "dxge tx mtu default err cnt is          ", "dxge tx mtu too short cnt is            ",
    "dxge tx ip head len err cnt is          ", "dxge tx bb len error cnt is             ",
    "dxge tx tcp chain lastbb payload zero   ", "dxge tx tcp chain len error is          ",
    "dxge tx udp len error cnt is            ", "dxge tx pdid invalid is                 ",
    "dxge tx dma int error pd cnt is         ", "dxge tx dma int error bb cnt is         ",
};

// One counter for each bit of the receive error code.
constexpr const char* RX_COUNTER_TEXTS[] = {
    "dxge rx trpg interface err cnt is       ", "dxge rx pkt too short cnt is            ",
    "dxge rx pkt too long cnt is             ", "dxge rx ip head too short cnt is        ",
    "dxge rx tcp head too short cnt is       ", "dxge rx udp checksum err cnt is         ",
    "dxge rx tcp checksum err cnt is         ", "dxge rx tcp head len err cnt is         ",
    "dxge rx ipv4 head checksum err cnt is   ", "dxge rx ipv4 head len err cnt is        ",
    "dxge rx ip pkt len err cnt is           ", "dxge rx udp pkt len err cnt is          ",
};

constexpr const char* RX_ERROR_TEXTS[] = {
    "--->The error signal of the trpg interface is 1!!!",
    "--->The input packet is too short!!!",
    "--->The input packet is too long!!!",
    "--->The IP header length is too short!!!",
    "--->The TCP header is too short!!!",
    "--->The UDP checksum fails!!!",
    "--->The TCP checksum fails!!!",
    "--->The TCP header length valid!!!",
    "--->The ipv4 header checksum is abnormal!!!",
    "--->The length of the ipv4 header is abnormal!!!",
    "--->The length of the ip packet is abnormal, including IPV4/6!!!",
    "--->The udp packet length is abnormal!!!",
};
static_assert(std::size(RX_ERROR_TEXTS) == std::size(RX_COUNTER_TEXTS));

int32_t show_counters(uint64_t first, std::span<const char* const> texts) {
  kx_print("======Debug printf anomaly statistics======\n");
  for (size_t i = 0; i < texts.size(); ++i) {
    uint32_t value = 0;
    if (bttl_reg_read(first + 4 * i, &value) != 0) {
      return -1;
    }
    kx_print("%s-->0x%x\n", texts[i], value);
  }
  return 0;
}

}  // namespace

int32_t RdlBttlDxgeTxIsrCnt(uint64_t instance) {
  return show_counters(instance + TX_COUNTERS, TX_COUNTER_TEXTS);
}

int32_t RdlBttlDxgeRxIsrCnt(uint64_t instance) {
  return show_counters(instance + RX_COUNTERS, RX_COUNTER_TEXTS);
}

void RdlBttlDxgeRxErrorcode(uint16_t code) {
  kx_print("dxge errcode value is 0x%x\n", code);
  if (code == 0) {
    kx_print("dxge errcode check succ!!!\n");
    return;
  }
  for (size_t bit = 0; bit < std::size(RX_ERROR_TEXTS); ++bit) {
    kx_print("dxge errcode check %s\n", (code >> bit & 1) != 0 ? RX_ERROR_TEXTS[bit] : "normal");
  }
}
