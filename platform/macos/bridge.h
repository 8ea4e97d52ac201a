// Conversions between the ports' plain C++ values and the Foundation objects they stand
// for. Objects handed back are autoreleased; Core Foundation objects are toll-free bridged
// to these, so the same functions serve preferences, archives, notifications and jobs.
#pragma once

#import <Foundation/Foundation.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/api/geometry.h"
#include "platform/api/preferences.h"

namespace macos {

NSString* toNSString(std::string_view text);
std::string toString(NSString* text);  // empty for nil
std::optional<std::string> toOptionalString(NSString* text);

NSData* toNSData(const std::vector<uint8_t>& bytes);
std::vector<uint8_t> toBytes(NSData* data);

// nil for an empty value; a UID has no public Foundation class and becomes nil too.
id toObject(const port::PlistValue& value);
NSDictionary* toNSDictionary(const port::PlistDict& dict);
// An empty value for an object a property list cannot hold.
port::PlistValue toPlist(id object);
port::PlistDict toPlistDict(NSDictionary* dict);

// NSPoint, NSRect, CGPoint and CGRect all have the same fields; on 64-bit macOS the NS
// types are the CG types, so one template serves both without overloads that would clash.
template <class Point>
port::CGPoint toPortPoint(const Point& p) {
  return {p.x, p.y};
}
template <class Size>
port::CGSize toPortSize(const Size& s) {
  return {s.width, s.height};
}
template <class Rect>
port::CGRect toPortRect(const Rect& r) {
  return {{r.origin.x, r.origin.y}, {r.size.width, r.size.height}};
}
inline NSPoint toNSPoint(port::CGPoint p) {
  return NSMakePoint(p.x, p.y);
}
inline NSSize toNSSize(port::CGSize s) {
  return NSMakeSize(s.width, s.height);
}
inline NSRect toNSRect(port::CGRect r) {
  return NSMakeRect(r.origin.x, r.origin.y, r.size.width, r.size.height);
}

}  // namespace macos
