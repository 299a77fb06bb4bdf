// DXGE, the packet interface: one instance to the network processor, one to the queue engine.
#include <initializer_list>
#include <string_view>

#include "common/report.h"
#include "handlers.h"
#include "registers.h"

namespace {

struct dxge_selection {
  uint64_t instance;
  bool rx;
  bool tx;
};

int32_t dxge_port_txrx_get(uint32_t path, uint32_t port, dxge_selection* selection) {
  switch (path) {
    case 0:
      kx_print("dxge module to NP\n");
      selection->instance = KX_CARD_DXGE_TO_NP;
      break;
    case 1:
      kx_print("dxge module to VQM\n");
      selection->instance = KX_CARD_DXGE_TO_VQM;
      break;
    default:
      kx_print("invalid np vqm module [0-1]!\n");
      return -1;
  }
  if (port < BTTL_PORT_RX || port > (BTTL_PORT_RX | BTTL_PORT_TX)) {
    kx_print("invalid dxge tx rx port [1-3]!\n");
    return -1;
  }
  selection->rx = (port & BTTL_PORT_RX) != 0;
  selection->tx = (port & BTTL_PORT_TX) != 0;
  return 0;
}

int32_t select_port(uint32_t path, uint32_t port, dxge_selection* selection) {
  if (dxge_port_txrx_get(path, port, selection) != 0) {
    kx_print("dxge_port_txrx_get failed\n");
    return -1;
  }
  return 0;
}

using lists = std::initializer_list<std::string_view>;

int32_t show_side(uint64_t instance, const char* side, const char* what, lists shown) {
  kx_print("============Now read dxge %s %s============\n", side, what);
  for (const std::string_view list : shown) {
    if (bttl_list_show(instance, list, 0) != 0) {
      return -1;
    }
  }
  return 0;
}

/// Shows lists of the selected sides, each side below its heading.
int32_t show_sides(uint32_t path, uint32_t port, const char* what, lists rx, lists tx) {
  dxge_selection selection = {};
  if (select_port(path, port, &selection) != 0 ||
      (selection.rx && show_side(selection.instance, "rx", what, rx) != 0)) {
    return -1;
  }
  return selection.tx ? show_side(selection.instance, "tx", what, tx) : 0;
}

}  // namespace

int32_t dxge_dump(uint32_t, uint32_t path, uint32_t port) {
  return show_sides(path, port, "reg", {"dxge.rx.cfg", "dxge.rx.state", "dxge.rx.press", "dxge.rx.debug"},
                    {"dxge.tx.cfg", "dxge.tx.state", "dxge.tx.press"});
}

int32_t dxge_debug(uint32_t, uint32_t path, uint32_t port) {
  dxge_selection selection = {};
  if (select_port(path, port, &selection) != 0 || (selection.rx && RdlBttlDxgeRxIsrCnt(selection.instance) != 0)) {
    return -1;
  }
  return selection.tx ? RdlBttlDxgeTxIsrCnt(selection.instance) : 0;
}

int32_t dxge_config(uint32_t, uint32_t path, uint32_t port) {
  return show_sides(path, port, "cfg", {"dxge.rx.cfg"}, {"dxge.tx.cfg"});
}

int32_t dxge_press(uint32_t, uint32_t path, uint32_t port) {
  return show_sides(path, port, "press", {"dxge.rx.press"}, {"dxge.tx.press"});
}

int32_t rx_debug_1(uint32_t, uint32_t path, uint32_t port) {
  dxge_selection selection = {};
  if (select_port(path, port, &selection) != 0) {
    return -1;
  }
  if (!selection.rx) {
    kx_print("dxge rx_debug needs the rx port!\n");
    return -1;
  }
  uint32_t code = 0;
  if (show_side(selection.instance, "rx", "debug", {"dxge.rx.debug"}) != 0 ||
      bttl_reg_read(selection.instance, BTTL_REGISTERS.list("dxge.rx.debug").front(), 0, &code) != 0) {
    return -1;
  }
  RdlBttlDxgeRxErrorcode(static_cast<uint16_t>(code));
  return 0;
}
