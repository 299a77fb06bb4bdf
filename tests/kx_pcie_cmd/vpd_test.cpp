#include "vpd.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "../printed.h"

namespace {

using Bytes = std::vector<uint8_t>;

std::string text_of(const Bytes& bytes, kxpcie_vpd_end* end) {
  return written([&](FILE* out) { *end = kxpcie_vpd_write(out, bytes); });
}

Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

const Bytes IDENTIFIER = {0x82, 4, 0, 'c', 'a', 'r', 'd'};
const Bytes READ_ONLY = {0x90, 10, 0, 'P', 'N', 2, 'A', '1', 'S', 'N', 2, 0x1b, '2'};
const Bytes END = {0x78};

TEST(Vpd, WritesFieldsAndTellsHowTheDataEnds) {
  const std::string card = "    identifier          card\n";
  const std::string fields = "PN  part number         A1\nSN  serial number       ?2\n";
  const struct {
    Bytes bytes;
    std::string text;
    kxpcie_vpd_end end;
  } cases[] = {
      {IDENTIFIER + READ_ONLY + END, card + fields, kxpcie_vpd_end::whole},
      {IDENTIFIER + READ_ONLY, card + fields, kxpcie_vpd_end::cut},
      {{}, "", kxpcie_vpd_end::cut},
      {{0x82}, "", kxpcie_vpd_end::cut},
      {{0x82, 0xff, 0xff, 'x'}, "", kxpcie_vpd_end::cut},
      {IDENTIFIER + Bytes(64, 0xff), card, kxpcie_vpd_end::malformed},
      {Bytes(64, 0), "", kxpcie_vpd_end::malformed},
      // A field that reaches beyond its resource, and one whose head does.
      {Bytes{0x90, 4, 0, 'P', 'N', 9, 'A'} + END, "", kxpcie_vpd_end::malformed},
      {Bytes{0x90, 2, 0, 'P', 'N'} + END, "", kxpcie_vpd_end::malformed},
      // The sum of all bytes up to the checksum is 0, or not.
      {Bytes{0x90, 4, 0, 'R', 'V', 1, 0xc3} + END, "RV  checksum            right\n", kxpcie_vpd_end::whole},
      {Bytes{0x90, 4, 0, 'R', 'V', 1, 0xc4} + END, "RV  checksum            WRONG\n", kxpcie_vpd_end::whole},
      {Bytes{0x91, 5, 0, 'R', 'W', 2, 0, 0} + END, "RW  remaining space     2 bytes\n", kxpcie_vpd_end::whole},
      {Bytes{0x90, 3, 0, 0x0a, 'N', 0} + END, "?N  unknown             \n", kxpcie_vpd_end::whole},
  };
  for (const auto& c : cases) {
    kxpcie_vpd_end end = {};
    EXPECT_EQ(text_of(c.bytes, &end), c.text);
    EXPECT_EQ(end, c.end) << c.text;
  }
}

TEST(Vpd, AsksForNoMoreBytesThanTheListHas) {
  const Bytes whole = IDENTIFIER + READ_ONLY + END + Bytes(32, 0x90);
  const size_t list = IDENTIFIER.size() + READ_ONLY.size() + END.size();
  size_t have = 0;
  for (size_t needed = 1; have < needed; needed = kxpcie_vpd_length(std::span(whole).first(have))) {
    ASSERT_LE(needed, list);
    have = needed;
  }
  EXPECT_EQ(have, list);
}

}  // namespace
