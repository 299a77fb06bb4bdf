// What the driver channel refuses before it opens a socket.
#include "channel/driver.h"

#include <gmock/gmock.h>

#include "../printed.h"

namespace {

TEST(Driver, RefusesBeforeAnySocketIsOpened) {
  struct {
    const char* name;
    bool no_device;
    const char* line;
  } const cases[] = {
      {"sixteen_letters_", false, "Device name longer than 15 characters\n"},
      {"a name that is much longer than any interface's", false, "Device name longer than 15 characters\n"},
      {nullptr, true, ""},
  };
  for (const auto& c : cases) {
    kxtool_device device;
    device.name = c.name;
    EXPECT_THAT(printed([&] { EXPECT_EQ(tarn_tools_socket_init(&device, c.no_device), 1); }),
                testing::EndsWith(c.line));
    EXPECT_FALSE(device.ioctl_socket);
    EXPECT_FALSE(device.netlink_socket);
  }
  EXPECT_EQ(kxtool_drv_version_check(nullptr), -2);
}

}  // namespace
