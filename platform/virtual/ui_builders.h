// Short ways to write accessibility trees for windows in code, as a scenario's `ui` would.
#pragma once

#include <utility>
#include <vector>

#include "world.h"

namespace vsession {

inline UiSpec uiElement(const char* role, port::CGRect frame, std::vector<UiSpec> children = {}) {
  UiSpec e;
  e.role = role;
  e.frame = frame;
  e.children = std::move(children);
  return e;
}

// A scroll area with a vertical bar, and a horizontal one when the content is wider.
inline UiSpec uiScrollArea(port::CGRect frame, port::CGSize content, double offsetY,
                           std::vector<UiSpec> children) {
  UiSpec a = uiElement("AXScrollArea", frame, std::move(children));
  a.content = content;
  a.offset = {0, offsetY};
  a.verticalBar = true;
  a.horizontalBar = content.width > frame.size.width;
  return a;
}

}  // namespace vsession
