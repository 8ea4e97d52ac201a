#include "Commonprefs_offsets.h"

#include "Commonprefs.h"
#include "VAhover.h"
#include "bgDelegate.h"
#include "platform/api/platform.h"

using namespace port;

namespace {
OffsetsStatics s;

constexpr int64_t kOffsetsFormat = 1;

void logAndAlert(const std::string& line, const std::string& title, const std::string& text) {
  platform().systemLog->log(line);
  platform().userNotifications->runAlert(title, text, {"OK"});
}

// A bundle identifier names a file in the folder; one that could name anything else is not
// an application's.
bool usableAsFileName(const std::string& bid) {
  return !bid.empty() && bid != "." && bid != ".." && bid.find('/') == std::string::npos;
}

std::optional<std::string> bundleIdentifierOf(int32_t pid) {
  std::optional<RunningApplication> app =
      platform().workspace->runningApplicationWithProcessIdentifier(pid);
  return app ? app->bundleIdentifier : std::nullopt;
}
}  // namespace

OffsetsStatics& Offsets_statics() {
  return s;
}

void Offsets_reset() {
  s = OffsetsStatics{};
}

std::optional<std::string> savedOfstsPath_create(bool create) {
  std::optional<std::string> preferences = prefsFolderPath();
  if (!preferences) {
    const char* text = "Could not find ~/Library/Preferences folder";
    logAndAlert(text, text, "");
    return std::nullopt;
  }
  std::string path = *preferences + "/com.tarnwick.varsel4";
  Files& files = *platform().files;
  if (files.isDirectory(path)) return path;
  if (!create) return std::nullopt;
  std::string error;
  if (!files.createDirectory(path, &error)) {
    logAndAlert("Could not create directory " + path + ", error " + error,
                "Could not create directory:", path);
    return std::nullopt;
  }
  return path;
}

bool get_up_downOfstPtr_forBid(int32_t* up, int32_t* down, const std::string& bid) {
  if (!usableAsFileName(bid)) return false;
  std::optional<std::string> folder = savedOfstsPath_create(false);
  if (!folder) return false;
  std::string path = *folder + "/" + bid;
  Files& files = *platform().files;
  std::optional<PlistValue> root;
  if (std::optional<std::vector<uint8_t>> bytes = files.readFile(path)) {
    root = platform().keyedArchiver->unarchiveObjectWithData(*bytes);
  }
  if (!root) {
    if (files.fileExists(path)) platform().systemLog->log("Could not read file at " + path);
    return false;
  }
  const PlistDict* dict = root->dict();
  if (!dict) return false;
  auto number = [dict](const char* key) -> std::optional<int64_t> {
    auto it = dict->find(key);
    return it == dict->end() ? std::nullopt : prefs_integerValue(it->second);
  };
  if (number("v") != kOffsetsFormat) return false;
  if (std::optional<int64_t> u = number("u")) *up = static_cast<int32_t>(*u);
  if (std::optional<int64_t> d = number("d")) *down = static_cast<int32_t>(*d);
  return true;
}

bool save_up_downOfst_forBid(int32_t up, int32_t down, const std::string& bid) {
  if (!usableAsFileName(bid)) return false;
  std::optional<std::string> folder = savedOfstsPath_create(true);
  if (!folder) return false;
  PlistDict offsets;
  offsets["v"] = PlistValue(kOffsetsFormat);
  offsets["u"] = PlistValue(int64_t{up});
  offsets["d"] = PlistValue(int64_t{down});
  PlistData data = platform().keyedArchiver->archivedDataWithRootObject(PlistValue(offsets));
  return platform().files->writeFileAtomically(*folder + "/" + bid, data);
}

// Nothing is read unless the zones changed since the last load.
void prefs_switchToOfstsForBars_pid(Bars* bars, int32_t pid) {
  if (bars->changeCount == s.sLastChangeCount) return;
  bgDelegate::changedBarsAtCursor();
  s.sLastChangeCount = bars->changeCount;
  std::optional<std::string> bid = bundleIdentifierOf(pid);
  if (!bid || !get_up_downOfstPtr_forBid(&s.sUpOfst, &s.sDownOfst, *bid)) {
    s.sUpOfst = 0;
    s.sDownOfst = 0;
  }
  bars->upOfst = s.sUpOfst;
  bars->downOfst = s.sDownOfst;
  hover_setUpOfst_down(s.sUpOfst, s.sDownOfst);
}

// The next switch reloads from the file and announces the change.
void prefs_saveUpOfst_downOfst_pid(int32_t up, int32_t down, int32_t pid) {
  s.sUpOfst = up;
  s.sDownOfst = down;
  s.sLastChangeCount = 0;
  std::optional<std::string> bid = bundleIdentifierOf(pid);
  if (bid) save_up_downOfst_forBid(up, down, *bid);
}
