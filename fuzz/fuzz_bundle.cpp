// A bundle's archive as any bytes, to the reader of its report and to the virtual card: neither leaves its limits, and
// a report that is taken can be shown and compared with itself.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "bundle_read.h"
#include "diff.h"
#include "vcard/card_file.h"
#include "vcard/card_text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  value root = {term::document, 0, {}, {}};
  std::string text;
  if (bundle_parse(bytes, &root, &text)) {
    value rows = {term::document, 0, {}, {}};
    value_builder out(&rows);
    if (reports_compare(root, root, &out) != 0) {
      abort();
    }
  } else if (text.empty()) {
    abort();
  }
  text.clear();
  if (vcard::card_text_find(bytes, text).empty()) {
    const vcard::CardFile card(text);
    static_cast<void>(card.complaints());
  }
  return 0;
}
