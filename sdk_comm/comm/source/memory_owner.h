// Owner of memory from ic_comm_malloc_memory.
#pragma once

#include <memory>

#include "qlix_comm/memory.h"

namespace qlix_comm_detail {

struct memory_release {
  void operator()(void* memory) const {
    ic_comm_free_memory(memory);
  }
};

using memory_owner = std::unique_ptr<void, memory_release>;

}  // namespace qlix_comm_detail
