// Runs a shell command and returns what it printed on standard output.
#pragma once

#include <cstdio>
#include <string>

namespace testing_support {

// Python's plistlib as an independent reader and writer; append a command and its arguments.
inline const std::string kPlistlibPeer = "python3 " VARSEL_SOURCE_DIR "/tests/plistlib_peer.py ";

inline std::string commandOutput(const std::string& command) {
  std::string out;
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return out;
  char buffer[4096];
  while (size_t n = fread(buffer, 1, sizeof buffer, pipe)) out.append(buffer, n);
  pclose(pipe);
  return out;
}

}  // namespace testing_support
