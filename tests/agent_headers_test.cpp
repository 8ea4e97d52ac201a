// The agent reaches the system only through the ports: its sources include the C++ standard
// library and the project's own headers, never a system header.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <string>

namespace {

namespace fs = std::filesystem;

const std::set<std::string> kStandardHeaders = {
    "algorithm", "array",       "atomic",      "cmath",         "cstddef",          "cstdint",
    "cstdio",    "cstdlib",     "cstring",     "functional",    "initializer_list", "limits",
    "map",       "memory",      "mutex",       "new",           "optional",         "set",
    "string",    "string_view", "type_traits", "unordered_map", "unordered_set",    "utility",
    "variant",   "vector"};

TEST(AgentHeadersTest, AgentIncludesOnlyTheStandardLibraryAndItsOwnHeaders) {
  const std::regex include(R"(^\s*#\s*include\s*([<"])([^>"]+)[>"])");
  int files = 0;
  for (const char* dir : {"bg", "acc"}) {
    for (const auto& entry : fs::recursive_directory_iterator(fs::path(VARSEL_SOURCE_DIR) / dir)) {
      if (!entry.is_regular_file()) continue;
      ++files;
      std::ifstream in(entry.path());
      std::string line;
      while (std::getline(in, line)) {
        std::smatch m;
        if (!std::regex_search(line, m, include)) continue;
        std::string header = m[2];
        if (m[1] == "<") {
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
