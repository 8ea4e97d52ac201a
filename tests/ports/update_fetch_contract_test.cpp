// The update check's fetch: the version list comes whole from the server; any failure (no
// such file, nobody listening) is nothing rather than an error page taken for a list.
#include "contract.h"

namespace {

class UpdateFetchContract : public contract::PortContract {};

TEST_F(UpdateFetchContract, TheVersionListIsFetchedWholeAndAFailureIsNothing) {
  std::string body =
      R"(<?xml version="1.0"?><plist version="1.0"><array><string>4.3</string></array></plist>)";
  std::optional<std::string> base = contract::serve("versions/vx.plist", body);
  if (!base) GTEST_SKIP() << "this build has no loopback HTTP server to fetch from";
  port::UpdateFetch& fetch = *ports().updateFetch;
  std::optional<std::vector<uint8_t>> got =
      fetch.dataWithContentsOfURL(*base + "versions/vx.plist", 5);
  ASSERT_TRUE(got);
  EXPECT_EQ(std::string(got->begin(), got->end()), body);
  EXPECT_FALSE(fetch.dataWithContentsOfURL(*base + "versions/missing.plist", 5)) << "a 404 page";
  EXPECT_FALSE(fetch.dataWithContentsOfURL("http://127.0.0.1:1/versions/vx.plist", 5));
}

}  // namespace
