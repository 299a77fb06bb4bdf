// Registers of the configuration spaces that react to being written: error status, function-level reset, retraining of
// the link. The host writes them like memory; the card looks at what has become of them.

#include <algorithm>
#include <atomic>
#include <memory>

#include "vcard/card.h"
#include "vcard/models.h"

namespace vcard {

namespace {

constexpr std::chrono::microseconds register_period(100);

constexpr size_t command_register = 0x04;
constexpr size_t first_bar = 0x10;
constexpr size_t bar_count = 6;
constexpr uint32_t bar_flags = 0xf;
constexpr size_t device_control = express_capability + 0x08;  // status in the upper half
constexpr uint32_t device_reset = 1u << 15;
constexpr uint32_t device_errors = 0xfu << 16;
constexpr uint32_t device_default = 0x2810;
constexpr size_t link_control = express_capability + 0x10;  // status in the upper half
constexpr uint32_t link_retrain = 1u << 5;
constexpr uint32_t link_training = 1u << 27;
constexpr size_t error_status[] = {aer_capability + 0x04, aer_capability + 0x10};
constexpr size_t error_masks[] = {aer_capability + 0x08, aer_capability + 0x14};
constexpr size_t error_statuses = std::size(error_status);

std::atomic_ref<uint32_t> word(const PciFunction& function, size_t offset) {
  return std::atomic_ref(*reinterpret_cast<uint32_t*>(function.config.bytes().data() + offset));
}

class PciRegisters {
 public:
  explicit PciRegisters(Card& card) : card_(card) {
    CardSection link = card.file().section("link");
    retrain_speed_ = static_cast<uint8_t>(link.number("retrain_speed", 4, 15));
    retrain_width_ = static_cast<uint8_t>(link.number("retrain_width", 16, 63));
    training_ms_ = link.number("training_ms", 5, 60000);
    card.on_create([this] {
      for (PciFunction& function : card_.functions()) {
        if (function.kind != FunctionKind::foreign) {
          shadows_.push_back({&function,
                              {word(function, error_status[0]).load(), word(function, error_status[1]).load()},
                              word(function, device_control).load() & device_errors});
        }
      }
    });
    card.poll_every(register_period, [this] { return poll(); });
    card.function_reset = [this](const PciFunction& function) {
      for (Shadow& shadow : shadows_) {
        if (shadow.function == &function) {
          reset(shadow);
        }
      }
    };
  }

 private:
  struct Shadow {
    PciFunction* function;
    uint32_t errors[error_statuses];
    uint32_t device_errors;
  };

  bool poll() {
    bool worked = false;
    for (Shadow& shadow : shadows_) {
      // A function that has left the bus reads all ones and keeps nothing.
      if (word(*shadow.function, 0).load() != UINT32_MAX) {
        worked = look(shadow) || worked;
      }
    }
    return worked;
  }

  bool look(Shadow& shadow) {
    PciFunction& function = *shadow.function;
    bool worked = false;
    for (size_t i = 0; i < error_statuses; ++i) {
      worked = ones_clear(word(function, error_status[i]), UINT32_MAX, &shadow.errors[i]) || worked;
    }
    uint32_t device = word(function, device_control).load();
    if ((device & device_reset) != 0) {
      reset(shadow);
      return true;
    }
    worked = ones_clear(word(function, device_control), device_errors, &shadow.device_errors) || worked;
    if (function.kind == FunctionKind::card_switch && (word(function, link_control).load() & link_retrain) != 0) {
      retrain(function);
      worked = true;
    }
    return worked;
  }

  /// Bits under `mask` that were written as ones are cleared. What was written shows by its difference only: writing
  /// just the bits that stand there cannot be seen.
  static bool ones_clear(std::atomic_ref<uint32_t> place, uint32_t mask, uint32_t* shadow) {
    uint32_t now = place.load();
    if ((now & mask) == *shadow) {
      return false;
    }
    *shadow &= ~now;
    // A write to the bits beside them must not be lost.
    while (!place.compare_exchange_weak(now, (now & ~mask) | *shadow)) {
    }
    return true;
  }

  void reset(Shadow& shadow) {
    PciFunction& function = *shadow.function;
    card_.log().line("function_reset function=%s", function.sbdf.c_str());
    if (!function.state.reset_returns) {
      std::ranges::fill(function.config.bytes(), uint8_t{0xff});
      return;
    }
    word(function, command_register).fetch_and(0xffff0000);
    for (size_t i = 0; i < bar_count; ++i) {
      word(function, first_bar + 4 * i).fetch_and(bar_flags);
    }
    for (size_t place : error_masks) {
      word(function, place).store(0);
    }
    for (size_t place = msi_capability; place <= msi_capability + 0x0c; place += 4) {
      word(function, place).fetch_and(place == msi_capability ? 0xff8effff : 0);
    }
    word(function, msix_capability).fetch_and(0x3fffffff);
    if (function.kind == FunctionKind::physical) {
      word(function, sriov_capability + 0x08).store(0);
      word(function, sriov_capability + 0x10).store(0);
      for (size_t place = sriov_capability + 0x20; place < sriov_capability + 0x3c; place += 4) {
        word(function, place).store(place == sriov_capability + 0x20 ? 1 : 0);
      }
    }
    shadow.device_errors = 0;
    word(function, device_control)
        .store((word(function, device_control).load() & ~(device_errors | 0xffffu)) | device_default);
  }

  void retrain(PciFunction& port) {
    card_.log().line("retrain function=%s", port.sbdf.c_str());
    word(port, link_control).fetch_or(link_training);
    word(port, link_control).fetch_and(~link_retrain);
    card_.schedule(std::chrono::milliseconds(training_ms_), [this] {
      for (const Shadow& shadow : shadows_) {
        pci_link_status_set(*shadow.function, retrain_speed_, retrain_width_);
      }
    });
  }

  Card& card_;
  std::vector<Shadow> shadows_;
  uint8_t retrain_speed_ = 0;
  uint8_t retrain_width_ = 0;
  uint64_t training_ms_ = 0;
};

}  // namespace

void pci_registers_attach(Card& card) {
  card.own(std::make_unique<PciRegisters>(card));
}

}  // namespace vcard
