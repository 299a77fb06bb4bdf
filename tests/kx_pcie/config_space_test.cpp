// Configuration-space accessors on a file of the test's own.
#include "kx_pcie/config_space.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <string>

#include "../printed.h"
#include "../temp_folder.h"
#include "kx_pcie/card_lock.h"

namespace {

std::string device_file;  // what every device path leads to
int locks_taken = 0;
bool lock_refused = false;

}  // namespace

bool card_lock::take() {
  held_ = !lock_refused;
  locks_taken += held_ ? 1 : 0;
  return held_;
}

void card_lock::release() {
  held_ = false;
}

extern "C" int __real_open(const char* path, int flags, ...);
extern "C" int __wrap_open(const char* path, int flags, ...) {
  EXPECT_EQ(flags & O_CREAT, 0) << "no mode is handed on";
  return __real_open(strncmp(path, "/sys/", 5) == 0 ? device_file.c_str() : path, flags);
}

namespace {

constexpr kxtools_sbdf SBDF = 0x00013B09;  // 0001:3b:01.1

class ConfigSpaceTest : public testing::Test {
 protected:
  ConfigSpaceTest() {
    device_file = folder_.write("config", std::string(PCIE_CFG_SIZE, '\0'));
  }
  void put(uint32_t offset, uint32_t value) {
    ASSERT_EQ(pcie_cfg_write_dword(SBDF, offset, value), 0);
  }
  uint32_t get(uint32_t offset) {
    uint32_t value = 0;
    EXPECT_EQ(pcie_cfg_read_dword(SBDF, offset, &value), 0);
    return value;
  }
  caught_output output_;

