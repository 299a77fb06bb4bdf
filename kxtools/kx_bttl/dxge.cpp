// DXGE, the packet interface: one instance to the network processor, one to the queue engine.
#include <span>
#include <string_view>

#include "common/report.h"
#include "dxge_error.h"
#include "handlers.h"
#include "registers.h"

namespace {

constexpr uint32_t PORT_RX = 1;
constexpr uint32_t PORT_TX = 2;
constexpr uint32_t PORT_BOTH = PORT_RX | PORT_TX;

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
  if (port < PORT_RX || port > PORT_BOTH) {
    kx_print("invalid dxge tx rx port [1-3]!\n");
    return -1;
  }
  selection->rx = (port & PORT_RX) != 0;
  selection->tx = (port & PORT_TX) != 0;
  return 0;
}

int32_t select_port(uint32_t path, uint32_t port, dxge_selection* selection) {
  if (dxge_port_txrx_get(path, port, selection) != 0) {
    kx_print("dxge_port_txrx_get failed\n");
    return -1;
  }
  return 0;
}

/// Shows lists of the selected sides, each side below its heading.
int32_t show_sides(const dxge_selection& selection, const char* what, std::span<const std::string_view> rx,
                   std::span<const std::string_view> tx) {
  struct side {
    bool selected;
    const char* name;
    std::span<const std::string_view> lists;
  };
  for (const side& side : {side{selection.rx, "rx", rx}, side{selection.tx, "tx", tx}}) {
    if (!side.selected) {
      continue;
    }
    kx_print("============Now read dxge %s %s============\n", side.name, what);
    for (const std::string_view list : side.lists) {
      if (bttl_list_show(selection.instance, list, 0) != 0) {
        return -1;
      }
    }
  }
  return 0;
}

}  // namespace

int32_t dxge_dump(uint32_t, uint32_t path, uint32_t port) {
  constexpr std::string_view RX_LISTS[] = {"dxge.rx.cfg", "dxge.rx.state", "dxge.rx.press", "dxge.rx.debug"};
  constexpr std::string_view TX_LISTS[] = {"dxge.tx.cfg", "dxge.tx.state", "dxge.tx.press"};
  dxge_selection selection = {};
  return select_port(path, port, &selection) != 0 ? -1 : show_sides(selection, "reg", RX_LISTS, TX_LISTS);
}

int32_t dxge_debug(uint32_t, uint32_t path, uint32_t port) {
  dxge_selection selection = {};
  if (select_port(path, port, &selection) != 0) {
    return -1;
  }
  if (selection.rx && RdlBttlDxgeRxIsrCnt(selection.instance) != 0) {
    return -1;
  }
  return selection.tx ? RdlBttlDxgeTxIsrCnt(selection.instance) : 0;
}

int32_t dxge_config(uint32_t, uint32_t path, uint32_t port) {
  constexpr std::string_view RX_LISTS[] = {"dxge.rx.cfg"};
  constexpr std::string_view TX_LISTS[] = {"dxge.tx.cfg"};
  dxge_selection selection = {};
  return select_port(path, port, &selection) != 0 ? -1 : show_sides(selection, "cfg", RX_LISTS, TX_LISTS);
}

int32_t dxge_press(uint32_t, uint32_t path, uint32_t port) {
  constexpr std::string_view RX_LISTS[] = {"dxge.rx.press"};
  constexpr std::string_view TX_LISTS[] = {"dxge.tx.press"};
  dxge_selection selection = {};
  return select_port(path, port, &selection) != 0 ? -1 : show_sides(selection, "press", RX_LISTS, TX_LISTS);
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
  kx_print("============Now read dxge rx debug============\n");
  uint32_t code = 0;
  if (bttl_list_show(selection.instance, "dxge.rx.debug", 0) != 0 ||
      bttl_reg_read(selection.instance, BTTL_REGISTERS.list("dxge.rx.debug").front(), 0, &code) != 0) {
    return -1;
  }
  RdlBttlDxgeRxErrorcode(static_cast<uint16_t>(code));
  return 0;
}
