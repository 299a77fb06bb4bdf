// Memory that host and chip share: huge pages, because the chip needs items at consecutive bus addresses.
#pragma once

#include <cstdint>

/// Takes a queue and one huge page of 2 MiB for it, down items in its first half and dump items in its second, records
/// the page's addresses in the device and sets both sides of the queue up. One error line and a code other than 0 when
/// the system has no huge page to give or hides the page's physical address. The page goes back with the queue or at
/// the end of the process. A second call for a device that has a page says so and returns 0.
uint32_t host_dtb_huge_mem_init(uint32_t dev_id);
/// The queue that host_dtb_huge_mem_init took.
uint32_t host_dtb_queue_get(uint32_t dev_id, uint32_t* queue_id);
/// Gives queue and page back.
uint32_t host_dtb_huge_mem_release(uint32_t dev_id);
