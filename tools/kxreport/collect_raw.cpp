// Bytes and kernel's files for a replay of the card.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <span>

#include "collect.h"
#include "common/unique_fd.h"
#include "device/bar.h"
#include "device/compat.h"
#include "device/sysfs.h"
#include "kx_pcie_cmd/product_data.h"
#include "port/module_eeprom.h"

namespace {

constexpr size_t CONFIG_SIZE = 4096;

void bytes_send(term what, std::span<const uint8_t> bytes, value_sink* out) {
  constexpr char DIGITS[] = "0123456789abcdef";
  if (bytes.empty()) {
    return;
  }
  std::string text = "0x";
  for (const uint8_t byte : bytes) {
    text += DIGITS[byte >> 4];
    text += DIGITS[byte & 0xF];
  }
  out->text(what, text);
}

void config_space_collect(kxtools_sbdf sbdf, value_sink* out) {
  uint8_t bytes[CONFIG_SIZE];
  const kx_unique_fd fd(open(kxtools_function_path(sbdf, "config").c_str(), O_RDONLY | O_CLOEXEC));
  const ssize_t length = fd ? read(fd.get(), bytes, sizeof bytes) : 0;
  bytes_send(term::config_space, std::span(bytes, length > 0 ? static_cast<size_t>(length) : 0), out);
}

void resources_collect(kxtools_sbdf sbdf, value_sink* out) {
  const std::string text = kxtools_file_text(kxtools_function_path(sbdf, "resource"));
  std::string_view rest = text;
  out->begin(term::resources);
  while (!rest.empty()) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    out->text(term::resource, line);
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
  }
  out->end();
}

void records_collect(value_sink* out) {
  kxtools_dev_info info = {};
  if (kxtools_dev_info_get(&info) != 0) {
    return;
  }
  const kx_mmio_region bar = kxtools_dev_bar(info);
  kxtools_compat_record records[KXTOOLS_COMPAT_NUM];
  uint64_t features = 0;
  for (uint32_t id = 0; id < KXTOOLS_COMPAT_NUM; ++id) {
    if (kxtools_compat_version_read(id, &bar, &records[id]) != 0) {
      return;
    }
  }
  uint8_t bytes[sizeof records];
  memcpy(bytes, records, sizeof records);
  if (kxtools_fw_feature_read(&bar, &features) == 0) {
    char text[24];
    snprintf(text, sizeof text, "0x%016llx", static_cast<unsigned long long>(features));
    out->text(term::feature_word, text);
  }
  bytes_send(term::compat_records, bytes, out);
}

}  // namespace

void kernel_collect(const card_place& place, value_sink* out) {
  out->begin(term::kernel);
  kernel_names_collect(place, out);
  resources_collect(place.sbdf, out);
  config_space_collect(place.sbdf, out);
  out->end();
}

void raw_collect(card* asked, bool bound, value_sink* out, collect_errors* errors) {
  const card_place& place = asked->place();
  out->begin(term::raw);
  if (bound) {
    records_collect(out);
  }
  std::vector<uint8_t> bytes;
  if (const int error = kxpcie_product_data_ask(place.sbdf, &bytes); error != 0 && error != ENOENT) {
    errors->push_back(std::string("product data cannot be read: ") + strerror(error));
  }
  bytes_send(term::product_data, bytes, out);
  // What is wrong with the module is told with the link.
  bytes.clear();
  if (!place.device.empty() && module_eeprom_ask(place.device.c_str(), &bytes) == 0) {
    bytes_send(term::module_eeprom, bytes, out);
  }
  out->end();
}
