// Property lists and keyed archives against files other programs wrote: every valid one
// reads as expected, every malformed or hostile one is refused cleanly, and what we write,
// Python's plistlib reads, and the other way round.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <sstream>

#include "command_output.h"
#include "platform/virtual/keyed_archive.h"
#include "platform/virtual/plist_codec.h"
#include "platform/virtual/plist_json.h"

namespace {

namespace fs = std::filesystem;
using namespace port;
using nlohmann::json;
using vsession::toJson;

const fs::path kTestData = fs::path(VARSEL_SOURCE_DIR) / ".." / "shared" / "testdata";

std::vector<uint8_t> readBytes(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

TEST(KeyedArchiveTest, EveryTestDataArchiveDecodesAsExpectedOrIsRefused) {
  fs::path dir = kTestData / "keyed-archives";
  json expected = json::parse(std::ifstream(dir / "expected.json"));
  ASSERT_GT(expected.size(), 20u);
  for (const auto& [file, want] : expected.items()) {
    SCOPED_TRACE(file);
    vsession::ArchiveRead read =
        vsession::unarchive(readBytes(dir / file), vsession::ForeignClasses::kDescribe);
    if (want.contains("error")) {
      EXPECT_FALSE(read.value) << toJson(*read.value).dump();
      EXPECT_FALSE(read.error.empty());
    } else {
      ASSERT_TRUE(read.value) << read.error;
      EXPECT_EQ(toJson(*read.value), want["value"]);
    }
  }
}

TEST(KeyedArchiveTest, SettingsReaderRefusesForeignClassesAndSelfContainingObjects) {
  fs::path dir = kTestData / "keyed-archives";
  for (const char* file : {"circularReference.plist", "complex_archive.plist", "note.plist"}) {
    vsession::ArchiveRead read =
        vsession::unarchive(readBytes(dir / file), vsession::ForeignClasses::kRefuse);
    EXPECT_FALSE(read.value) << file;
  }
  vsession::ArchiveRead dict =
      vsession::unarchive(readBytes(dir / "simpleDict.plist"), vsession::ForeignClasses::kRefuse);
  ASSERT_TRUE(dict.value);
  EXPECT_TRUE(dict.value->dict());
}

TEST(KeyedArchiveTest, HostileArchivesAreRefused) {
  using vsession::archiveTree;
  auto refusedWith = [](PlistValue archive, const std::string& reason) {
    vsession::ArchiveRead read = vsession::unarchive(archive, vsession::ForeignClasses::kDescribe);
    EXPECT_FALSE(read.value);
    EXPECT_EQ(read.error, reason);
  };
  // A dictionary whose value refers to a UID beyond the objects.
  PlistValue tree = archiveTree(PlistValue(PlistDict{{"a", PlistValue(1)}}));
  auto& objects = *std::get<std::shared_ptr<PlistArray>>(
      std::get<std::shared_ptr<PlistDict>>(tree.value)->at("$objects").value);
  auto& record = *std::get<std::shared_ptr<PlistDict>>(objects[1].value);
  record["NS.objects"] = PlistValue(PlistArray{PlistValue(PlistUid{999})});
  refusedWith(tree, "UID 999 is out of range");
  // A chain of arrays nested deeper than any real archive.
  PlistArray deep;
  deep.push_back(PlistValue("$null"));
  for (uint64_t i = 1; i <= 300; ++i) {
    PlistDict array;
    array["NS.objects"] = PlistValue(PlistArray{PlistValue(PlistUid{i + 1})});
    array["$class"] = PlistValue(PlistUid{302});
    deep.push_back(PlistValue(std::move(array)));
  }
  deep.push_back(PlistValue("end"));
  PlistDict cls;
  cls["$classname"] = PlistValue("NSArray");
  deep.push_back(PlistValue(std::move(cls)));
  PlistDict top;
  top["root"] = PlistValue(PlistUid{1});
  PlistDict archive;
  archive["$archiver"] = PlistValue("NSKeyedArchiver");
  archive["$version"] = PlistValue(100000);
  archive["$top"] = PlistValue(std::move(top));
  archive["$objects"] = PlistValue(std::move(deep));
  refusedWith(PlistValue(std::move(archive)), "objects nested too deeply");
  refusedWith(PlistValue("not an archive"), "not a dictionary");
}

TEST(PlistTest, EveryOffsetAndReferenceWidthReadsTheSameDocument) {
  int files = 0;
  for (const auto& entry : fs::directory_iterator(kTestData / "plists" / "valid")) {
    std::string name = entry.path().filename().string();
    if (name.rfind("off", 0) != 0 && name.rfind("dictref", 0) != 0) continue;
    vsession::PlistRead read = vsession::readPlist(readBytes(entry.path()));
    ASSERT_TRUE(read.value) << name << ": " << read.error;
    EXPECT_EQ(toJson(*read.value), json({{"A", "B"}})) << name;
    ++files;
  }
  EXPECT_EQ(files, 17);
}

TEST(PlistTest, OtherValidDocumentsRead) {
  fs::path dir = kTestData / "plists" / "valid";
  auto uid = vsession::readPlist(readBytes(dir / "uid.bplist"));
  ASSERT_TRUE(uid.value);
  EXPECT_EQ(toJson(*uid.value), json({{"$uid", 7}}));
  for (const char* file : {"signedunsigned.bplist", "signedunsigned.plist"}) {
    auto numbers = vsession::readPlist(readBytes(dir / file));
    ASSERT_TRUE(numbers.value) << file;
    json got = toJson(*numbers.value);
    ASSERT_EQ(got.size(), 5u);
    // The signed values read exactly; see readPlist for the unsigned ones beyond 2^63.
    EXPECT_EQ(got[0], -1);
    EXPECT_EQ(got[2], 9223372036854775807LL);
    EXPECT_EQ(got[3], std::numeric_limits<int64_t>::min());
  }
  for (const char* file : {"order.bplist", "data.bplist"}) {
    EXPECT_TRUE(vsession::readPlist(readBytes(dir / file)).value) << file;
  }
}

TEST(PlistTest, MalformedAndCrashInputsAreRefusedOrReadNeverCrash) {
  EXPECT_FALSE(
      vsession::readPlist(readBytes(kTestData / "plists" / "malformed" / "malformed_dict.bplist"))
          .value);
  int files = 0;
  for (const char* dir : {"malformed", "fuzz-crashes"}) {
    for (const auto& entry : fs::directory_iterator(kTestData / "plists" / dir)) {
      std::vector<uint8_t> bytes = readBytes(entry.path());
      vsession::PlistRead read = vsession::readPlist(bytes);
      EXPECT_TRUE(read.value || !read.error.empty());
      vsession::unarchive(bytes, vsession::ForeignClasses::kDescribe);
      ++files;
    }
  }
  EXPECT_GT(files, 40);
  EXPECT_FALSE(vsession::readPlist({}).value);
}

// A binary file may hold a key with a NUL in it ({"a\0b": 1, "ok": 2}); the key reads up
// to the NUL rather than bringing the reader down.
TEST(PlistTest, AKeyWithAnEmbeddedNulReadsUpToIt) {
  const std::vector<uint8_t> bytes = {
      0x62, 0x70, 0x6c, 0x69, 0x73, 0x74, 0x30, 0x30, 0xd2, 0x01, 0x02, 0x03, 0x04,
      0x53, 0x61, 0x00, 0x62, 0x52, 0x6f, 0x6b, 0x10, 0x01, 0x10, 0x02, 0x08, 0x0d,
      0x11, 0x14, 0x16, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0x01, 0x00, 0x00,
      0x00, 0x00, 0x00, 0x00, 0x00, 0x05, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
      0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x18};
  vsession::PlistRead read = vsession::readPlist(bytes);
  ASSERT_TRUE(read.value);
  EXPECT_EQ(toJson(*read.value), json({{"a", 1}, {"ok", 2}}));
}

PlistValue settingsDictionary() {
  PlistDict d;
  d["wheelSpeed"] = PlistValue(350);
  d["wheelReverseY"] = PlistValue(1);
  d["padCoastFactor"] = PlistValue(0.95);
  d["negative"] = PlistValue(-300);
  d["name"] = PlistValue("Reader ✓");
  d["nested"] = PlistValue(PlistArray{PlistValue(1), PlistValue("two")});
  return PlistValue(std::move(d));
}

TEST(PlistInteropTest, ArchiveWeWriteReadsBackAndPlistlibReadsItToo) {
  PlistValue settings = settingsDictionary();
  PlistData bytes = vsession::archive(settings);
  vsession::ArchiveRead ours = vsession::unarchive(bytes, vsession::ForeignClasses::kRefuse);
  ASSERT_TRUE(ours.value) << ours.error;
  EXPECT_EQ(*ours.value, settings);

  fs::path file = fs::path(::testing::TempDir()) / "ours.archive";
  std::ofstream(file, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
  std::string theirs = testing_support::commandOutput(testing_support::kPlistlibPeer +
                                                      "read-archive " + file.string());
  ASSERT_FALSE(theirs.empty());
  EXPECT_EQ(json::parse(theirs), toJson(settings));
}

TEST(PlistInteropTest, XmlArchiveWritesUidsAsDictionariesAndReadsBack) {
  PlistValue settings = settingsDictionary();
  std::string xml = vsession::writeXmlPlist(vsession::archiveTree(settings));
  EXPECT_NE(xml.find("CF$UID"), std::string::npos);
  vsession::ArchiveRead read = vsession::unarchive(std::vector<uint8_t>(xml.begin(), xml.end()),
                                                   vsession::ForeignClasses::kRefuse);
  ASSERT_TRUE(read.value) << read.error;
  EXPECT_EQ(*read.value, settings);
}

TEST(PlistInteropTest, ArchivePlistlibWritesReadsWithOurs) {
  fs::path file = fs::path(::testing::TempDir()) / "theirs.archive";
  json value = {{"wheelSpeed", 350},
                {"hoverOn", 0},
                {"padCoastFactor", 0.5},
                {"list", {1, "x"}},
                {"nothing", nullptr}};
  std::string command =
      testing_support::kPlistlibPeer + "write-archive '" + value.dump() + "' " + file.string();
  ASSERT_EQ(std::system(command.c_str()), 0);
  vsession::ArchiveRead ours =
      vsession::unarchive(readBytes(file), vsession::ForeignClasses::kRefuse);
  ASSERT_TRUE(ours.value) << ours.error;
  EXPECT_EQ(toJson(*ours.value), value);
}

}  // namespace
