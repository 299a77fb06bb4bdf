// Buffer manager, queue manager and large-receive-offload block.
#include "common/report.h"
#include "handlers.h"
#include "registers.h"

int32_t qman_queue_state(uint32_t, uint32_t, uint32_t) {
  kx_print("============Now read qman que============\n");
  return bttl_list_show(KX_CARD_QMAN, "qman.que", 0);
}

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

int32_t qman_cfg(uint32_t, uint32_t, uint32_t) {
  kx_print("============Now read qman cfg============\n");
  return bttl_list_show(KX_CARD_QMAN, "qman.cfg", 0);
}

int32_t bman_state(uint32_t, uint32_t pool, uint32_t) {
  if (pool > BTTL_POOL_MAX) {
    kx_print("invalid bman pool [0-%u]!\n", BTTL_POOL_MAX);
    return -1;
  }
  kx_print("============Now read bman stat of pool %u============\n", pool);
  return bttl_list_show(KX_CARD_BMAN, "bman.stat", pool);
}

int32_t bman_cfg(uint32_t, uint32_t, uint32_t) {
  kx_print("============Now read bman cfg============\n");
  return bttl_list_show(KX_CARD_BMAN, "bman.cfg", 0);
}

int32_t HalLroCfgShow(uint32_t, uint32_t, uint32_t) {
  kx_print("============Now read lro cfg============\n");
  return bttl_list_show(KX_CARD_LRO, "lro.cfg", 0);
}
