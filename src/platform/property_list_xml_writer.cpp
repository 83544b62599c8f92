#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cmath>

#include "platform/base64.h"
#include "platform/civil_time.h"
#include "platform/property_list_codec.h"

namespace lumisk {

namespace {

constexpr const char* kHeader =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";

tl::unexpected<Error> refuse(std::string why) {
  return fail("write the property list", "", EINVAL, std::move(why));
}

std::string realText(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value > 0 ? "+infinity" : "-infinity";
  std::array<char, 32> buffer{};
  const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value).ptr;
  return {buffer.data(), end};
}

std::string dateText(WallTime time) {
  using namespace std::chrono;
  const sys_seconds moment{seconds(wholeSeconds(time))};  // the day of the earliest WallTime begins before it
  const auto day = floor<days>(moment);
  const year_month_day date(day);
  const hh_mm_ss clock(moment - day);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", static_cast<int>(date.year()),
                     static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), clock.hours().count(),
                     clock.minutes().count(), clock.seconds().count());
}

class XmlWriter {
 public:
  Result<std::string> write(const PropertyList& list) && {
    xml_ = kHeader;
    LUMISK_CHECK(value(list, 0));
    xml_ += "</plist>\n";
    return std::move(xml_);
  }

 private:
  using Kind = PropertyList::Kind;

  Result<void> value(const PropertyList& list, int depth) {
    switch (list.kind()) {
      case Kind::kNone:
        return refuse("a missing value cannot be stored");
      case Kind::kArray:
        return array(list.array(), depth);
      case Kind::kDictionary:
        return dictionary(list.dictionary(), depth);
      default:
        return scalar(list, depth), Result<void>{};
    }
  }

  void scalar(const PropertyList& list, int depth) {
    switch (list.kind()) {
      case Kind::kBoolean:
        return line(depth, list.boolean() ? "<true/>" : "<false/>");
      case Kind::kInteger:
        return element(depth, "integer", std::to_string(list.integer()));
      case Kind::kUnsigned:
        return element(depth, "integer", std::to_string(list.unsignedInteger()));
      case Kind::kReal:
        return element(depth, "real", realText(list.real()));
      case Kind::kDate:
        return element(depth, "date", dateText(list.date()));
      case Kind::kData:
        return element(depth, "data", base64(list.text()));
      default:
        return element(depth, "string", list.text());
    }
  }

  Result<void> array(const PropertyList::Array& elements, int depth) {
    LUMISK_CHECK(open(depth, elements.empty(), "array"));
    for (const auto& each : elements) LUMISK_CHECK(value(each, depth + 1));
    return close(depth, elements.empty(), "array"), Result<void>{};
  }

  Result<void> dictionary(const PropertyList::Dictionary& entries, int depth) {
    LUMISK_CHECK(open(depth, entries.empty(), "dict"));
    for (const auto& [key, each] : entries) {
      if (each.isNone()) continue;
      if (!isStorableText(key)) return refuse("a key is not valid text");
      element(depth + 1, "key", key);
      LUMISK_CHECK(value(each, depth + 1));
    }
    return close(depth, entries.empty(), "dict"), Result<void>{};
  }

  Result<void> open(int depth, bool empty, const char* name) {
    if (depth >= kDeepestPropertyList) return refuse("nested too deeply");
    line(depth, fmt::format("<{}{}>", name, empty ? "/" : ""));
    return {};
  }

  void close(int depth, bool empty, const char* name) {
    if (!empty) line(depth, fmt::format("</{}>", name));
  }

  void element(int depth, const char* name, const std::string& text) {
    indent(depth);
    xml_.append("<").append(name).append(">");
    for (const char c : text) {
      if (c == '&' || c == '<' || c == '>') {
        xml_ += c == '&' ? "&amp;" : c == '<' ? "&lt;" : "&gt;";
      } else {
        xml_ += c;
      }
    }
    xml_.append("</").append(name).append(">\n");
  }

  void line(int depth, std::string_view text) {
    indent(depth);
    xml_.append(text).append("\n");
  }

  void indent(int depth) { xml_.append(static_cast<std::size_t>(depth), '\t'); }

  std::string xml_;
};

}  // namespace

Result<std::string> propertyListToXml(const PropertyList& list) {
  return XmlWriter().write(list);
}

}  // namespace lumisk
