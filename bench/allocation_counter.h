// Counts heap allocations made by this program, so a benchmark can report allocations per
// event next to its time.
#pragma once

#include <cstdint>

namespace bench_support {
uint64_t allocationCount();
}
