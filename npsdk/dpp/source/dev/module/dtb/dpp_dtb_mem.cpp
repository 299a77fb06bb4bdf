#include "dpp_dtb/dpp_dtb_mem.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "dpp_chip/dpp_dev_value.h"
#include "dpp_dtb_internal.h"
#include "qlix_comm/print.h"

#ifndef MAP_HUGE_SHIFT
#define MAP_HUGE_SHIFT 26
#endif

namespace {

constexpr size_t HUGE_PAGE_BYTES = size_t{2} << 20;
constexpr uint32_t HUGE_PAGE_LOG2 = 21;
#define POOL "/sys/kernel/mm/hugepages/hugepages-2048kB/nr_hugepages"
constexpr uint64_t DUMP_OFFSET = HUGE_PAGE_BYTES / 2;
static_assert(uint64_t{DPP_DTB_ITEM_SIZE} * DPP_DTB_ITEM_NUM <= DUMP_OFFSET);

/// Owns one huge page.
class huge_page {
 public:
  huge_page() = default;
  huge_page(const huge_page&) = delete;
  huge_page& operator=(const huge_page&) = delete;
  ~huge_page() {
    release();
  }

  uint32_t take() {
    void* page = mmap(
        nullptr, HUGE_PAGE_BYTES, PROT_READ | PROT_WRITE,
        MAP_SHARED | MAP_ANONYMOUS | MAP_HUGETLB | static_cast<int>(HUGE_PAGE_LOG2 << MAP_HUGE_SHIFT) | MAP_POPULATE,
        -1, 0);
    if (page == MAP_FAILED) {
      // A kernel with larger pages may have huge pages of other sizes only.
      QLIX_COMM_TRACE_ERROR("%s: no huge page of 2 MiB for the queue items: %s (see " POOL ")\n", __func__,
                            errno == EINVAL ? "this kernel has none of that size" : std::strerror(errno));
      return DPP_RC_DTB_MEMORY;
    }
    page_ = page;
    std::memset(page_, 0, HUGE_PAGE_BYTES);
    return bus_address_find();
  }
  void release() {
    if (page_ != nullptr) {
      munmap(std::exchange(page_, nullptr), HUGE_PAGE_BYTES);
    }
  }
  bool held() const {
    return page_ != nullptr;
  }
  uint64_t address() const {
    return reinterpret_cast<uint64_t>(page_);
  }
  uint64_t bus() const {
    return bus_;
  }

 private:
  /// The kernel shows frame numbers to privileged readers only; others read 0.
  uint32_t bus_address_find() {
    constexpr uint64_t PRESENT = uint64_t{1} << 63;
    constexpr uint64_t FRAME_MASK = (uint64_t{1} << 55) - 1;
    const auto page_bytes = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
    uint64_t entry = 0;
    const int fd = open("/proc/self/pagemap", O_RDONLY | O_CLOEXEC);
    const bool read_all =
        fd >= 0 && pread(fd, &entry, sizeof(entry), static_cast<off_t>(address() / page_bytes * sizeof(entry))) ==
                       static_cast<ssize_t>(sizeof(entry));
    if (fd >= 0) {
      close(fd);
    }
    if (!read_all || (entry & PRESENT) == 0 || (entry & FRAME_MASK) == 0) {
      QLIX_COMM_TRACE_ERROR("%s: the physical address of the queue items is hidden from this process: run as root\n",
                            __func__);
      release();
      return DPP_RC_DTB_MEMORY;
    }
    bus_ = (entry & FRAME_MASK) * page_bytes;
    return QLIX_COMM_OK;
  }

  void* page_ = nullptr;
  uint64_t bus_ = 0;
};

struct host_queue {
  huge_page page;
  uint32_t queue_id = 0;
  uint32_t vport = 0;  ///< who took the queue; the device's may have changed when it goes back
};

/// Used by the thread that sets the device up. The pages are given back when the process ends, by the system.
host_queue* host_queue_of(uint32_t dev_id) {
  constinit static host_queue queues[DPP_DEV_MAX];
  return &queues[dev_id];
}

uint32_t queue_init(uint32_t dev_id, uint32_t queue_id, const huge_page& page) {
  const dpp_dtb_queue_cfg down = {0, page.bus(), page.address()};
  const dpp_dtb_queue_cfg dump = {0, page.bus() + DUMP_OFFSET, page.address() + DUMP_OFFSET};
  QLIX_COMM_CALL(dpp_dtb_queue_down_init, dev_id, queue_id, &down);
  return QLIX_COMM_CALLED(dpp_dtb_queue_dump_init, dev_id, queue_id, &dump);
}

uint32_t host_vport(uint32_t dev_id) {
  uint32_t vport = 0;
  return dpp_dev_vport_get(dev_id, &vport) == QLIX_COMM_OK ? vport : 0;
}

}  // namespace

uint32_t host_dtb_huge_mem_init(uint32_t dev_id) {
  QLIX_COMM_CHECK_INDEX_UPPER(dev_id, DPP_DEV_MAX - 1);
  dpp_dev_cfg* dev = dpp_dev_cfg_get(dev_id);
  QLIX_COMM_CHECK_POINT(dev);
  host_queue* host = host_queue_of(dev_id);
  if (host->page.held()) {
    QLIX_COMM_PRINT("device %u: dtb queue %u has its memory already\n", dev_id, host->queue_id);
    return QLIX_COMM_OK;
  }
  QLIX_COMM_PASS(host->page.take());
  uint32_t rc = dpp_dtb_mgr_create(dev_id);
  if (rc == QLIX_COMM_OK) {
    host->vport = host_vport(dev_id);
    rc = dpp_dtb_queue_requst(dev_id, host->vport, &host->queue_id);
  }
  if (rc != QLIX_COMM_OK) {
    host->page.release();
    return rc;
  }
  rc = queue_init(dev_id, host->queue_id, host->page);
  if (rc != QLIX_COMM_OK) {
    host_dtb_huge_mem_release(dev_id);
    return rc;
  }
  dev->dma_vir_addr = host->page.address();
  dev->dma_phy_addr = host->page.bus();
  QLIX_COMM_PRINT("device %u: dtb queue %u, bus address 0x%llx\n", dev_id, host->queue_id,
                  static_cast<unsigned long long>(host->page.bus()));
  return QLIX_COMM_OK;
}

uint32_t host_dtb_queue_get(uint32_t dev_id, uint32_t* queue_id) {
  QLIX_COMM_CHECK_INDEX_UPPER(dev_id, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_POINT(queue_id);
  const host_queue* host = host_queue_of(dev_id);
  if (!host->page.held()) {
    QLIX_COMM_TRACE_ERROR("device %u has no dtb queue: run host_dtb_huge_mem_init first\n", dev_id);
    return DPP_RC_DTB_QUEUE_NOT_INIT;
  }
  *queue_id = host->queue_id;
  return QLIX_COMM_OK;
}

uint32_t host_dtb_huge_mem_release(uint32_t dev_id) {
  QLIX_COMM_CHECK_INDEX_UPPER(dev_id, DPP_DEV_MAX - 1);
  host_queue* host = host_queue_of(dev_id);
  if (!host->page.held()) {
    return QLIX_COMM_OK;
  }
  const uint32_t rc = dpp_dtb_queue_release(dev_id, host->vport, host->queue_id);
  if (dpp_dev_cfg* dev = dpp_dev_cfg_get(dev_id); dev != nullptr) {
    dev->dma_vir_addr = 0;
    dev->dma_phy_addr = 0;
  }
  host->page.release();
  return rc;
}
