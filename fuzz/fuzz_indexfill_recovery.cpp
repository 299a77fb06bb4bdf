// A stored index fill from outside: recovery must refuse it or leave an index fill whose runs are disjoint, in order
// and inside its positions, and which then works. The blob carries no length, so what is shorter than its own header
// says is turned away here, as a caller must do. A first byte lets positions be used before, so that runs are taken
// over.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "qlix_comm/indexfill.h"
#include "qlix_comm/print.h"

namespace {

std::uint32_t move(std::uint32_t from, std::uint32_t to, qlix_comm_indexfill* fill) {
  if (from >= fill->total || to >= fill->total) {
    abort();
  }
  return 0;
}

void runs_check(const qlix_comm_indexfill& fill) {
  std::uint64_t end = 0;
  std::uint64_t used = 0;
  for (const auto* order = fill.tree.order.first; order != nullptr; order = order->next) {
    const auto* group = static_cast<const qlix_comm_indexfill_group*>(order->data);
    if (group->start < end) {
      abort();
    }
    end = std::uint64_t{group->start} + group->count;
    used += group->count;
  }
  if (end > fill.total || used != fill.used) {
    abort();
  }
}

bool length_holds(const std::uint8_t* blob, std::size_t size) {
  std::uint32_t header[3];
  if (size < sizeof header) {
    return false;
  }
  memcpy(header, blob, sizeof header);
  return header[1] <= 4096 && sizeof header + std::uint64_t{header[0]} * header[1] <= size &&
         (header[0] == 0 || header[1] >= 8);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qlix_comm_set_print_level(QLIX_TRACE_PRINT);
  qlix_comm_set_print_en(0);
  if (size < 1 || !length_holds(data + 1, size - 1)) {
    return 0;
  }
  const std::vector<std::uint8_t> blob(data + 1, data + size);
  std::uint32_t header[3];
  memcpy(header, blob.data(), sizeof header);
  const std::vector<std::uint8_t> key(4096, data[0]);
  qlix_comm_indexfill fill{};
  std::uint32_t position;
  if (data[0] != 0 && header[1] > 8) {
    qlix_comm_indexfill_init(&fill, header[2], nullptr, move, header[1] - 8);
    for (std::uint32_t i = 0; i < data[0] % 16u; ++i) {
      qlix_comm_indexfill_alloc(&fill, &position, key.data());
    }
  }
  if (qlix_comm_indexfill_recovery(&fill, 0, blob.data(), nullptr, move) == 0) {
    for (int i = 0; i < 40; ++i) {
      runs_check(fill);
      if (qlix_comm_indexfill_alloc(&fill, &position, key.data()) == 0 && i % 3 == 0) {
        qlix_comm_indexfill_free(&fill, position, key.data(), &position);
      }
    }
  }
  if (fill.tree.inited != 0) {
    runs_check(fill);
  }
  qlix_comm_indexfill_destroy(&fill);
  return 0;
}
