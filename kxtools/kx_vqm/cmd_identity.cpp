// Version and date of the engine, and the counters of its virtual functions.
#include <string_view>

#include "cmd_item.h"
#include "commands.h"
#include "common/report.h"
#include "fields.h"
#include "reg_access.h"
#include "registers.h"

namespace {

constexpr std::span<const kx_field_description> vqm_version =
    VQM_REGISTERS.fields(VQM_REGISTERS.list("glb.version").front());
constexpr std::span<const kx_field_description> vqm_date = VQM_REGISTERS.fields(VQM_REGISTERS.list("glb.date").front());

constexpr uint64_t VERSION = 0;
constexpr uint64_t DATE = 4;

// The counter area: one array a counter, indexed by virtual function.
constexpr uint64_t VF_COUNTERS = 0x400000;
constexpr uint64_t VF_SEND_PACKETS = 0x10000;
constexpr uint64_t VF_SEND_BYTES = 0x20000;
constexpr uint64_t VF_RECEIVE_PACKETS = 0x30000;
constexpr uint64_t VF_RECEIVE_BYTES = 0x40000;
constexpr uint64_t VF_DROPS = 0x50000;

void vf_show(uint64_t base, uint64_t vf) {
  const uint64_t area = base + VF_COUNTERS;
  kx_print("\033[1;36mvf[%ld]\n\033[0m", static_cast<long>(vf));
  kx_print("\033[0;33m  send pkt \033[0m: \t%lu\n", vqm_reg_read_64(area + VF_SEND_PACKETS + 8 * vf));
  kx_print("\033[0;33m  send byte\033[0m: \t%lu\n", vqm_reg_read_64(area + VF_SEND_BYTES + 8 * vf));
  kx_print("\033[0;33m  receive pkt \033[0m: %lu\n", vqm_reg_read_64(area + VF_RECEIVE_PACKETS + 8 * vf));
  kx_print("\033[0;33m  receive byte\033[0m: %lu\n", vqm_reg_read_64(area + VF_RECEIVE_BYTES + 8 * vf));
  kx_print("\033[0;33m  drop pkt cnt\033[0m: %u\n", vqm_reg_read_32(area + VF_DROPS + 4 * vf));
}

void vf_stat(uint64_t base, const char* word) {
  if (std::string_view(word) == "all") {
    const uint32_t failures = vqm_reg_failures();
    for (uint64_t vf = 0; vf <= VQM_VF_MAX && vqm_reg_failures() == failures; ++vf) {
      vf_show(base, vf);
    }
    return;
  }
  uint64_t vf = 0;
  if (vqm_cmd_number(word, &vf) && kxvqm_check_para_illegal(0, VQM_VF_MAX, static_cast<int64_t>(vf)) == 0) {
    vf_show(base, vf);
  }
}

}  // namespace

void glb_print_version(uint64_t base, char**, uint32_t count) {
  if (vqm_cmd_count_check(count, 2, 2)) {
    const uint32_t value = vqm_reg_read_32(base + VERSION);
    vqm_print_title("vqm version");
    vqm_print_fields(value, vqm_version);
  }
}

void glb_print_date(uint64_t base, char**, uint32_t count) {
  if (vqm_cmd_count_check(count, 2, 2)) {
    const uint32_t value = vqm_reg_read_32(base + DATE);
    vqm_print_title("vqm date");
    vqm_print_fields(value, vqm_date);
  }
}

void two_stage_vf_stat(uint64_t base, char** words, uint32_t count) {
  if (vqm_cmd_count_check(count, 2, 2)) {
    vf_stat(base, words[1]);
  }
}

void cnt_vf_stat(uint64_t base, char** words, uint32_t count) {
  if (vqm_cmd_count_check(count, 3, 3)) {
    vf_stat(base, words[2]);
  }
}