 private:
  temp_folder folder_;
};

TEST_F(ConfigSpaceTest, ReplacesTheBitsUnderTheMask) {
  put(0x40, 0xAABBCCDD);
  const int locks = locks_taken;
  EXPECT_EQ(pcie_cfg_write_mask(SBDF, 0x40, 0x11223344, 0xFF0000FF), 0);
  EXPECT_EQ(get(0x40), 0x11BBCC44u);
  EXPECT_EQ(locks_taken, locks + 1);
  lock_refused = true;
  EXPECT_EQ(pcie_cfg_write_mask(SBDF, 0x40, 0, 0xFF), -1);
  EXPECT_EQ(get_bar_size(SBDF, 0x10), 0u);
  EXPECT_EQ(get(0x40), 0x11BBCC44u);
  lock_refused = false;
}

TEST_F(ConfigSpaceTest, StaysInsideTheConfigurationSpace) {
  uint32_t value = 0;
  EXPECT_EQ(pcie_cfg_read_dword(SBDF, 4092, &value), 0);
  for (const uint32_t offset : {4093u, 4096u, 0xFFFFFFFEu}) {
    EXPECT_EQ(pcie_cfg_read_dword(SBDF, offset, &value), -1);
    EXPECT_EQ(pcie_cfg_write_dword(SBDF, offset, 0), -1);
  }
  EXPECT_EQ(pcie_cfg_read(SBDF, 0, 5000, &value), -1);
  EXPECT_EQ(pcie_cfg_read(SBDF, 0, 4, nullptr), -1);
}

TEST_F(ConfigSpaceTest, CallsAShortTransferGood) {
  ASSERT_EQ(truncate(device_file.c_str(), 64), 0);
  std::array<uint8_t, 8> buffer = {1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(pcie_cfg_read(SBDF, 60, 8, buffer.data()), 0);
  EXPECT_EQ(buffer, (std::array<uint8_t, 8>{0, 0, 0, 0, 5, 6, 7, 8}));
  EXPECT_EQ(get(0x100), 0xFFFFFFFFu) << "missing bytes read as the bus gives them";
}

TEST_F(ConfigSpaceTest, ReportsAFileThatCannotBeOpened) {
  unlink(device_file.c_str());
  uint32_t value = 0;
  EXPECT_EQ(pcie_cfg_read_dword(SBDF, 0x10, &value), -1);
  EXPECT_EQ(output_.take(),
            "[PCIe] open file:/sys/bus/pci/devices/0001:3b:01.1/config failed, fd:-1!\n"
            "[pcie] reg 0x10, pcie_cfg_read failed!\n");
}

TEST_F(ConfigSpaceTest, WalksTheCapabilities) {
  put(0x34, 0x40);
  put(0x40, 0x00005001);
  put(0x50, 0x0000B011);
  put(0xB0, 0x00000003);
  EXPECT_EQ(pcie_find_capability(SBDF, 1), 0x40);
  EXPECT_EQ(pcie_find_capability(SBDF, 3), 0xB0);
  EXPECT_EQ(pcie_find_capability(SBDF, 0x10), -1);
  put(0xB0, 0x00004003);  // back to the first
  EXPECT_EQ(pcie_find_capability(SBDF, 0x10), -1);
  put(0xB0, 0x00001003);  // into the BARs, which hold what looks like it
  put(0x10, 0x00000010);
  EXPECT_EQ(pcie_find_capability(SBDF, 0x10), -1);
  put(0x34, 0x10);
  EXPECT_EQ(pcie_find_capability(SBDF, 0x10), -1);
  put(0x34, 0);
  EXPECT_EQ(pcie_find_capability(SBDF, 1), -1);
  put(0x34, 0xFF);
  EXPECT_EQ(pcie_find_capability(SBDF, 1), -1);
  put(0x34, 0x42);  // its two lowest bits are reserved
  EXPECT_EQ(pcie_find_capability(SBDF, 1), 0x40);
  EXPECT_EQ(output_.take(),
            "pcie cap[0x10] not find\npcie cap[0x10] not find\npcie cap[0x10] not find\n"
            "cap_id_addr invalid\ncap_id_addr invalid\ncap_id_addr invalid\n");
}

TEST_F(ConfigSpaceTest, WalksTheExtendedCapabilities) {
  put(0x100, 0x18010001);
  put(0x180, 0x2001000B);
  put(0x184, 0x02010001);
  put(0x200, 0xFFC1000B);
  put(0x204, 0x02010002);
  put(0xFFC, 0x0001000B);  // vendor-specific, its second dword beyond the end
  EXPECT_EQ(pcie_find_ext_capability(SBDF, 1, 77), 0x100) << "other ids do not look at the vendor id";
  EXPECT_EQ(pcie_find_ext_capability(SBDF, 11, 1), 0x180);
  EXPECT_EQ(pcie_find_ext_capability(SBDF, 11, 2), 0x200);
  EXPECT_EQ(pcie_find_ext_capability(SBDF, 11, 3), -1);
  EXPECT_EQ(pcie_find_ext_capability(SBDF, 16, 0), -1);
  put(0xFFC, 0x10010099);  // back to the first
  EXPECT_EQ(pcie_find_ext_capability(SBDF, 16, 0), -1);
  put(0xFFC, 0x00410099);  // into the header
  EXPECT_EQ(pcie_find_ext_capability(SBDF, 16, 0), -1);
  for (const uint32_t header : {0u, 0xFFFFFFFFu}) {
    put(0x100, header);
    EXPECT_EQ(pcie_find_ext_capability(SBDF, 16, 0), -1);
  }
  EXPECT_EQ(output_.take(), "");
}

TEST_F(ConfigSpaceTest, GivesBackTheBarItProbed) {
  put(0x10, 0x0000000C);
  put(0x14, 0x00003800);
  EXPECT_EQ(get_bar_addr(SBDF, 0x10), 0x380000000000u);
  // The file keeps all ones, as a BAR of 16 bytes does.
  EXPECT_EQ(get_bar_size(SBDF, 0x10), 16u);
  EXPECT_EQ(get(0x10), 0x0000000Cu);
  EXPECT_EQ(get(0x14), 0x00003800u);
}

}  // namespace
