#include "bridge.h"

#include <CoreFoundation/CoreFoundation.h>

namespace macos {

NSString* toNSString(std::string_view text) {
  return [[[NSString alloc] initWithBytes:text.data()
                                   length:text.size()
                                 encoding:NSUTF8StringEncoding] autorelease];
}

std::string toString(NSString* text) {
  const char* utf8 = [text UTF8String];
  return utf8 ? std::string(utf8) : std::string();
}

std::optional<std::string> toOptionalString(NSString* text) {
  if (text == nil) return std::nullopt;
  return toString(text);
}

NSData* toNSData(const std::vector<uint8_t>& bytes) {
  return [NSData dataWithBytes:bytes.data() length:bytes.size()];
}

std::vector<uint8_t> toBytes(NSData* data) {
  const auto* start = static_cast<const uint8_t*>([data bytes]);
  return start ? std::vector<uint8_t>(start, start + [data length]) : std::vector<uint8_t>();
}

id toObject(const port::PlistValue& value) {
  if (auto* b = std::get_if<bool>(&value.value)) return [NSNumber numberWithBool:*b];
  if (auto* i = std::get_if<int64_t>(&value.value)) return [NSNumber numberWithLongLong:*i];
  if (auto* d = std::get_if<double>(&value.value)) return [NSNumber numberWithDouble:*d];
  if (const std::string* s = value.string()) return toNSString(*s);
  if (const port::PlistData* data = value.data()) return toNSData(*data);
  if (auto* date = std::get_if<port::PlistDate>(&value.value))
    return [NSDate dateWithTimeIntervalSinceReferenceDate:date->seconds];
  if (const port::PlistDict* dict = value.dict()) return toNSDictionary(*dict);
  if (const port::PlistArray* array = value.array()) {
    NSMutableArray* out = [NSMutableArray arrayWithCapacity:array->size()];
    for (const port::PlistValue& item : *array) {
      id object = toObject(item);
      if (object != nil) [out addObject:object];
    }
    return out;
  }
  return nil;
}

NSDictionary* toNSDictionary(const port::PlistDict& dict) {
  NSMutableDictionary* out = [NSMutableDictionary dictionaryWithCapacity:dict.size()];
  for (const auto& [key, item] : dict) {
    id object = toObject(item);
    if (object != nil) [out setObject:object forKey:toNSString(key)];
  }
  return out;
}

port::PlistValue toPlist(id object) {
  if (object == nil) return {};
  if ([object isKindOfClass:[NSString class]]) return toString(object);
  if ([object isKindOfClass:[NSNumber class]]) {
    // A boolean is its own Core Foundation type; a number is integer or floating.
    CFTypeRef cf = (CFTypeRef)object;
    if (CFGetTypeID(cf) == CFBooleanGetTypeID()) return port::PlistValue(bool([object boolValue]));
    if (CFNumberIsFloatType((CFNumberRef)cf)) return port::PlistValue(double([object doubleValue]));
    return port::PlistValue(int64_t([object longLongValue]));
  }
  if ([object isKindOfClass:[NSData class]]) return port::PlistValue(toBytes(object));
  if ([object isKindOfClass:[NSDate class]])
    return port::PlistValue(port::PlistDate{[object timeIntervalSinceReferenceDate]});
  if ([object isKindOfClass:[NSDictionary class]]) return port::PlistValue(toPlistDict(object));
  if ([object isKindOfClass:[NSArray class]]) {
    port::PlistArray out;
    for (id item in (NSArray*)object) out.push_back(toPlist(item));
    return port::PlistValue(std::move(out));
  }
  return {};
}

port::PlistDict toPlistDict(NSDictionary* dict) {
  port::PlistDict out;
  for (id key in dict) {
    if ([key isKindOfClass:[NSString class]]) out[toString(key)] = toPlist([dict objectForKey:key]);
  }
  return out;
}

}  // namespace macos
