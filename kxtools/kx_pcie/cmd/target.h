// The function that a command works on: its configuration space, and what went wrong with it.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "common/text.h"
#include "device/address.h"
#include "kx_pcie/registers.h"

struct kxpcie_capability {
  uint16_t id;
  uint8_t version;  ///< of an extended capability
  uint16_t offset;
};

/// The first failure stays. What is read behind it is all ones, as from a function that has left the bus, and nothing
/// is written any more; a command looks at good() before it shows what it has read. The line is printed once, by end().
class kxpcie_target {
 public:
  explicit kxpcie_target(kxtools_sbdf sbdf) : sbdf_(sbdf) {}

  kxtools_sbdf sbdf() const {
    return sbdf_;
  }
  bool good() const {
    return failure_.result == 0;
  }
  /// Keeps a failure with its line; KXPCIE_FAIL adds who found it.
  void fail(const char* function, int line, std::string text);
  /// Keeps the result of a layer below, which has printed its own line when it is not 0. Returns good().
  bool check(int32_t result);
  bool check(bool done) {
    return check(done ? 0 : -1);
  }
  /// Takes over the failure of another function's, such as the port's above.
  void adopt(const kxpcie_target& other) {
    failure_ = good() ? other.failure_ : failure_;
  }
  /// Why it failed, for a longer line.
  const char* reason() const {
    return failure_.text.empty() ? "configuration access failed" : failure_.text.c_str();
  }
  /// Prints the line of a failure, if it has one. Returns 0 or the negative result.
  int32_t end() const;

  uint32_t dword(uint32_t offset);
  uint16_t word(uint32_t offset);
  void dwords(uint32_t offset, std::span<uint32_t> values);
  void dword_write(uint32_t offset, uint32_t value);
  void word_write(uint32_t offset, uint16_t value);
  /// Replaces the bits under `mask` by those of `value`, with no other tool in between. Returns what stood there.
  uint16_t word_change(uint32_t offset, uint16_t mask, uint16_t value);

  /// All capabilities in the order of the chain, which ends at the latest where the space could hold no more.
  std::vector<kxpcie_capability> capabilities(bool extended);
  /// Offset of the first capability with that id; nothing when there is none.
  std::optional<uint32_t> look(bool extended, uint16_t id);
  /// The same for one that the command cannot do without: its absence is a failure.
  uint32_t find(bool extended, uint16_t id);

 private:
  struct failure {
    int32_t result = 0;
    const char* function = "";
    int line = 0;
    std::string text;
  };
  kxtools_sbdf sbdf_;
  failure failure_;
};

#define KXPCIE_FAIL(target, ...) (target).fail(__func__, __LINE__, kx_text(__VA_ARGS__))
