// A BAR of the virtual card, which the tool maps at addresses of its own, as two ends of a bus see it.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "../temp_folder.h"
#include "common/mmio.h"
#include "device/bar.h"
#include "device/bar_map.h"
#include "vcard/storage.h"

class test_bar {
 public:
  explicit test_bar(size_t size) {
    EXPECT_TRUE(card_.create(path_, size));
    tool_ = map();
  }
  ~test_bar() {
    kxtools_dev_unmmap(tool_.base, tool_.size);
  }
  test_bar(const test_bar&) = delete;
  test_bar& operator=(const test_bar&) = delete;

  kx_mmio_region tool() const {
    return tool_;
  }
  /// One more mapping, which the tool gives back itself.
  kx_mmio_region map() const {
    const kxtools_bar_mapping mapping = kxtools_bar_map(path_.c_str(), 0, 0, card_.size(), true);
    EXPECT_EQ(mapping.step, kxtools_bar_step::mapped);
    return {mapping.address, card_.size()};
  }
  /// The card's side: one word, ordered after everything the other side wrote before.
  uint32_t read(size_t offset) const {
    return card_.read32(offset);
  }
  void write(size_t offset, uint32_t value) {
    card_.write32(offset, value);
  }
  std::vector<uint8_t> bytes(size_t offset, size_t count) const {
    const auto bytes = card_.bytes().subspan(offset, count);
    return {bytes.begin(), bytes.end()};
  }
  void put(size_t offset, const std::vector<uint8_t>& data) const {
    std::copy(data.begin(), data.end(), card_.bytes().begin() + static_cast<std::ptrdiff_t>(offset));
  }

 private:
  const temp_folder folder_;
  const std::string path_ = folder_ / "bar0";
  vcard::Storage card_;
  kx_mmio_region tool_;
};
