// Devices: addresses, what the kernel's files say, and the user's choice.
#include "device/address.h"
#include "device/bar_map.h"
#include "device/function.h"
#include "device/interfaces.h"
#include "device/sysfs.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "../printed.h"
#include "../temp_folder.h"
#include "dev_choice.h"
#include "test_tree.h"

namespace {

constexpr char BAD_FORMAT[] = "Bind failed, Please input SBDF: xxxx:xx:xx.x!\n";
constexpr char BAD_FUNCTION[] = "Max kx function is 7, Please check your sbdf!\n";

TEST(Bar, IsMappedAtItsOwnFirstByteWhereverItLiesInAPage) {
  const auto page = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
  const temp_folder folder;
  const std::string path = folder / "resource0";
  std::ofstream file(path, std::ios::binary);
  for (uint32_t at = 0; at < 3 * page; at += sizeof at) {
    file.write(reinterpret_cast<const char*>(&at), sizeof at);
  }
  file.close();
  const struct {
    uint64_t bar_address;
    uint64_t start;
    uint64_t length;
    uint64_t in_file;
  } cases[] = {
      {0xf0000000, 0, 3 * page, 0},
      {0xf0000000, page + 8, 16, page + 8},
      {0xf0000000, page - 4, 8, page - 4},
      {0xf0000000 + page / 2, 0, page / 4, page / 2},
      {0xf0000000 + page / 4, 16, 64, page / 4 + 16},
  };
  for (const auto& c : cases) {
    const kxtools_bar_mapping mapping = kxtools_bar_map(path.c_str(), c.bar_address, c.start, c.length, false);
    ASSERT_EQ(mapping.step, kxtools_bar_step::mapped) << c.in_file;
    const kx_mmio_region region = {mapping.address, c.length};
    EXPECT_EQ(kx_mmio_read32(region, 0), c.in_file);
    EXPECT_EQ(kx_mmio_read32(region, c.length - 4), c.in_file + c.length - 4);
    EXPECT_EQ(kxtools_dev_unmmap(mapping.address, c.length), 0) << c.in_file;
    EXPECT_EQ(
        msync(reinterpret_cast<void*>(reinterpret_cast<uintptr_t>(mapping.address) / page * page), page, MS_ASYNC), -1)
        << "still mapped";
  }
}

TEST(PciAddress, ReadsTheTextForm) {
  const struct {
    const char* text;
    int32_t result;
    kxtools_sbdf sbdf;
    const char* said;
  } cases[] = {
      {"0000:3b:00.1", 0, 0x00003b01, ""},
      {"1:2:3.4", 0, 0x0001021c, ""},
      {"FFFF:fF:1F.7", 0, 0xffffffff, ""},
      {"0000:00:3f.0", 0, 0x000000f8, ""},
      {"0000:3b:00.8", -1, 0, BAD_FUNCTION},
      {"0000:3b:00.9", -1, 0, BAD_FUNCTION},
      {"0000:3b:00.a", -1, 0, BAD_FORMAT},
      {"0000:3b:00.10", -1, 0, BAD_FORMAT},
      {"0000:3b:00.", -1, 0, BAD_FORMAT},
      {"10000:3b:00.0", -1, 0, BAD_FORMAT},
      {"0000:03b:00.0", -1, 0, BAD_FORMAT},
      {"0000:3b:000.0", -1, 0, BAD_FORMAT},
      {"0000::00.0", -1, 0, BAD_FORMAT},
      {"000g:3b:00.0", -1, 0, BAD_FORMAT},
      {"0000: b:00.0", -1, 0, BAD_FORMAT},
      {"0000:3b:0.0.0", -1, 0, BAD_FORMAT},
      {"3b:00.1", -1, 0, ""},
      {"0:0000:3b:00.1", -1, 0, ""},
      {"0000:3b:001", -1, 0, ""},
      {"0000.3b:00:1", -1, 0, ""},
      {"eth0", -1, 0, ""},
      {"eth0.1", -1, 0, ""},
      {"", -1, 0, ""},
  };
  for (const auto& c : cases) {
    kxtools_sbdf sbdf = 0;
    EXPECT_EQ(printed([&] { EXPECT_EQ(pcie_sbdf_parse(&sbdf, c.text), c.result) << c.text; }), c.said) << c.text;
    EXPECT_EQ(sbdf, c.sbdf) << c.text;
  }
  EXPECT_STREQ(kxtools_sbdf_text(0xabcd3bff).text, "abcd:3b:1f.7");
}

TEST(DeviceWord, IsCheckedBeforeItBuildsAPath) {
  for (const char* word : {"a/b", "../x", "/etc", ".", "..", "sixteen_letters_"}) {
    kxtools_sbdf sbdf = 0;
    EXPECT_EQ(
        without_line_numbers(printed([&] { EXPECT_EQ(kxtools_dev_name2bdf(word, &sbdf), -1); })),
        std::string("kxtools_err: [kxtools_dev_name2bdf][#] fopen /sys/class/net/") + word + "/device/uevent failed\n");
  }
  EXPECT_TRUE(kxtools_is_interface_name("fifteen_letters"));
  EXPECT_TRUE(kxtools_is_interface_name("..."));
  EXPECT_FALSE(kxtools_is_interface_name(""));
}

TEST(DeviceWord, MayLeaveOutTheSegmentOfAnAddress) {
  for (const char* word : {"3b:00.0", "3B:1f.7", "0:0.0", "3b:00.8"}) {
    EXPECT_TRUE(kxtools_is_short_address(word)) << word;
  }
  for (const char* word : {"0000:3b:00.0", "3b:00", "3b.00:0", "3b:00.", ":00.0", "3b:.0", "03b:00.0", "3b:00.10",
                           "3b:00.0 ", "eth0", "eth0.1", "g:0.0", ""}) {
    EXPECT_FALSE(kxtools_is_short_address(word)) << word;
  }
  kxtools_sbdf sbdf = 0;
  EXPECT_EQ(kxtools_dev_name2bdf("3b:1f.7", &sbdf), 0);
  EXPECT_EQ(sbdf, 0x00003bffu);
}

class KernelFile : public testing::Test {
 protected:
  temp_folder folder_;
  const std::string path_ = folder_ / "file";
};

TEST_F(KernelFile, ResourceGivesStartAndLengthOfABar) {
  const std::string malformed = "Malformed line in resource file: " + path_ + "\n";
  const auto not_found = [&](const char* index) {
    return "BAR index " + std::string(index) + " not found in resource file: " + path_ + "\n";
  };
  const std::string three =
      "0x00000000a0000000 0x00000000a00fffff 0x0000000000140204\n"
      "0x0000000000000000 0x0000000000000000 0x0000000000000000\n"
      "ffff00000000 ffffffffffff 14220c";
  const std::string long_line = "1 2 3 " + std::string(5000, '0') + "\n0x1000 0x1fff 0\n";
  const struct {
    std::string text;
    uint32_t index;
    int32_t result;
    kxtools_bar_range range;
    std::string said;
  } cases[] = {
      {three, 0, 0, {0xa0000000, 0x100000}, ""},
      {three, 1, 0, {0, 1}, ""},
      {three, 2, 0, {0xffff00000000, 0x100000000}, ""},
      {three, 3, -1, {}, not_found("3")},
      {"", 0, -1, {}, not_found("0")},
      {"junk\n0x1000 0x1fff 0\n", 0, -1, {}, malformed + not_found("0")},
      {"0x1000 0x1fff\n0x2000 0x2fff 0\n", 1, 0, {0x2000, 0x1000}, malformed},
      {long_line, 1, 0, {0x1000, 0x1000}, ""},
      {std::string("\0 \0\n1 1 1\n", 9), 1, 0, {1, 1}, malformed},
      {"1 1 1\n1 1 1\n1 1 1\n1 1 1\n1 1 1\n1 1 1\n1 1 1\n", 6, -1, {}, not_found("6")},
  };
  for (const auto& c : cases) {
    folder_.write("file", c.text);
    kxtools_bar_range range = {};
    EXPECT_EQ(
        printed([&] { EXPECT_EQ(kxtools_resource_bar_read(path_.c_str(), c.index, &range), c.result) << c.text; }),
        c.said);
    EXPECT_EQ(range.start, c.range.start);
    EXPECT_EQ(range.size, c.range.size);
  }
  kxtools_bar_range range = {};
  EXPECT_EQ(printed([&] { EXPECT_EQ(kxtools_resource_bar_read("/nonexistent/resource", 0, &range), -1); }),
            "Failed to open resource file: /nonexistent/resource\n");
}

TEST_F(KernelFile, UeventGivesTheSlotOfTheFirstLineThatNamesOne) {
  using enum kxtools_uevent_result;
  const struct {
    std::string text;
    kxtools_uevent_result result;
    const char* slot;
  } cases[] = {
      {"DRIVER=x\nPCI_SLOT_NAME=0000:3b:00.1\nPCI_SLOT_NAME=0000:00:00.0\n", found, "0000:3b:00.1"},
      {"PCI_SLOT_NAME=0000:3b:00.1", found, "0000:3b:00.1"},
      {"PCI_SLOT_NAME=0000:3b:00.1:and:more\n", found, "0000:3b:00.1"},
      {"PCI_SLOT_NAME=3b:00.1\n", found, "3b:00.1"},
      {"PCI_SLOT_NAME=\n", found, ""},
      {" PCI_SLOT_NAME=0000:3b:00.1\nXPCI_SLOT_NAME=0000:3b:00.1\n", no_slot, ""},
      {std::string(1023, 'x') + "PCI_SLOT_NAME=0000:3b:00.1\n", no_slot, ""},
      {"", no_slot, ""},
  };
  for (const auto& c : cases) {
    folder_.write("file", c.text);
    char slot[13] = {};
    EXPECT_EQ(kxtools_uevent_slot_read(path_.c_str(), slot), c.result) << c.text;
    EXPECT_STREQ(slot, c.slot);
  }
  char slot[13] = {};
  EXPECT_EQ(kxtools_uevent_slot_read("/nonexistent/uevent", slot), no_file);
}

TEST(SupportedFunctions, AreThoseOfTheTableAndOfTheMakersRange) {
  const struct {
    uint32_t vendor, device;
    bool supported;
    uint32_t may_bind;
  } cases[] = {
      {0x16c3, 0x8040, true, 0},  {0x1111, 0x1041, true, 1},  {0x1cf2, 0x8037, true, 1},  {0x1af4, 0x1041, true, 1},
      {0x1af4, 0x1042, true, 1},  {0x1af4, 0x1000, true, 1},  {0x16c3, 0x0000, true, 1},  {0x16c3, 0x8030, true, 0},
      {0x1cf2, 0x8010, true, 0},  {0x1cf2, 0x809f, true, 0},  {0x1cf2, 0x800f, false, 0}, {0x1cf2, 0x80a0, false, 0},
      {0x16c3, 0x8041, false, 0}, {0x1af4, 0x1043, false, 0}, {0x8086, 0x1041, false, 0}, {0xffff, 0xffff, false, 0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(kxtools_dev_is_supported(c.vendor, c.device), c.supported) << std::hex << c.vendor << ":" << c.device;
    EXPECT_EQ(is_tools_bind_pf(c.vendor, c.device), c.may_bind) << std::hex << c.vendor << ":" << c.device;
  }
  EXPECT_TRUE(kxtools_dev_is_switch(0x1cf2, 0x8036));
  EXPECT_FALSE(kxtools_dev_is_switch(0x1cf2, 0x8037));
}

TEST(DeviceChoice, TakesANumberOrGivesUpAfterThreeAttempts) {
  using enum kxtools_index_result;
  const std::string ask = "Please enter index: ";
  const std::string bad = "Warning: invalid input, please enter index again: ";
  const std::string too_long = "Warning: Input too long, please enter index again: ";
  const std::string exhausted = "\nWarning: maximum retrys reached, Exiting.\n";
  const struct {
    std::string input;
    kxtools_index_result result;
    uint32_t number;
    std::string said;
    std::string left;  // for the shell
  } cases[] = {
      {"0\nhelp\n", index, 0, ask, "help\n"},
      {"00000012\nhelp\n", index, 12, ask, "help\n"},
      {"12345678", index, 12345678, ask, ""},
      {"q\nhelp\n", quit, 0, ask, "help\n"},
      {"123456789\n7\nhelp\n", index, 7, ask + too_long, "help\n"},
      {std::string(10000, '1') + "\nq\n", quit, 0, ask + too_long, ""},
      {"x\n-1\n3\n", index, 3, ask + bad + bad, ""},
      {"\n 1\n0x1\nquit\n", refused, 0, ask + bad + bad + bad + exhausted, "quit\n"},
      {"qq\n1.\n999999999\n1\n", refused, 0, ask + bad + bad + too_long + exhausted, "1\n"},
      {std::string("1\0\n2\n", 5), index, 2, ask + bad, ""},
      {"x\n", end, 0, ask + bad, ""},
      {"", end, 0, ask, ""},
  };
  for (const auto& c : cases) {
    FILE* in = tmpfile();
    ASSERT_NE(in, nullptr);
    fwrite(c.input.data(), 1, c.input.size(), in);
    rewind(in);
    uint32_t number = 0;
    EXPECT_EQ(printed([&] { EXPECT_EQ(kxtools_index_read(in, &number), c.result) << c.input; }), c.said);
    if (c.result == index) {
      EXPECT_EQ(number, c.number);
    }
    std::string left(64, '\0');
    left.resize(fread(left.data(), 1, left.size(), in));
    EXPECT_EQ(left, c.left);
    fclose(in);
  }
}

}  // namespace
