// Buffer manager, queue manager and large-receive-offload block.
#include "common/report.h"
#include "handlers.h"
#include "registers.h"

/// Defines the function that shows a list of the block at `base` below its heading.
#define BTTL_SHOW(name, base, list, heading)                    \
  int32_t name(uint32_t, uint32_t, uint32_t) {                  \
    kx_print("============Now read " heading "============\n"); \
    return bttl_list_show(base, list, 0);                       \
  }

BTTL_SHOW(qman_queue_state, KX_CARD_QMAN, "qman.que", "qman que")
BTTL_SHOW(qman_cfg, KX_CARD_QMAN, "qman.cfg", "qman cfg")
BTTL_SHOW(bman_cfg, KX_CARD_BMAN, "bman.cfg", "bman cfg")
BTTL_SHOW(HalLroCfgShow, KX_CARD_LRO, "lro.cfg", "lro cfg")

int32_t qman_state(uint32_t, uint32_t first, uint32_t last) {
  if (first > last || last > BTTL_QUEUE_MAX) {
    kx_print("invalid qman queue [0-0x%x]!\n", BTTL_QUEUE_MAX);
    return -1;
  }
  for (uint32_t queue = first; queue <= last; ++queue) {
    kx_print("============Now read qman stat of queue 0x%x============\n", queue);
    if (bttl_list_show(KX_CARD_QMAN, "qman.stat", queue) != 0) {
      return -1;
    }
  }
  return 0;
}

int32_t bman_state(uint32_t, uint32_t pool, uint32_t) {
  if (pool > BTTL_POOL_MAX) {
    kx_print("invalid bman pool [0-%u]!\n", BTTL_POOL_MAX);
    return -1;
  }
  kx_print("============Now read bman stat of pool %u============\n", pool);
  return bttl_list_show(KX_CARD_BMAN, "bman.stat", pool);
}
