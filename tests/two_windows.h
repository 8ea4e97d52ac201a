// The session most tests start from: a reader and an editor, each with a window, the reader
// in front and the cursor over its window.
#pragma once

#include "platform/virtual/session.h"

namespace testing_support {

inline vsession::SessionConfig twoWindowConfig() {
  vsession::SessionConfig config;
  config.apps.resize(2);
  config.apps[0].pid = 501;
  config.apps[0].bundleIdentifier = "com.example.reader";
  config.apps[0].name = "Reader";
  config.apps[1].pid = 502;
  config.apps[1].bundleIdentifier = "com.example.editor";
  config.apps[1].name = "Editor";
  config.windows = {{101, 501, {{100, 100}, {800, 600}}, "Doc", 0, false, {}},
                    {201, 502, {{700, 200}, {600, 500}}, "Notes", 0, false, {}}};
  config.frontPid = 501;
  config.cursor = {400, 400};
  return config;
}

}  // namespace testing_support
