// What the agent's sources must hold: only the C++ standard library and the project's own
// headers, never a system header.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <utility>

namespace {

namespace fs = std::filesystem;

const std::set<std::string> kStandardHeaders = {
    "algorithm",     "array",   "atomic",  "cctype",      "cmath",       "cstddef",
    "cstdint",       "cstdio",  "cstdlib", "cstring",     "functional",  "initializer_list",
    "limits",        "map",     "memory",  "mutex",       "new",         "numbers",
    "optional",      "set",     "string",  "string_view", "type_traits", "unordered_map",
    "unordered_set", "utility", "variant", "vector"};

// The opening bracket and the header named by an include line; empty for other lines.
std::pair<char, std::string> includedHeader(const std::string& line) {
  size_t hash = line.find_first_not_of(" \t");
  if (hash == std::string::npos || line[hash] != '#') return {};
  size_t word = line.find_first_not_of(" \t", hash + 1);
  if (word == std::string::npos || line.compare(word, 7, "include") != 0) return {};
  size_t open = line.find_first_of("<\"", word + 7);
  if (open == std::string::npos) return {};
  size_t close = line.find_first_of(">\"", open + 1);
  if (close == std::string::npos) return {};
  return {line[open], line.substr(open + 1, close - open - 1)};
}

TEST(AgentSourcesTest, AgentIncludesOnlyTheStandardLibraryAndItsOwnHeaders) {
  int files = 0;
  for (const char* dir : {"bg", "acc"}) {
    for (const auto& entry : fs::recursive_directory_iterator(fs::path(VARSEL_SOURCE_DIR) / dir)) {
      if (!entry.is_regular_file()) continue;
      ++files;
      std::ifstream in(entry.path());
      std::string line;
      while (std::getline(in, line)) {
        auto [bracket, header] = includedHeader(line);
        if (header.empty()) continue;
        if (bracket == '<') {
          EXPECT_TRUE(kStandardHeaders.count(header))
              << entry.path() << " includes <" << header << ">";
        } else {
          EXPECT_TRUE(header.rfind("platform/virtual", 0) != 0 &&
                      header.rfind("platform/macos", 0) != 0)
              << entry.path() << " includes a platform implementation: " << header;
        }
      }
    }
  }
  EXPECT_GT(files, 5);
}

}  // namespace
