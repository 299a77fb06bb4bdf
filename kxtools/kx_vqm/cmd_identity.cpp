// Version and date of the engine, and the counters of its virtual functions.
#include <string_view>

#include "cmd_item.h"
#include "commands.h"
#include "common/report.h"
#include "fields.h"
#include "registers.h"

namespace {

const kx_register_description& register_of(std::string_view list) {
  return VQM_REGISTERS.list(list).front();
}

// Packets and bytes sent, packets and bytes received, packets dropped.
void vf_show(uint64_t vf) {
  const std::span<const kx_register_description> rows = VQM_REGISTERS.list("vf");
  const auto count = [rows, vf](size_t row) { return vqm_register_read(rows[row], vf); };
  kx_print("\033[1;36mvf[%ld]\n\033[0m", static_cast<long>(vf));
  kx_print("\033[0;33m  send pkt \033[0m: \t%lu\n", count(0));
  kx_print("\033[0;33m  send byte\033[0m: \t%lu\n", count(1));
  kx_print("\033[0;33m  receive pkt \033[0m: %lu\n", count(2));
  kx_print("\033[0;33m  receive byte\033[0m: %lu\n", count(3));
  kx_print("\033[0;33m  drop pkt cnt\033[0m: %u\n", static_cast<uint32_t>(count(4)));
}

void vf_stat(const char* word) {
  if (std::string_view(word) == "all") {
    const uint32_t failures = vqm_reg_failures();
    for (uint64_t vf = 0; vf <= VQM_VF_MAX && vqm_reg_failures() == failures; ++vf) {
      vf_show(vf);
    }
    return;
  }
  uint64_t vf = 0;
  if (vqm_cmd_number(word, &vf) && kxvqm_check_para_illegal(0, VQM_VF_MAX, static_cast<int64_t>(vf)) == 0) {
    vf_show(vf);
  }
}

}  // namespace

void glb_print_version(uint64_t, char**, uint32_t count) {
  if (vqm_cmd_count_check(count, 2, 2)) {
    vqm_register_show(register_of("glb.version"), 0);
  }
}

void glb_print_date(uint64_t, char**, uint32_t count) {
  if (vqm_cmd_count_check(count, 2, 2)) {
    vqm_register_show(register_of("glb.date"), 0);
  }
}

void two_stage_vf_stat(uint64_t, char** words, uint32_t count) {
  const uint32_t back = vqm_cmd_words_back();
  if (vqm_cmd_count_check(count, back + 1, back + 1)) {
    vf_stat(words[back]);
  }
}
