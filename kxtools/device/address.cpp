#include "device/address.h"

#include <charconv>
#include <cstring>
#include <string_view>

#include "common/report.h"

namespace {

constexpr size_t SEGMENT_DIGITS = 4;
constexpr size_t BUS_DIGITS = 2;
constexpr size_t DEVICE_DIGITS = 2;
constexpr uint32_t FUNCTION_MAX = 7;
constexpr uint32_t DEVICE_MASK = 0x1F;

// Reads 1 to `digits_max` hexadecimal digits that make up the whole of `text`.
bool hex_read(std::string_view text, size_t digits_max, uint32_t* value) {
  const auto [rest, error] = std::from_chars(text.begin(), text.end(), *value, 16);
  return error == std::errc() && rest == text.end() && text.size() <= digits_max;
}

struct sbdf_fields {
  std::string_view segment, bus, device, function;
};

// Splits "segment:bus:device.function". False, whatever the fields hold, when the separators are others.
bool fields_split(std::string_view text, sbdf_fields* fields) {
  constexpr auto NPOS = std::string_view::npos;
  const size_t first = text.find(':');
  const size_t second = first == NPOS ? NPOS : text.find(':', first + 1);
  if (second == NPOS || text.find(':', second + 1) != NPOS) {
    return false;
  }
  const size_t dot = text.find('.', second + 1);
  if (dot == NPOS) {
    return false;
  }
  *fields = {text.substr(0, first), text.substr(first + 1, second - first - 1),
             text.substr(second + 1, dot - second - 1), text.substr(dot + 1)};
  return true;
}

}  // namespace

bool kxtools_sbdf_read(const char* text, kxtools_sbdf* sbdf) {
  sbdf_fields fields;
  uint32_t segment = 0;
  uint32_t bus = 0;
  uint32_t device = 0;
  uint32_t function = 0;
  if (!fields_split(text, &fields) || !hex_read(fields.segment, SEGMENT_DIGITS, &segment) ||
      !hex_read(fields.bus, BUS_DIGITS, &bus) || !hex_read(fields.device, DEVICE_DIGITS, &device) ||
      !hex_read(fields.function, 1, &function) || function > FUNCTION_MAX) {
    return false;
  }
  *sbdf = segment << 16 | bus << 8 | (device & DEVICE_MASK) << 3 | function;
  return true;
}

int32_t pcie_sbdf_parse(kxtools_sbdf* sbdf, const char* text) {
  sbdf_fields fields;
  if (!fields_split(text, &fields)) {
    return -1;
  }
  if (fields.function == "8" || fields.function == "9") {
    kx_print("Max kx function is 7, Please check your sbdf!\n");
    return -1;
  }
  if (!kxtools_sbdf_read(text, sbdf)) {
    kx_print("Bind failed, Please input SBDF: xxxx:xx:xx.x!\n");
    return -1;
  }
  return 0;
}

bool kxtools_sbdf_is_too_long(const char* text) {
  const size_t digits = strspn(text, "0123456789abcdefABCDEF");
  return digits > SEGMENT_DIGITS && text[digits] == ':';
}

// Without printf: every access to configuration space names its file.
kxtools_sbdf_name kxtools_sbdf_text(kxtools_sbdf sbdf) {
  kxtools_sbdf_name name = {"0000:00:00.0"};
  const auto put = [&name](size_t last, uint32_t value) {
    for (; value != 0; value >>= 4) {
      name.text[last--] = "0123456789abcdef"[value & 0xF];
    }
  };
  put(3, kxtools_sbdf_segment(sbdf));
  put(6, kxtools_sbdf_bus(sbdf));
  put(9, kxtools_sbdf_device(sbdf));
  put(11, kxtools_sbdf_function(sbdf));
  return name;
}

bool kxtools_is_short_address(const char* word) {
  const std::string_view text = word;
  const size_t colon = text.find(':');
  const size_t dot = text.find('.');
  uint32_t value = 0;
  return colon != std::string_view::npos && dot != std::string_view::npos && colon < dot &&
         hex_read(text.substr(0, colon), BUS_DIGITS, &value) &&
         hex_read(text.substr(colon + 1, dot - colon - 1), DEVICE_DIGITS, &value) &&
         hex_read(text.substr(dot + 1), 1, &value);
}
