// Faults that hit some of the requests or transfers they are for.
#pragma once

#include "vcard/card_file.h"

namespace vcard {

/// `count` of them are hit, from number `from` on, counted from 0.
class FaultRange {
 public:
  FaultRange() = default;
  explicit FaultRange(const CardSection& fault)
      : from_(fault.number("from", 0)), count_(fault.number("count", UINT64_MAX)) {}

  bool hits(uint64_t number) const {
    return number >= from_ && number - from_ < count_;
  }
  /// The same for those that are counted here.
  bool hits_next() {
    return hits(seen_++);
  }

 private:
  uint64_t from_ = 0;
  uint64_t count_ = 0;
  uint64_t seen_ = 0;
};

}  // namespace vcard
