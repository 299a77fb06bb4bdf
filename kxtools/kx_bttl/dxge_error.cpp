// Anomaly counters and error codes of a DXGE instance.
#include <iterator>

#include "common/report.h"
#include "handlers.h"
#include "registers.h"

namespace {

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
static_assert(std::size(RX_ERROR_TEXTS) == BTTL_REGISTERS.list("dxge.rx.error").size());

int32_t show_counters(uint64_t instance, std::string_view list) {
  kx_print("======Debug printf anomaly statistics======\n");
  for (const kx_register_description& row : BTTL_REGISTERS.list(list)) {
    uint32_t value = 0;
    if (bttl_reg_read(instance, row, 0, &value) != 0) {
      return -1;
    }
    const std::string_view name = BTTL_REGISTERS.view(row.name);
    kx_print("%-40.*s-->0x%x\n", static_cast<int>(name.size()), name.data(), value);
  }
  return 0;
}

}  // namespace

int32_t RdlBttlDxgeTxIsrCnt(uint64_t instance) {
  return show_counters(instance, "dxge.tx.error");
}

int32_t RdlBttlDxgeRxIsrCnt(uint64_t instance) {
  return show_counters(instance, "dxge.rx.error");
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
