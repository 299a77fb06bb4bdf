#include "fields.h"

#include "common/report.h"
#include "registers.h"

namespace {

uint32_t print_zero = 1;

}  // namespace

void vqm_print_title(std::string_view title) {
  kx_print("\033[1;36m[%.*s]\033[0m\n", static_cast<int>(title.size()), title.data());
}

void vqm_print_fields(uint64_t value, std::span<const kx_field_description> fields) {
  for (const kx_field_description& field : fields) {
    const uint64_t part = kx_field_value(field, value);
    if (part != 0 || print_zero == 1) {
      const std::string_view name = VQM_REGISTERS.view(field.name);
      kx_print("\033[0;33m  %-28.*s\033[0m: 0x%llx\n", static_cast<int>(name.size()), name.data(),
               static_cast<unsigned long long>(part));
    }
  }
}

void vqm_print_zero_set(uint32_t print) {
  print_zero = print;
}
