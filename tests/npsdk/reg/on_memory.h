// Tests of the driver on the memory-backed device.
#pragma once

#include <gtest/gtest.h>

#include "../../printed.h"
#include "memory_device.h"

/// Device 0 on fresh memory.
class OnMemory : public testing::Test {
 protected:
  OnMemory() {
    np_test::memory_device_add(0);
  }
};

/// The same with what is printed.
class CaughtOnMemory : public OnMemory {
 protected:
  caught_output out;
};
