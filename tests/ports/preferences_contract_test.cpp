// Preferences, keyed archives, property lists and files: the agent's settings
// live in its preferences domain, each application's as a keyed archive inside it; the
// zone offsets live in a file of their own. A value must read back as it was written, a
// removed key must be gone, and any malformed file from outside must read as nothing.
#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "contract.h"

namespace {

using namespace port;
using nlohmann::json;

const std::string kTestData = VARSEL_TESTDATA_DIR;

std::vector<uint8_t> readBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A property-list value as the test data's expected.json writes it.
json asJson(const PlistValue& v) {
  if (const PlistDict* d = v.dict()) {
    json out = json::object();
    for (const auto& [key, value] : *d) out[key] = asJson(value);
    return out;
  }
  if (const PlistArray* a = v.array()) {
    json out = json::array();
    for (const PlistValue& value : *a) out.push_back(asJson(value));
    return out;
  }
  if (const std::string* s = v.string()) return *s;
  if (auto* b = std::get_if<bool>(&v.value)) return *b;
  if (auto* i = std::get_if<int64_t>(&v.value)) return *i;
  if (auto* d = std::get_if<double>(&v.value)) return *d;
  return nullptr;
}

class PreferencesContract : public contract::PortContract {
 protected:
  // A domain of this run's own, emptied afterwards.
  std::string domain() {
    return "com.tarnwick.varsel.contract." +
           std::to_string(ports().application->processIdentifier());
  }
  void TearDown() override {
    Preferences& prefs = *ports().preferences;
    for (const std::string& key : prefs.copyKeyList(domain()))
      prefs.setAppValue(key, std::nullopt, domain());
    prefs.appSynchronize(domain());
    PortContract::TearDown();
  }
};

TEST_F(PreferencesContract, ValuesWrittenAndSynchronisedReadBackAndARemovedKeyIsGone) {
  Preferences& prefs = *ports().preferences;
  PlistArray appList{PlistDict{{"BundleID", "com.example.reader"}, {"data", PlistData{1, 2, 250}}}};
  const std::vector<std::pair<std::string, PlistValue>> values = {
      {"wheelSpeed", int64_t{350}},
      {"padCoastFactor", 0.95},
      {"hotKeyName", "⌃⌥ Space"},
      {"appList", appList},
      {"hoverOn", true},
      {"nested", PlistDict{{"a", PlistArray{1, "two"}}}}};
  for (const auto& [key, value] : values) prefs.setAppValue(key, value, domain());
  ASSERT_TRUE(prefs.appSynchronize(domain()));
  for (const auto& [key, value] : values) {
    std::optional<PlistValue> read = prefs.copyAppValue(key, domain());
    ASSERT_TRUE(read) << key;
    EXPECT_EQ(asJson(*read), asJson(value)) << key;
  }
  std::vector<std::string> keys = prefs.copyKeyList(domain());
  EXPECT_EQ(keys.size(), values.size());
  EXPECT_FALSE(prefs.copyAppValue("neverWritten", domain()));

  prefs.setAppValue("wheelSpeed", std::nullopt, domain());
  ASSERT_TRUE(prefs.appSynchronize(domain()));
  EXPECT_FALSE(prefs.copyAppValue("wheelSpeed", domain()));
  keys = prefs.copyKeyList(domain());
  EXPECT_EQ(std::count(keys.begin(), keys.end(), "wheelSpeed"), 0);
}

class KeyedArchiveContract : public contract::PortContract {};

TEST_F(KeyedArchiveContract, ADictionaryOfStringsAndNumbersRoundTripsAsAPropertyList) {
  PlistValue settings = PlistDict{{"wheelSpeed", int64_t{350}},
                                  {"padCoastFactor", 0.95},
                                  {"negative", int64_t{-300}},
                                  {"name", "Reader ✓"},
                                  {"nested", PlistArray{int64_t{1}, "two"}}};
  PlistData bytes = ports().keyedArchiver->archivedDataWithRootObject(settings);
  ASSERT_FALSE(bytes.empty());
  std::optional<PlistValue> back = ports().keyedArchiver->unarchiveObjectWithData(bytes);
  ASSERT_TRUE(back);
  EXPECT_EQ(asJson(*back), asJson(settings));
  // What the archiver writes is a property list naming its archiver.
  std::optional<PlistValue> plist = ports().propertyLists->propertyListWithData(bytes);
  ASSERT_TRUE(plist && plist->dict());
  ASSERT_TRUE(plist->dict()->count("$archiver"));
  EXPECT_EQ(asJson(plist->dict()->at("$archiver")), "NSKeyedArchiver");
}

// Archives written by other programs: the plain ones read as their description says; the
// malformed ones, and those of classes the agent does not know, read as nothing; one whose
// objects refer back to themselves is read or refused, never followed forever.
TEST_F(KeyedArchiveContract, TheArchivesOfOtherProgramsReadAsTheAgentExpects) {
  std::ifstream file(kTestData + "/keyed-archives/expected.json");
  json expected = json::parse(file);
  ASSERT_GT(expected.size(), 20u);
  int plain = 0, refused = 0;
  for (const auto& [name, want] : expected.items()) {
    SCOPED_TRACE(name);
    std::optional<PlistValue> read = ports().keyedArchiver->unarchiveObjectWithData(
        readBytes(kTestData + "/keyed-archives/" + name));
    std::string text = want.dump();
    if (text.find("\"$ref\"") != std::string::npos) continue;
    if (want.contains("error") || text.find("\"$class\"") != std::string::npos ||
        text.find("\"$url\"") != std::string::npos) {
      EXPECT_FALSE(read) << asJson(*read).dump();
      ++refused;
      continue;
    }
    ASSERT_TRUE(read);
    EXPECT_EQ(asJson(*read), want["value"]);
    ++plain;
  }
  EXPECT_GE(plain, 4);
  EXPECT_GE(refused, 10);
  EXPECT_FALSE(ports().keyedArchiver->unarchiveObjectWithData({}));
}

class PropertyListContract : public contract::PortContract {};

TEST_F(PropertyListContract, EveryFormOfADocumentReadsAndMalformedOnesReadAsNothing) {
  int same = 0;
  for (const auto& entry : std::filesystem::directory_iterator(kTestData + "/plists/valid")) {
    std::string name = entry.path().filename().string();
    if (!name.starts_with("off") && !name.starts_with("dictref")) continue;
    std::optional<PlistValue> read =
        ports().propertyLists->propertyListWithData(readBytes(entry.path()));
    ASSERT_TRUE(read) << name;
    EXPECT_EQ(asJson(*read), json({{"A", "B"}})) << name;
    ++same;
  }
  EXPECT_EQ(same, 17);
  std::string xml =
      R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict><key>wheelSpeed</key>)"
      R"(<integer>350</integer><key>f</key><real>0.5</real></dict></plist>)";
  std::optional<PlistValue> read =
      ports().propertyLists->propertyListWithData({xml.begin(), xml.end()});
  ASSERT_TRUE(read);
  EXPECT_EQ(asJson(*read), json({{"wheelSpeed", 350}, {"f", 0.5}}));

