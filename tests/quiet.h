// Tests that want refusals by the thousand, and none of their lines.
#pragma once

#include <gtest/gtest.h>

#include "qlix_comm/print.h"

class Quiet : public testing::Test {
 protected:
  Quiet() {
    qlix_comm_set_print_level(QLIX_TRACE_PRINT);
  }
  ~Quiet() override {
    qlix_comm_set_print_level(QLIX_TRACE_ERROR_PRINT);
  }
};
