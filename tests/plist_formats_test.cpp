// Property lists and keyed archives against files other programs wrote: every valid one
// reads as expected, every malformed or hostile one is refused cleanly, and what we write,
// Python's plistlib reads, and the other way round.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>

#include "outside_world.h"
#include "platform/virtual/keyed_archive.h"
#include "platform/virtual/plist_codec.h"
#include "platform/virtual/plist_json.h"

namespace {

namespace fs = std::filesystem;
using namespace port;
using nlohmann::json;
using testing_support::kPlistlibPeer;
using vsession::ForeignClasses;
using vsession::toJson;

const fs::path kTestData = fs::path(VARSEL_SOURCE_DIR) / ".." / "shared" / "testdata";
const fs::path kArchives = kTestData / "keyed-archives", kPlists = kTestData / "plists";

// Runs Python's plistlib as the other program; answers its exit status.
int peer(const std::string& args) {
  return std::system((kPlistlibPeer + args).c_str());
}

std::vector<uint8_t> readBytes(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// The settings reader (kRefuse) knows only the Foundation collections and strings and
// refuses an object that contains itself; any other archive it reads as the describing one.
TEST(KeyedArchiveTest, EveryTestDataArchiveDecodesAsExpectedOrIsRefused) {
  json expected = json::parse(std::ifstream(kArchives / "expected.json"));
  ASSERT_GT(expected.size(), 20u);
  for (const auto& [file, want] : expected.items()) {
    SCOPED_TRACE(file);
    std::vector<uint8_t> bytes = readBytes(kArchives / file);
    auto read = vsession::unarchive(bytes, ForeignClasses::kDescribe);
    auto strict = vsession::unarchive(bytes, ForeignClasses::kRefuse);
    if (want.contains("error")) {
      EXPECT_FALSE(read.value) << toJson(*read.value).dump();
      EXPECT_FALSE(read.error.empty());
      EXPECT_FALSE(strict.value);
      continue;
    }
    ASSERT_TRUE(read.value) << read.error;
    EXPECT_EQ(toJson(*read.value), want["value"]);
    std::string text = want["value"].dump();
    bool foreign = text.find("\"$class\"") != text.npos || text.find("\"$ref\"") != text.npos;
    EXPECT_EQ(strict.value.has_value(), !foreign) << strict.error;
    if (strict.value) {
      EXPECT_EQ(toJson(*strict.value), want["value"]);
    }
  }
}

// Nesting is bounded so that a hostile settings archive cannot exhaust the stack.
TEST(KeyedArchiveTest, ObjectsNestedTooDeeplyAreRefused) {
  PlistValue deep("end");
  for (int i = 0; i < 300; ++i) deep = PlistValue(PlistArray{deep});
  EXPECT_EQ(vsession::unarchive(vsession::archiveTree(deep), ForeignClasses::kDescribe).error,
            "objects nested too deeply");
}

TEST(PlistTest, EveryValidDocumentReads) {
  int sameDocument = 0;
  for (const auto& entry : fs::directory_iterator(kPlists / "valid")) {
    std::string name = entry.path().filename().string();
    vsession::PlistRead read = vsession::readPlist(readBytes(entry.path()));
    ASSERT_TRUE(read.value) << name << ": " << read.error;
    json got = toJson(*read.value);
    if (name.starts_with("off") || name.starts_with("dictref")) {
      // Every width of offsets and of object numbers reads the same document.
      EXPECT_EQ(got, json({{"A", "B"}})) << name;
      ++sameDocument;
    } else if (name.starts_with("signedunsigned")) {
      // The signed values read exactly; see readPlist for the unsigned ones beyond 2^63.
      ASSERT_EQ(got.size(), 5u) << name;
      EXPECT_EQ(got[0], -1) << name;
      EXPECT_EQ(got[2], 9223372036854775807LL) << name;
      EXPECT_EQ(got[3], std::numeric_limits<int64_t>::min()) << name;
    } else if (name == "uid.bplist") {
      EXPECT_EQ(got, json({{"$uid", 7}}));
    }
  }
  EXPECT_EQ(sameDocument, 17);
}

TEST(PlistTest, MalformedAndCrashInputsAreRefusedOrReadNeverCrash) {
  EXPECT_FALSE(
      vsession::readPlist(readBytes(kPlists / "malformed" / "malformed_dict.bplist")).value);
  EXPECT_FALSE(vsession::readPlist({}).value);
  int files = 0;
  for (const char* dir : {"malformed", "fuzz-crashes"}) {
    for (const auto& entry : fs::directory_iterator(kPlists / dir)) {
      std::vector<uint8_t> bytes = readBytes(entry.path());
      vsession::PlistRead read = vsession::readPlist(bytes);
      EXPECT_TRUE(read.value || !read.error.empty()) << entry.path();
      vsession::unarchive(bytes, ForeignClasses::kDescribe);
      ++files;
    }
  }
  EXPECT_GT(files, 40);
}

// A date that libplist's 32-bit seconds cannot hold (a hostile domain may carry one) is
// written at the nearer end of their range, and no date at all as 2001, never as undefined
// behaviour.
TEST(PlistTest, ADateBeyondWhatTheWriterHoldsIsWrittenAtItsEnd) {
  for (auto [date, written] : {std::pair{1e300, 2147483647.0},
                               {-1e12, -2147483648.0},
                               {std::numeric_limits<double>::quiet_NaN(), 0.0}}) {
    vsession::PlistRead read = vsession::readPlist(vsession::writeBinaryPlist(PlistDate{date}));
    ASSERT_TRUE(read.value) << read.error;
    EXPECT_EQ(std::get<PlistDate>(read.value->value).seconds, written) << date;
  }
}

// Another program may write a key with a NUL in it; the key reads up to the NUL rather
// than bringing the reader down.
TEST(PlistTest, AKeyWithAnEmbeddedNulReadsUpToIt) {
  std::string file = ::testing::TempDir() + "/nul-key.plist";
  ASSERT_EQ(peer(R"(write-domain '{"global": {"a\u0000b": 1, "ok": 2}}' )" + file), 0);
  vsession::PlistRead read = vsession::readPlist(readBytes(file));
  ASSERT_TRUE(read.value) << read.error;
  EXPECT_EQ(toJson(*read.value), json::parse(R"({"a": 1, "appList": [], "ok": 2})"));
}

// Settings archived by plistlib read with ours; archived again by us, binary and XML, they
// read back whole, and plistlib reads our binary archive.
TEST(PlistInteropTest, ArchivesGoBothWaysBetweenOursAndPlistlib) {
  std::string theirs = ::testing::TempDir() + "/theirs.archive";
  std::string ours = ::testing::TempDir() + "/ours.archive";
  json value = json::parse(R"({"wheelSpeed": 350, "wheelReverseY": 1, "padCoastFactor": 0.95,
      "negative": -300, "name": "Reader \u2713", "nested": [1, "two"], "nothing": null})");
  ASSERT_EQ(peer("write-archive '" + value.dump(-1, ' ', true) + "' " + theirs), 0);
  vsession::ArchiveRead read = vsession::unarchive(readBytes(theirs), ForeignClasses::kRefuse);
  ASSERT_TRUE(read.value) << read.error;
  EXPECT_EQ(toJson(*read.value), value);

  PlistData bytes = vsession::archive(*read.value);
  std::string xml = vsession::writeXmlPlist(vsession::archiveTree(*read.value));
  EXPECT_NE(xml.find("CF$UID"), std::string::npos);
  for (const auto& form : {bytes, std::vector<uint8_t>(xml.begin(), xml.end())}) {
    vsession::ArchiveRead back = vsession::unarchive(form, ForeignClasses::kRefuse);
    ASSERT_TRUE(back.value) << back.error;
    EXPECT_EQ(*back.value, *read.value) << std::string(form.begin(), form.begin() + 8);
  }
  std::ofstream(ours, std::ios::binary) << std::string(bytes.begin(), bytes.end());
  EXPECT_EQ(json::parse(testing_support::commandOutput(kPlistlibPeer + "read-archive " + ours)),
            value);
}

}  // namespace
