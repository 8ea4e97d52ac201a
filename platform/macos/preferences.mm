// Preferences, keyed archives, property lists, files and system facts: CFPreferences,
// NSKeyedArchiver, NSPropertyListSerialization, NSFileManager, the Folder Manager and
// Gestalt.
#import <Foundation/Foundation.h>

#include <Carbon/Carbon.h>
#include <CoreFoundation/CoreFoundation.h>

#include "bridge.h"
#include "platform/api/preferences.h"
#include "ports.h"

namespace macos {
namespace {

class Preferences final : public port::Preferences {
 public:
  std::optional<port::PlistValue> copyAppValue(const std::string& key,
                                               const std::string& domain) override {
    CFPropertyListRef value =
        CFPreferencesCopyAppValue((CFStringRef)toNSString(key), (CFStringRef)toNSString(domain));
    if (value == nullptr) return std::nullopt;
    port::PlistValue read = toPlist((id)value);
    CFRelease(value);
    return read;
  }
  void setAppValue(const std::string& key, const std::optional<port::PlistValue>& value,
                   const std::string& domain) override {
    id object = value ? toObject(*value) : nil;
    CFPreferencesSetAppValue((CFStringRef)toNSString(key), (CFPropertyListRef)object,
                             (CFStringRef)toNSString(domain));
  }
  bool appSynchronize(const std::string& domain) override {
    return CFPreferencesAppSynchronize((CFStringRef)toNSString(domain));
  }
  std::vector<std::string> copyKeyList(const std::string& domain) override {
    std::vector<std::string> keys;
    CFArrayRef list = CFPreferencesCopyKeyList((CFStringRef)toNSString(domain),
                                               kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
    if (list == nullptr) return keys;
    for (id key in (NSArray*)list) keys.push_back(toString(key));
    CFRelease(list);
    return keys;
  }
};

// +archivedDataWithRootObject: and +unarchiveObjectWithData: are deprecated from 10.14; they
// read and write the archives the pane and earlier versions wrote.
class KeyedArchiver final : public port::KeyedArchiver {
 public:
  port::PlistData archivedDataWithRootObject(const port::PlistValue& root) override {
    id object = toObject(root);
    if (object == nil) return {};
    return toBytes([NSKeyedArchiver archivedDataWithRootObject:object]);
  }
  std::optional<port::PlistValue> unarchiveObjectWithData(const port::PlistData& data) override {
    // The unarchiver raises on bytes that are not an archive.
    @try {
      id object = [NSKeyedUnarchiver unarchiveObjectWithData:toNSData(data)];
      if (object == nil) return std::nullopt;
      return toPlist(object);
    } @catch (NSException*) {
      return std::nullopt;
    }
  }
};

class PropertyListSerialization final : public port::PropertyListSerialization {
 public:
  std::optional<port::PlistValue> propertyListWithData(const port::PlistData& data) override {
    id list = [NSPropertyListSerialization propertyListWithData:toNSData(data)
                                                        options:NSPropertyListImmutable
                                                         format:nullptr
                                                          error:nullptr];
    if (list == nil) return std::nullopt;
    return toPlist(list);
  }
};

class Files final : public port::Files {
 public:
  std::string homeDirectory() override { return toString(NSHomeDirectory()); }
  std::string libraryDirectory() override {
    NSArray* folders =
        NSSearchPathForDirectoriesInDomains(NSLibraryDirectory, NSUserDomainMask, YES);
    return [folders count] ? toString([folders objectAtIndex:0]) : std::string();
  }
  // FSFindFolder and FSRefMakePath are deprecated from 10.8; the agent finds the
  // Preferences folder as it always did.
  std::optional<std::string> findFolder(uint32_t folderType) override {
    FSRef folder;
    if (FSFindFolder(kUserDomain, folderType, kDontCreateFolder, &folder) != noErr)
      return std::nullopt;
    UInt8 path[1024];
    if (FSRefMakePath(&folder, path, sizeof path) != noErr) return std::nullopt;
    return std::string(reinterpret_cast<const char*>(path));
  }
  bool fileExists(const std::string& path) override {
    return [[NSFileManager defaultManager] fileExistsAtPath:toNSString(path)];
  }
  bool isDirectory(const std::string& path) override {
    BOOL directory = NO;
    return [[NSFileManager defaultManager] fileExistsAtPath:toNSString(path)
                                                isDirectory:&directory] &&
           directory;
  }
  std::optional<std::vector<uint8_t>> readFile(const std::string& path) override {
    NSData* data = [NSData dataWithContentsOfFile:toNSString(path)];
    if (data == nil) return std::nullopt;
    return toBytes(data);
  }
  bool writeFileAtomically(const std::string& path, const std::vector<uint8_t>& bytes) override {
    return [toNSData(bytes) writeToFile:toNSString(path) atomically:YES];
  }
  bool createDirectory(const std::string& path, std::string* error) override {
    NSError* failure = nil;
    BOOL made = [[NSFileManager defaultManager] createDirectoryAtPath:toNSString(path)
                                          withIntermediateDirectories:YES
                                                           attributes:nil
                                                                error:&failure];
    if (!made && error != nullptr) *error = toString([failure localizedDescription]);
    return made;
  }
  bool removeItem(const std::string& path) override {
    return [[NSFileManager defaultManager] removeItemAtPath:toNSString(path) error:nullptr];
  }
  std::vector<std::string> contentsOfDirectory(const std::string& path) override {
    std::vector<std::string> names;
    for (NSString* name in
         [[NSFileManager defaultManager] contentsOfDirectoryAtPath:toNSString(path) error:nullptr])
      names.push_back(toString(name));
    return names;
  }
  // NSURLQuarantinePropertiesKey is available from 10.10.
  bool hasQuarantineProperties(const std::string& path) override {
    id properties = nil;
    NSURL* url = [NSURL fileURLWithPath:toNSString(path)];
    return [url getResourceValue:&properties forKey:NSURLQuarantinePropertiesKey error:nullptr] &&
           properties != nil;
  }
};

// Gestalt is deprecated from 10.8 and still answers; it is how the agent has always read
// the system version.
class SystemFacts final : public port::SystemFacts {
 public:
  port::SystemVersion systemVersion() override {
    SInt32 major = 0, minor = 0, bugFix = 0;
    Gestalt(gestaltSystemVersionMajor, &major);
    Gestalt(gestaltSystemVersionMinor, &minor);
    Gestalt(gestaltSystemVersionBugFix, &bugFix);
    return {major, minor, bugFix};
  }
  std::optional<double> scrollWheelScaling() override {
    CFPropertyListRef value = CFPreferencesCopyAppValue(CFSTR("com.apple.scrollwheel.scaling"),
                                                        kCFPreferencesAnyApplication);
    if (value == nullptr) return std::nullopt;
    std::optional<double> scaling;
    if ([(id)value isKindOfClass:[NSNumber class]]) scaling = [(id)value doubleValue];
    CFRelease(value);
    return scaling;
  }
};

}  // namespace

port::Preferences& preferences() {
  static Preferences instance;
  return instance;
}
port::KeyedArchiver& keyedArchiver() {
  static KeyedArchiver instance;
  return instance;
}
port::PropertyListSerialization& propertyLists() {
  static PropertyListSerialization instance;
  return instance;
}
port::Files& files() {
  static Files instance;
  return instance;
}
port::SystemFacts& systemFacts() {
  static SystemFacts instance;
  return instance;
}

}  // namespace macos
