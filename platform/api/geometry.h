// CGPoint, CGSize and CGRect from CoreGraphics: plain doubles, Quartz or Cocoa
// coordinates as each use says.
#pragma once

namespace port {

struct CGPoint {
  double x = 0;
  double y = 0;
  friend bool operator==(const CGPoint&, const CGPoint&) = default;
};

struct CGSize {
  double width = 0;
  double height = 0;
  friend bool operator==(const CGSize&, const CGSize&) = default;
};

struct CGRect {
  CGPoint origin;
  CGSize size;
  friend bool operator==(const CGRect&, const CGRect&) = default;
};

}  // namespace port
