// The accessibility interface (AXUIElement): the system-wide element, the element at a
// position, attribute values and names, element identity, and the process-trust test.
//
// Ownership follows Core Foundation's Create rule. Every element handed back by
// createSystemWide, createApplication, copyElementAtPosition or copyAttributeValue (alone or
// inside an array) is owned by the caller, who gives it up with release, or with
// autorelease into the calling thread's innermost autorelease pool. Each copy is a new
// object: two handles may stand for the same element, so elements are compared with equal
// (CFEqual) and hashed with hash (CFHash), never by pointer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "geometry.h"

namespace port {

struct AXUIElement;
using AXUIElementRef = AXUIElement*;
using AXError = int32_t;

inline constexpr AXError kAXErrorSuccess = 0;
inline constexpr AXError kAXErrorFailure = -25200;
inline constexpr AXError kAXErrorIllegalArgument = -25201;
inline constexpr AXError kAXErrorInvalidUIElement = -25202;
inline constexpr AXError kAXErrorCannotComplete = -25204;
inline constexpr AXError kAXErrorAttributeUnsupported = -25205;
inline constexpr AXError kAXErrorNotImplemented = -25208;
inline constexpr AXError kAXErrorAPIDisabled = -25211;
inline constexpr AXError kAXErrorNoValue = -25212;

// The CFTypeRef an attribute read hands back, as one of the types attributes carry.
struct AXValue;
using AXArray = std::vector<AXValue>;
struct AXURL {
  std::string absoluteString;
};
struct AXValue {
  std::variant<std::monostate, bool, double, std::string, CGPoint, CGSize, CGRect, AXUIElementRef,
               AXURL, std::shared_ptr<AXArray>>
      value;
};

class Accessibility {
 public:
  virtual ~Accessibility() = default;
  virtual AXUIElementRef createSystemWide() = 0;
  virtual AXUIElementRef createApplication(int32_t pid) = 0;
  virtual AXError copyElementAtPosition(AXUIElementRef application, float x, float y,
                                        AXUIElementRef* element) = 0;
  virtual AXError copyAttributeValue(AXUIElementRef element, std::string_view attribute,
                                     AXValue* value) = 0;
  virtual AXError copyAttributeNames(AXUIElementRef element, std::vector<std::string>* names) = 0;
  virtual AXError getPid(AXUIElementRef element, int32_t* pid) = 0;
  // AXUIElementSetMessagingTimeout: how long a call to the element's application may wait for
  // an answer before it fails; set on the system-wide element, it is every element's. The
  // system's own is about 6 s.
  virtual AXError setMessagingTimeout(AXUIElementRef element, float seconds) = 0;
  virtual void retain(AXUIElementRef element) = 0;             // CFRetain
  virtual void release(AXUIElementRef element) = 0;            // CFRelease
  virtual void autorelease(AXUIElementRef element) = 0;        // CFAutorelease
  virtual bool equal(AXUIElementRef a, AXUIElementRef b) = 0;  // CFEqual; no round trip
  virtual size_t hash(AXUIElementRef element) = 0;             // CFHash; no round trip
  virtual bool isProcessTrustedWithOptions(bool prompt) = 0;   // AXIsProcessTrustedWithOptions
  virtual bool apiEnabled() = 0;                               // AXAPIEnabled, before 10.9
};

}  // namespace port
