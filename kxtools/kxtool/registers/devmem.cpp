// "regsmem|devmem": words of a unit's address space.
#include <array>
#include <cinttypes>

#include "common/nearest.h"
#include "common/report.h"
#include "common/signals.h"
#include "devmem_words.h"
#include "kx_pcie/tunnel.h"
#include "registers/registers.h"
#include "startup/words.h"
#include "units.h"

namespace {

constexpr uint32_t WORDS_PER_LINE = 4;

int read_words(const devmem_request& request) {
  for (uint32_t i = 0; i < request.length / 4; ++i) {
    if (kx_signal_guard::raised() != 0) {
      kx_print("\ninterrupted\n");
      return UNIT_INTERRUPTED;
    }
    uint32_t value = 0;
    const uint64_t address = request.address + uint64_t{4} * i;
    const int32_t ret = read_val_from_kx(address, &value);
    const bool line_starts = i % WORDS_PER_LINE == 0;
    if (ret != 0) {
      KXTOOLS_ERR("card address 0x%" PRIx64 " cannot be read\n", address);
      return 1;
    }
    if (line_starts) {
      kx_print("0x%010" PRIx64 ":", address);
    }
    kx_print(" %08x%s", value, (i + 1) % WORDS_PER_LINE == 0 || (i + 1) * 4 == request.length ? "\n" : "");
  }
  return 0;
}

int write_word(const devmem_request& request) {
  if (write_val_to_kx(request.address, request.value) != 0) {
    KXTOOLS_ERR("card address 0x%" PRIx64 " cannot be written\n", request.address);
    return 1;
  }
  if (!request.verifies) {
    kx_print("0x%010" PRIx64 ": wrote %08x\n", request.address, request.value);
    return 0;
  }
  uint32_t value = 0;
  if (read_val_from_kx(request.address, &value) != 0) {
    KXTOOLS_ERR("card address 0x%" PRIx64 " was written, but cannot be read back\n", request.address);
    return 1;
  }
  kx_print("0x%010" PRIx64 ": wrote %08x, reads %08x\n", request.address, request.value, value);
  if (value != request.value) {
    kx_error_print("kxtool: devmem: card address 0x%" PRIx64 " does not hold what was written\n", request.address);
    return 1;
  }
  return 0;
}

// What is wrong when the words do not begin with a unit.
void unit_explain(const kxtool_cmd_ctx& ctx) {
  if (ctx.argc == 0) {
    kxtool_words_explain(ctx, std::array<const char*, 1>{});
  } else {
    kx_unknown_word_print("unit of the card", ctx.argv[0], kx_names_of(kxtool_units_get(), &kxtools_unit::name));
  }
}

}  // namespace

const char kxtool_devmem_usage[] = R"(    COMMAND:
        regsmem|devmem
    SYNOPSIS:
        kxtool regsmem|devmem <device> {|vqm||pcie|np|pcsmac} (addr) <baseAddr>
        kxtool regsmem|devmem <device> {|vqm||pcie|np|pcsmac} (addr) <baseAddr> len <bytes>
        kxtool regsmem|devmem <device> {|vqm||pcie|np|pcsmac} (addr) <baseAddr> val <value> [--verify]
    DESCRIPTION:
        Shows one or more 32-bit words of a unit's register space, or writes one. Reading clears some
        registers; writing a wrong one can stop the card. Super user.
    OPTIONS:
        <device>      network interface of the card
        vqm           virtio queue engine, from its own registers on: those, what the host sees of it from
                      0x1000000 on, its data path from 0x5a00000 on
        pcie          configuration space of the endpoint controllers 0 to 4, 0x1000 bytes each
        np            network processor
        pcsmac        network ports, the port block of the network processor
        <baseAddr>    address in the unit, a multiple of 4; hexadecimal with 0x or decimal, as all numbers
        <bytes>       how much to show, a multiple of 4, at most 0x10000
        <value>       32 bits to write
        --verify      read back what was written; without it nothing is read, because a read may clear
    EXIT STATUS:
        0 shown or written, 1 not, or other bits are read back; 130 interrupted
    EXAMPLES:
        kxtool devmem eth0 np addr 0x1000
        kxtool devmem eth0 vqm addr 0x40 len 20
        kxtool devmem eth0 vqm addr 0x30 val 1 --verify)";

int kxtool_devmem(kxtool_cmd_ctx* ctx) {
  devmem_request request;
  const kxtools_unit* unit = unit_find(ctx->argc > 0 ? ctx->argv[0] : "");
  if (unit == nullptr) {
    kx_print("%s\n", ctx->option->usage);
    unit_explain(*ctx);
    return 1;
  }
  if (!devmem_words_parse(ctx->argc - 1, ctx->argv + 1, &request)) {
    kx_print("%s\n", ctx->option->usage);
    return 1;
  }
  const kx_signal_guard guard;
  if (!devmem_request_check(*unit, &request) || units_device_bind(*ctx) != 0) {
    return 1;
  }
  return request.writes ? write_word(request) : read_words(request);
}
