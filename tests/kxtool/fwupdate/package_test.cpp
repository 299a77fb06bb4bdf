// The package reader against files that are short, contradictory or at the edges of 32 bits.
#include "fwupdate/package.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "package_file.h"

namespace {

using package_file::bytes;
using package_file::row;

constexpr row IMAGE_A{0x50000, 100, 2};

fw_package open_package(const package_file::file& file) {
  fw_package package;
  EXPECT_TRUE(file.ok());
  EXPECT_EQ(fw_package_open(file.path(), &package), fw_open_result::opened);
  return package;
}

TEST(Package, KindComesFromTheIdentificationThenFromTheSize) {
  const bytes marked = package_file::header({IMAGE_A});
  const bytes plain = package_file::header("none", {IMAGE_A});
  const bytes behind_text = package_file::header(std::string_view("x\0TARN-FW-EVB-1", 15), {IMAGE_A});
  struct {
    const char* what;
    uint64_t base;
    bytes content;
    uint64_t size;
    fw_package_kind kind;
  } const cases[] = {
      {"marked at 256", 256, marked, 0x1000, FW_KIND_ONE_PARTITION},
      {"marked at 0x40000", 0x40000, marked, 0x50000, FW_KIND_WHOLE_FLASH},
      {"marked at 256, long", 256, marked, 0x3300001, FW_KIND_ONE_PARTITION},
      {"unmarked, ends at part B", 256, plain, 0x3300000, FW_KIND_ONE_PARTITION},
      {"unmarked, reaches past part B", 256, plain, 0x3300001, FW_KIND_WHOLE_FLASH},
      {"mark behind the end of the text", 0x40000, behind_text, 0x50000, FW_KIND_ONE_PARTITION},
      {"unmarked header cut before its table ends", 256, plain, 256 + 83, FW_KIND_NONE},
      {"unmarked header that ends with the file", 256, plain, 256 + 84, FW_KIND_ONE_PARTITION},
      {"empty", 0, {}, 0, FW_KIND_NONE},
  };
  for (const auto& test : cases) {
    package_file::file file;
    file.put(test.base, test.content).resize(test.size);
    EXPECT_EQ(open_package(file).kind, test.kind) << test.what;
  }
}

TEST(Package, RefusesWhatIsNoFileOfTheFlashSize) {
  package_file::file file;
  fw_package package;
  file.resize(FW_PACKAGE_SIZE_MAX + 1);
  EXPECT_EQ(fw_package_open(file.path(), &package), fw_open_result::too_large);
  file.resize(FW_PACKAGE_SIZE_MAX);
  EXPECT_EQ(fw_package_open(file.path(), &package), fw_open_result::opened);
  EXPECT_EQ(fw_package_open("/dev/zero", &package), fw_open_result::no_regular_file);
  EXPECT_EQ(fw_package_open("/", &package), fw_open_result::no_regular_file);
  EXPECT_EQ(fw_package_open("/nonexistent/package", &package), fw_open_result::no_file);
}

// Every prefix of a package of kind 1: no header before the table is whole, then one with images that the file lacks.
TEST(Package, TruncationAtEveryLengthIsSeen) {
  const bytes header = package_file::header({{0x40800, 100, 2}, {0x40900, 30, 3}});
  const uint64_t end_a = 256 + 0x800 + 100;
  const uint64_t end = 256 + 0x900 + 30;
  package_file::file file;
  file.put(256, header).put(end_a - 100, counted_bytes(100)).put(end - 30, counted_bytes(30));
  for (uint64_t size = end; size != UINT64_MAX; --size) {
    SCOPED_TRACE(size);
    file.resize(size);
    const fw_package package = open_package(file);
    ASSERT_EQ(package.kind, size >= 256 + FW_HEADER_TABLE ? FW_KIND_ONE_PARTITION : FW_KIND_NONE);
    ASSERT_EQ(fw_package_boot_stage_check(package) == 0, package.kind == FW_KIND_ONE_PARTITION);
    fw_header read;
    const int32_t result = fw_package_header_read(package, FW_PART_A, &read);
    ASSERT_EQ(result, size >= 256 + header.size() ? 0 : -1);
    if (result != 0) {
      continue;
    }
    ASSERT_EQ(read.length, std::min<uint64_t>(FW_HEADER_SIZE, size - 256));
    ASSERT_EQ(fw_table_check(package, read).size(), (size >= end_a ? 0u : 1u) + (size == end ? 0u : 1u));
    uint32_t sum = 0;
    ASSERT_EQ(fw_image_checksum(package, read, read.images[0], &sum), size >= end_a ? 0 : -1);
    ASSERT_EQ(fw_image_checksum(package, read, read.images[1], &sum), size == end ? 0 : -1);
  }
}

TEST(Package, PlacesOutsideTheFileAndSharedBytesAreFound) {
  constexpr uint32_t TOP = 0xFFFFFFFF;
  struct {
    const char* what;
    std::vector<row> rows;
    std::vector<fw_fault_reason> faults;
  } const cases[] = {
      {"side by side", {{0x50000, 0x1000, 0}, {0x51000, 0x1000, 0}}, {}},
      {"one byte shared", {{0x50000, 0x1001, 0}, {0x51000, 0x1000, 0}}, {fw_fault_reason::overlap}},
      {"the same place", {{0x50000, 1, 0}, {0x50000, 1, 0}}, {fw_fault_reason::overlap}},
      {"one inside the other", {{0x50000, 0x1000, 0}, {0x50800, 1, 0}}, {fw_fault_reason::overlap}},
      {"empty image inside another", {{0x50000, 0x1000, 0}, {0x50800, 0, 0}}, {}},
      {"empty image outside the file", {{0x50000, 8, 0}, {TOP, 0, 0}}, {}},
      {"ends with the file", {{0x100000, 0x100, 0}}, {}},
      {"ends one byte behind the file", {{0x100000, 0x101, 0}}, {fw_fault_reason::beyond_file}},
      {"size wraps 32 bits", {{0x50000, TOP, 0}}, {fw_fault_reason::beyond_file}},
      {"offset at the top", {{TOP, 1, 0}}, {fw_fault_reason::beyond_file}},
      {"offset and size at the top", {{TOP, TOP, 0}}, {fw_fault_reason::beyond_file}},
      {"wraps into another image", {{0x50000, 0x1000, 0}, {0xFFFFF000, 0x51001, 0}}, {fw_fault_reason::beyond_file}},
  };
  for (const auto& test : cases) {
    package_file::file file;
    file.put(256, package_file::header(test.rows)).resize(256 + 0x100100 - 0x40000);
    const fw_package package = open_package(file);
    fw_header header;
    ASSERT_EQ(fw_package_header_read(package, FW_PART_A, &header), 0);
    std::vector<fw_fault_reason> found;
    for (const fw_fault& fault : fw_table_check(package, header)) {
      found.push_back(fault.reason);
    }
    EXPECT_EQ(found, test.faults) << test.what;
  }
}

TEST(Package, ImagesLieWhereTheKindPutsThem) {
  struct {
    fw_package_kind kind;
    fw_package_part part;
    std::vector<row> rows;
    std::vector<uint64_t> positions;
  } const cases[] = {
      {FW_KIND_ONE_PARTITION, FW_PART_A, {{0x40000, 1, 0}, {0x41000, 1, 0}}, {256, 256 + 0x1000}},
      {FW_KIND_ONE_PARTITION, FW_PART_A, {{0x3F000, 1, 0}, {0x41000, 1, 0}}, {256 + 0x3F000, 256 + 0x41000}},
      {FW_KIND_ONE_PARTITION, FW_PART_A, {{0x1000, 0, 0}, {0x41000, 1, 0}}, {256 + 0x1000, 256 + 0x41000}},
      {FW_KIND_WHOLE_FLASH, FW_PART_A, {{0x1000, 1, 0}, {0x41000, 1, 0}}, {0x1000, 0x41000}},
      {FW_KIND_WHOLE_FLASH, FW_PART_B, {{0x3301000, 1, 0}}, {0x3301000}},
  };
  for (const auto& test : cases) {
    const uint64_t base_a = test.kind == FW_KIND_ONE_PARTITION ? 256 : 0x40000;
    package_file::file file;
    file.put(base_a, package_file::header({IMAGE_A}));
    file.put(test.part == FW_PART_B ? 0x3300000 : base_a, package_file::header(test.rows));
    const fw_package package = open_package(file.resize(0x3400000));
    ASSERT_EQ(package.kind, test.kind);
    fw_header header;
    ASSERT_EQ(fw_package_header_read(package, test.part, &header), 0);
    for (size_t i = 0; i < test.positions.size(); ++i) {
      EXPECT_EQ(fw_image_position(header, header.images[i]), test.positions[i]) << i;
    }
  }
}

TEST(Package, RoundingBytesComeFromTheFileAndAreZeroBehindItsEnd) {
  package_file::file file;
  const bytes header = package_file::header({{0x41000, 5, 0}, {0x42000, 5, 0}});
  file.put(256, header).put(256 + 0x1000, {1, 2, 3, 4, 5, 6, 7, 8}).put(256 + 0x2000, {1, 2, 3, 4, 5});
  const fw_package package = open_package(file);
  fw_header read;
  ASSERT_EQ(fw_package_header_read(package, FW_PART_A, &read), 0);
  bytes out(8, 0xEE);
  ASSERT_EQ(fw_image_sent_size(read.images[0]), out.size());
  ASSERT_EQ(fw_image_read(package, read, read.images[0], 0, out), 0);
  EXPECT_EQ(out, (bytes{1, 2, 3, 4, 5, 6, 7, 8}));
  ASSERT_EQ(fw_image_read(package, read, read.images[1], 0, out), 0);
  EXPECT_EQ(out, (bytes{1, 2, 3, 4, 5, 0, 0, 0}));
  uint32_t sum = 0;
  ASSERT_EQ(fw_image_checksum(package, read, read.images[0], &sum), 0);
  EXPECT_EQ(sum, 15u);
  file.resize(256 + 0x2004);
  EXPECT_EQ(fw_image_read(package, read, read.images[1], 0, out), -1);
}

TEST(Package, ChecksumIsTheSumOfAllBytesAcrossPieces) {
  const bytes data(3 * 64 * 1024 + 7, 0xFF);
  package_file::file file;
  file.put(256, package_file::header({{0x41000, uint32_t(data.size()), 0}})).put(256 + 0x1000, data);
  const fw_package package = open_package(file);
  fw_header header;
  ASSERT_EQ(fw_package_header_read(package, FW_PART_A, &header), 0);
  uint32_t sum = 0;
  ASSERT_EQ(fw_image_checksum(package, header, header.images[0], &sum), 0);
  EXPECT_EQ(sum, data.size() * 0xFF);
}

TEST(Package, OldLayoutIsAFirstImageOfTypeOneBelowItsPlace) {
  const std::pair<row, bool> cases[] = {
      {{0xFFFF, 1, 1}, true}, {{0x10000, 1, 1}, false}, {{0, 1, 2}, false}, {{0, 0, 0x101}, true}};
  for (const auto& [first, old] : cases) {
    package_file::file file;
    file.put(256, package_file::header({first, {0, 1, 1}}));
    fw_header header;
    ASSERT_EQ(fw_package_header_read(open_package(file), FW_PART_A, &header), 0);
    EXPECT_EQ(fw_header_is_old_layout(header), old) << first.offset;
  }
}

TEST(Package, BoardTypesAreTakenFromBothTexts) {
  using enum fw_board_result;
  struct {
    fw_board_result (*take)(std::string_view, fw_board_type*);
    const char* text;
    fw_board_result result;
    const char* type;
  } const cases[] = {
      {fw_board_type_of_identification, "TARN-FW-EVB-1.0", ok, "EVB"},
      {fw_board_type_of_identification, "v1 TARN-FW-A B-", ok, "A B"},
      {fw_board_type_of_identification, "TARN-FW-123456789012345-x", ok, "123456789012345"},
      {fw_board_type_of_identification, "TARN-FW-1234567890123456-x", too_long, ""},
      {fw_board_type_of_identification, "TARN-FW-EVB", invalid_format, ""},
      {fw_board_type_of_identification, "TARN-FW--1.0", invalid_format, ""},
      {fw_board_type_of_identification, "TARN-FX-EVB-1.0", invalid_format, ""},
      {fw_board_type_of_identification, "", invalid_format, ""},
      {fw_board_type_of_part_number, "123 EVB", ok, "EVB"},
      {fw_board_type_of_part_number, "123 EVB 2", ok, "EVB 2"},
      {fw_board_type_of_part_number, "1 1234567890123456", too_long, ""},
      {fw_board_type_of_part_number, "123", invalid_format, ""},
      {fw_board_type_of_part_number, "123 ", invalid_format, ""},
      {fw_board_type_of_part_number, "", invalid_format, ""},
  };
  for (const auto& test : cases) {
    fw_board_type type = {};
    EXPECT_EQ(test.take(test.text, &type), test.result) << test.text;
    EXPECT_STREQ(type.data(), test.type) << test.text;
  }
}

TEST(Package, CardTypeMustBeginWithThePackageType) {
  struct {
    fw_board_type package;
    fw_board_type card;
    bool match;
  } const cases[] = {
      {{"EVB"}, {"EVB"}, true}, {{"EV"}, {"EVB"}, true}, {{"EVB"}, {"EV"}, false}, {{"X"}, {"EVB"}, false}};
  for (const auto& test : cases) {
    EXPECT_EQ(fw_board_type_match(test.package, test.card), test.match) << test.package.data();
  }
}

TEST(Package, OutsideTextIsMadeSafeToPrint) {
  EXPECT_STREQ(fw_text_printable("a\033[31m\x80~").data(), "a?[31m?~");
  EXPECT_EQ(std::string_view(fw_text_printable(std::string(100, 'x')).data()).size(), FW_IDENTIFICATION_SIZE);
}

}  // namespace
