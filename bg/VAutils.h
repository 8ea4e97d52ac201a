// Screen geometry shared by the agent's modules.
#pragma once

#include <cstdint>

// A rectangle as four signed 32-bit integers in the order top, left, bottom, right (the
// classic Carbon Rect, widened). Stored rectangles are in Cocoa global coordinates, so top
// is the larger y.
struct IRect {
  int32_t top = 0;
  int32_t left = 0;
  int32_t bottom = 0;
  int32_t right = 0;
  friend bool operator==(const IRect&, const IRect&) = default;
};
