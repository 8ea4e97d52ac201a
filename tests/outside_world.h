// The world outside the process under test: shell commands, Python's plistlib, files.
#pragma once

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace testing_support {

// Python's plistlib as an independent reader and writer; append a command and its arguments.
inline const std::string kPlistlibPeer = "python3 " VARSEL_SOURCE_DIR "/tests/plistlib_peer.py ";

// What a shell command printed on standard output.
inline std::string commandOutput(const std::string& command) {
  std::string out;
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return out;
  char buffer[4096];
  while (size_t n = fread(buffer, 1, sizeof buffer, pipe)) out.append(buffer, n);
  pclose(pipe);
  return out;
}

// A whole file's text; empty when it cannot be read.
inline std::string readFile(const std::filesystem::path& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

}  // namespace testing_support
