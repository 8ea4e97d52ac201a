// The accessibility interface (AXUIElement) and the process-trust test. Elements are the
// system's AXUIElementRefs, cast; every one handed out carries a reference of the caller's.
#import <Foundation/Foundation.h>

#include <ApplicationServices/ApplicationServices.h>

#include <memory>

#include "bridge.h"
#include "platform/api/accessibility.h"
#include "ports.h"

namespace macos {
namespace {

::AXUIElementRef ax(port::AXUIElementRef element) {
  return reinterpret_cast<::AXUIElementRef>(element);
}
port::AXUIElementRef ours(CFTypeRef element) {
  return reinterpret_cast<port::AXUIElementRef>(const_cast<void*>(element));
}

// An attribute's value in the port's terms. An element, alone or inside an array, gets a
// reference of its own, so the caller owns it once the value read is released.
port::AXValue toAXValue(CFTypeRef value) {
  CFTypeID type = CFGetTypeID(value);
  if (type == AXUIElementGetTypeID()) {
    CFRetain(value);
    return {ours(value)};
  }
  if (type == CFBooleanGetTypeID()) return {value == kCFBooleanTrue};
  if (type == AXValueGetTypeID()) {
    auto axValue = static_cast<AXValueRef>(value);
    switch (AXValueGetType(axValue)) {
      case kAXValueTypeCGPoint: {
        ::CGPoint point;
        if (AXValueGetValue(axValue, kAXValueTypeCGPoint, &point)) return {toPortPoint(point)};
        break;
      }
      case kAXValueTypeCGSize: {
        ::CGSize size;
        if (AXValueGetValue(axValue, kAXValueTypeCGSize, &size)) return {toPortSize(size)};
        break;
      }
      case kAXValueTypeCGRect: {
        ::CGRect rect;
        if (AXValueGetValue(axValue, kAXValueTypeCGRect, &rect)) return {toPortRect(rect)};
        break;
      }
      default:
        break;
    }
    return {};
  }
  id object = (id)value;
  if ([object isKindOfClass:[NSNumber class]]) return {double([object doubleValue])};
  if ([object isKindOfClass:[NSString class]]) return {toString(object)};
  if ([object isKindOfClass:[NSURL class]]) return {port::AXURL{toString([object absoluteString])}};
  if ([object isKindOfClass:[NSArray class]]) {
    auto items = std::make_shared<port::AXArray>();
    for (id item in (NSArray*)object) items->push_back(toAXValue((CFTypeRef)item));
    return {items};
  }
  return {};
}

class Accessibility final : public port::Accessibility {
 public:
  port::AXUIElementRef createSystemWide() override { return ours(AXUIElementCreateSystemWide()); }
  port::AXUIElementRef createApplication(int32_t pid) override {
    return ours(AXUIElementCreateApplication(pid));
  }
  port::AXError copyElementAtPosition(port::AXUIElementRef application, float x, float y,
                                      port::AXUIElementRef* element) override {
    ::AXUIElementRef found = nullptr;
    AXError error = AXUIElementCopyElementAtPosition(ax(application), x, y, &found);
    *element = error == kAXErrorSuccess ? ours(found) : nullptr;
    return error;
  }
  port::AXError copyAttributeValue(port::AXUIElementRef element, std::string_view attribute,
                                   port::AXValue* value) override {
    CFTypeRef read = nullptr;
    AXError error =
        AXUIElementCopyAttributeValue(ax(element), (CFStringRef)toNSString(attribute), &read);
    *value = {};
    if (read != nullptr) {
      if (error == kAXErrorSuccess) *value = toAXValue(read);
      CFRelease(read);
    }
    return error;
  }
  port::AXError copyAttributeNames(port::AXUIElementRef element,
                                   std::vector<std::string>* names) override {
    CFArrayRef read = nullptr;
    AXError error = AXUIElementCopyAttributeNames(ax(element), &read);
    names->clear();
    if (read != nullptr) {
      for (id name in (NSArray*)read) names->push_back(toString(name));
      CFRelease(read);
    }
    return error;
  }
  port::AXError getPid(port::AXUIElementRef element, int32_t* pid) override {
    ::pid_t found = 0;
    AXError error = AXUIElementGetPid(ax(element), &found);
    *pid = found;
    return error;
  }
  port::AXError setMessagingTimeout(port::AXUIElementRef element, float seconds) override {
    return AXUIElementSetMessagingTimeout(ax(element), seconds);
  }
  void retain(port::AXUIElementRef element) override { CFRetain(ax(element)); }
  void release(port::AXUIElementRef element) override { CFRelease(ax(element)); }
  void autorelease(port::AXUIElementRef element) override { CFAutorelease(ax(element)); }
  bool equal(port::AXUIElementRef a, port::AXUIElementRef b) override {
    return CFEqual(ax(a), ax(b));
  }
  size_t hash(port::AXUIElementRef element) override { return CFHash(ax(element)); }
  bool isProcessTrustedWithOptions(bool prompt) override {
    NSDictionary* options =
        [NSDictionary dictionaryWithObject:[NSNumber numberWithBool:prompt]
                                    forKey:(NSString*)kAXTrustedCheckOptionPrompt];
    return AXIsProcessTrustedWithOptions((CFDictionaryRef)options);
  }
  // Deprecated from 10.9; the agent asks it only before 10.9.
  bool apiEnabled() override { return AXAPIEnabled(); }
};

}  // namespace

port::Accessibility& accessibility() {
  static Accessibility instance;
  return instance;
}

}  // namespace macos
