// Watches the bars record the run timer hands to the event thread and describes each
// change as the fields of a `bars` trace line.
#pragma once

#include <optional>

#include "platform/virtual/trace.h"

namespace sim {

class BarsObserver {
 public:
  BarsObserver();
  // The record as a `bars` line's fields when it changed since the last look.
  std::optional<vsession::TraceLine> change();

 private:
  vsession::TraceLine last_;
};

}  // namespace sim