  EXPECT_FALSE(ports().propertyLists->propertyListWithData(
      readBytes(kTestData + "/plists/malformed/malformed_dict.bplist")));
  EXPECT_FALSE(ports().propertyLists->propertyListWithData({}));
  int hostile = 0;
  for (const auto& entry :
       std::filesystem::directory_iterator(kTestData + "/plists/fuzz-crashes")) {
    ports().propertyLists->propertyListWithData(readBytes(entry.path()));  // read or refused
    ++hostile;
  }
  EXPECT_GT(hostile, 30);
}

class FilesContract : public contract::PortContract {};

TEST_F(FilesContract, FoldersAndFilesAreMadeReadListedAndRemoved) {
  Files& files = *ports().files;
  std::string home = files.homeDirectory();
  EXPECT_TRUE(files.isDirectory(home));
  EXPECT_EQ(files.libraryDirectory(), home + "/Library");
  std::optional<std::string> preferences = files.findFolder(0x70726566);  // 'pref'
  if (preferences) {
    EXPECT_EQ(*preferences, files.libraryDirectory() + "/Preferences");
  }

  std::string base = files.libraryDirectory() + "/Caches/com.tarnwick.varsel.contract." +
                     std::to_string(ports().application->processIdentifier());
  std::string error;
  ASSERT_TRUE(files.createDirectory(base + "/a/b", &error)) << error;
  EXPECT_TRUE(files.isDirectory(base + "/a/b"));
  std::vector<uint8_t> bytes{'v', 0, 1, 255};
  ASSERT_TRUE(files.writeFileAtomically(base + "/a/b/offsets", bytes));
  ASSERT_TRUE(files.writeFileAtomically(base + "/a/b/offsets", bytes));  // over an old one
  EXPECT_TRUE(files.fileExists(base + "/a/b/offsets"));
  EXPECT_FALSE(files.isDirectory(base + "/a/b/offsets"));
  EXPECT_EQ(files.readFile(base + "/a/b/offsets"), bytes);
  EXPECT_EQ(files.contentsOfDirectory(base + "/a/b"), (std::vector<std::string>{"offsets"}));
  EXPECT_FALSE(files.hasQuarantineProperties(base + "/a/b/offsets"));
  EXPECT_FALSE(files.readFile(base + "/a/b/missing"));

  std::string refusal;
  EXPECT_FALSE(files.createDirectory(base + "/a/b/offsets/c", &refusal)) << "made inside a file";
  EXPECT_FALSE(refusal.empty());

  EXPECT_TRUE(files.removeItem(base));
  EXPECT_FALSE(files.fileExists(base));
  EXPECT_FALSE(files.removeItem(base));
}

}  // namespace
