// Accessibility helpers: thin reads of another application's user interface, each built on
// valueOfAttribute_ofUIElement.
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <unordered_map>

#include "VAutils.h"
#include "platform/api/platform.h"

using namespace port;

namespace {

// What the application answered when the pass asked it for an attribute of an element. The
// element asked and the elements in the answer are retained while remembered, so that a pool
// drained within the pass cannot take them away.
struct RememberedRead {
  AXUIElementRef element;
  std::string attribute;
  std::optional<AXValue> value;
};

template <class F>
void forEachElement(const AXValue& v, F&& f) {
  if (auto* e = std::get_if<AXUIElementRef>(&v.value)) {
    if (*e) f(*e);
  } else if (auto* list = std::get_if<std::shared_ptr<AXArray>>(&v.value)) {
    if (*list) {
      for (const AXValue& item : **list) forEachElement(item, f);
    }
  }
}
}  // namespace

// The reads of one pass, by a hash of element and attribute.
struct AXReadsOfOnePass::Reads {
  std::unordered_multimap<size_t, RememberedRead> byKey;
};

namespace {

// The reads of the pass under way; null between passes.
AXReadsOfOnePass::Reads* sPassReads = nullptr;

size_t readKey(AXUIElementRef e, std::string_view attribute) {
  return platform().accessibility->hash(e) * 31 + std::hash<std::string_view>()(attribute);
}

// Elements in a copied value belong to the caller: the helpers hand them back autoreleased.
std::optional<AXValue> copyAttribute(const char* attribute, AXUIElementRef e) {
  Accessibility& ax = *platform().accessibility;
  AXValue value;
  if (ax.copyAttributeValue(e, attribute, &value) != kAXErrorSuccess) return std::nullopt;
  forEachElement(value, [&](AXUIElementRef element) { ax.autorelease(element); });
  return value;
}

// The value as a T, when it is one.
template <class T>
std::optional<T> as(const std::optional<AXValue>& v) {
  if (!v) return std::nullopt;
  const T* t = std::get_if<T>(&v->value);
  return t ? std::optional<T>(*t) : std::nullopt;
}

AXUIElementRef elementOf(const std::optional<AXValue>& v) {
  return as<AXUIElementRef>(v).value_or(nullptr);
}

// Float to int32 truncation toward zero, kept within range.
int32_t truncated(double v) {
  if (!std::isfinite(v)) return 0;
  constexpr double kLow = std::numeric_limits<int32_t>::min();
  constexpr double kHigh = std::numeric_limits<int32_t>::max();
  return static_cast<int32_t>(std::trunc(std::fmin(kHigh, std::fmax(kLow, v))));
}

// What the value's class would be called, for the one message about identifiers.
const char* className(const AXValue& v) {
  switch (v.value.index()) {
    case 0:
      return "";
    case 1:
      return "__NSCFBoolean";
    case 2:
      return "__NSCFNumber";
    case 3:
      return "__NSCFString";
    case 7:
      return "AXUIElement";
    case 8:
      return "NSURL";
    case 9:
      return "__NSArrayM";
    default:
      return "AXValue";
  }
}

// NSNumber's stringValue: "1" for true, whole numbers without a fraction.
std::optional<std::string> stringValueOf(const AXValue& v) {
  if (auto* b = std::get_if<bool>(&v.value)) return std::string(*b ? "1" : "0");
  if (auto* d = std::get_if<double>(&v.value)) {
    // The shortest text that reads back as the same number.
    char text[32] = "";
    for (int precision = 1; precision <= 17; ++precision) {
      std::snprintf(text, sizeof text, "%.*g", precision, *d);
      if (std::strtod(text, nullptr) == *d) break;
    }
    return std::string(text);
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::vector<std::string>> VAutils::attributeNamesOfUIElement(AXUIElementRef e) {
  if (!e) return std::nullopt;
  std::vector<std::string> names;
  if (platform().accessibility->copyAttributeNames(e, &names) != kAXErrorSuccess) {
    return std::nullopt;
  }
  return names;
}

std::optional<AXValue> VAutils::valueOfAttribute_ofUIElement(const char* attribute,
                                                             AXUIElementRef e) {
  if (!e) return std::nullopt;
  if (!sPassReads) return copyAttribute(attribute, e);
  Accessibility& ax = *platform().accessibility;
  size_t key = readKey(e, attribute);
  auto [first, last] = sPassReads->byKey.equal_range(key);
  for (auto read = first; read != last; ++read) {
    if (read->second.attribute == attribute && ax.equal(read->second.element, e)) {
      return read->second.value;
    }
  }
  std::optional<AXValue> value = copyAttribute(attribute, e);
  ax.retain(e);
  if (value) forEachElement(*value, [&](AXUIElementRef element) { ax.retain(element); });
  sPassReads->byKey.emplace(key, RememberedRead{e, attribute, value});
  return value;
}

AXReadsOfOnePass::AXReadsOfOnePass()
    : pool_(platform().threads->autoreleasePoolPush()),
      reads_(std::make_unique<Reads>()),
      outer_(sPassReads) {
  sPassReads = reads_.get();
}

AXReadsOfOnePass::~AXReadsOfOnePass() {
  Accessibility& ax = *platform().accessibility;
  for (auto& [key, read] : reads_->byKey) {
    ax.release(read.element);
    if (read.value) forEachElement(*read.value, [&](AXUIElementRef e) { ax.release(e); });
  }
  reads_.reset();
  sPassReads = outer_;
  platform().threads->autoreleasePoolPop(pool_);
}

// The URL's scheme, as CFURLCopyScheme finds it: letters first, then letters, digits, "+",
// "-" or ".", up to the first colon.
std::optional<std::string> VAutils::urlScheme(AXUIElementRef e) {
  std::optional<AXURL> url = as<AXURL>(valueOfAttribute_ofUIElement("AXURL", e));
  if (!url) return std::nullopt;
  const std::string& text = url->absoluteString;
  size_t colon = text.find(':');
  if (colon == std::string::npos || colon == 0 ||
      !std::isalpha(static_cast<unsigned char>(text[0]))) {
    return std::nullopt;
  }
  for (size_t i = 1; i < colon; ++i) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    if (!std::isalnum(c) && c != '+' && c != '-' && c != '.') return std::nullopt;
  }
  return text.substr(0, colon);
}

// Up to 42 ancestors: a web area above the element, before its window, drawer or sheet.
bool VAutils::hasWebAreaParent(AXUIElementRef e) {
  AXUIElementRef ancestor = parentOfUIElement(e);
  for (int left = 41;; --left) {
    if (!ancestor) return false;
    std::optional<std::string> r = role(ancestor);
    if (!r) return false;
    if (*r == "AXWebArea") return true;
    if (*r == "AXWindow" || *r == "AXDrawer" || *r == "AXSheet") return false;
    if (left == 0) return false;
    ancestor = parentOfUIElement(ancestor);
  }
}

AXUIElementRef VAutils::parentOfUIElement(AXUIElementRef e) {
  return elementOf(valueOfAttribute_ofUIElement("AXParent", e));
}

std::optional<std::vector<AXUIElementRef>> VAutils::children(AXUIElementRef e) {
  auto array = as<std::shared_ptr<AXArray>>(valueOfAttribute_ofUIElement("AXChildren", e));
  if (!array || !*array) return std::nullopt;
  std::vector<AXUIElementRef> out;
  for (const AXValue& item : **array) {
    if (auto* child = std::get_if<AXUIElementRef>(&item.value)) out.push_back(*child);
  }
  return out;
}

std::optional<std::string> VAutils::role(AXUIElementRef e) {
  return as<std::string>(valueOfAttribute_ofUIElement("AXRole", e));
}

AXUIElementRef VAutils::verticalScrollBar(AXUIElementRef e) {
  return elementOf(valueOfAttribute_ofUIElement("AXVerticalScrollBar", e));
}

AXUIElementRef VAutils::horizontalScrollBar(AXUIElementRef e) {
  return elementOf(valueOfAttribute_ofUIElement("AXHorizontalScrollBar", e));
}

CGSize VAutils::size(AXUIElementRef e) {
  return as<CGSize>(valueOfAttribute_ofUIElement("AXSize", e)).value_or(CGSize{});
}

// floatValue: numbers as they are, text by its leading number.
float VAutils::value(AXUIElementRef e) {
  std::optional<AXValue> v = valueOfAttribute_ofUIElement("AXValue", e);
  if (auto d = as<double>(v)) return static_cast<float>(*d);
  if (auto b = as<bool>(v)) return *b ? 1.0f : 0.0f;
  if (auto s = as<std::string>(v)) return std::strtof(s->c_str(), nullptr);
  return 0.0f;
}

bool VAutils::isEnabled(AXUIElementRef e) {
  return as<bool>(valueOfAttribute_ofUIElement("AXEnabled", e)).value_or(false);
}

IRect VAutils::rectForElement(AXUIElementRef e) {
  CGPoint position = as<CGPoint>(valueOfAttribute_ofUIElement("AXPosition", e)).value_or(CGPoint{});
  CGSize extent = size(e);
  IRect r;
  r.left = truncated(position.x);
  r.top = truncated(position.y);
  r.right = truncated(r.left + extent.width);
  r.bottom = truncated(r.top + extent.height);
  return r;
}

AXUIElementRef VAutils::windowElementForElement(AXUIElementRef e) {
  return elementOf(valueOfAttribute_ofUIElement("AXWindow", e));
}

std::string VAutils::windowIdentifier(AXUIElementRef e) {
  std::string result;
  if (std::optional<AXValue> id = valueOfAttribute_ofUIElement("AXIdentifier", e)) {
    if (const std::string* s = std::get_if<std::string>(&id->value)) {
      result = *s;
    } else if (std::optional<std::string> text = stringValueOf(*id)) {
      result = *text;
    } else if (*className(*id) != '\0') {
      platform().systemLog->log(std::string("Unknown window identifier type ") + className(*id));
    }
  }
  if (result.empty()) {
    result = as<std::string>(valueOfAttribute_ofUIElement("AXTitle", e)).value_or("");
  }
  return result;
}
