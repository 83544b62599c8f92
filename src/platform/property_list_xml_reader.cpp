#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <limits>
#include <optional>

#include "platform/base64.h"
#include "platform/byte_text.h"
#include "platform/civil_time.h"
#include "platform/property_list_codec.h"
#include "platform/xml_scanner.h"

namespace lumisk {

namespace {

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\n";
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

// From -2^63 to 2^64 - 1, decimal or "0x..".
std::optional<PropertyList> integerFrom(std::string_view text) {
  text = trimmed(text);
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (hexadecimal) text.remove_prefix(2);
  std::uint64_t magnitude = 0;
  const auto [end, error] = std::from_chars(text.begin(), text.end(), magnitude, hexadecimal ? 16 : 10);
  if (error != std::errc() || end != text.end()) return std::nullopt;
  if (!negative) return PropertyList(magnitude);
  constexpr std::uint64_t kLargest = std::uint64_t{1} << 63;
  if (magnitude > kLargest) return std::nullopt;
  return PropertyList(static_cast<std::int64_t>(0 - magnitude));
}

std::optional<PropertyList> realFrom(std::string_view text) {
  text = trimmed(text);
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  double value = 0;
  const auto [end, error] = std::from_chars(text.begin(), text.end(), value);
  if (error != std::errc() || end != text.end()) return std::nullopt;
  return PropertyList(value);
}

std::optional<PropertyList> dateFrom(std::string_view text) {
  text = trimmed(text);
  if (!text.ends_with('Z')) return std::nullopt;
  const auto seconds = utcSeconds(text.substr(0, text.size() - 1), 'T');
  if (!seconds) return std::nullopt;
  return PropertyList(PropertyList::Date{wallTime(*seconds)});
}

std::optional<PropertyList> dataFrom(std::string_view text) {
  auto bytes = fromBase64(text);
  if (!bytes) return std::nullopt;
  return PropertyList(PropertyList::Data{std::move(*bytes)});
}

std::optional<PropertyList> scalarFrom(std::string_view element, std::string text) {
  if (element == "string") return PropertyList(std::move(text));
  if (element == "integer") return integerFrom(text);
  if (element == "real") return realFrom(text);
  if (element == "date") return dateFrom(text);
  if (element == "data") return dataFrom(text);
  if ((element == "true" || element == "false") && trimmed(text).empty()) return PropertyList(element == "true");
  return std::nullopt;
}

class XmlReader {
 public:
  explicit XmlReader(std::string_view text) : scanner_(text) {}

  Result<PropertyList> read() {
    LUMISK_CHECK(scanner_.prolog());
    LUMISK_TRY(const auto root, scanner_.nextTag());
    if (root.name != "plist" || root.kind != XmlTag::Kind::kOpening) return scanner_.failHere("not a property list");
    LUMISK_TRY(const auto first, scanner_.nextTag());
    LUMISK_TRY(auto result, value(first, 0));
    LUMISK_CHECK(closing("plist"));
    LUMISK_CHECK(scanner_.end());
    return result;
  }

 private:
  Result<PropertyList> value(const XmlTag& tag, int depth) {
    if (tag.kind == XmlTag::Kind::kClosing) return scanner_.failHere("a value is missing");
    if (tag.name == "array" || tag.name == "dict") return container(tag, depth + 1);
    LUMISK_TRY(auto text, content(tag));
    auto scalar = scalarFrom(tag.name, std::move(text));
    if (!scalar) return scanner_.failHere(fmt::format("not a valid \"{}\"", displayText(tag.name)));
    return std::move(*scalar);
  }

  Result<PropertyList> container(const XmlTag& tag, int depth) {
    if (depth > kDeepestPropertyList) return scanner_.failHere("nested too deeply");
    const bool empty = tag.kind == XmlTag::Kind::kEmpty;
    if (tag.name == "array") return empty ? PropertyList(PropertyList::Array{}) : array(depth);
    return empty ? PropertyList(PropertyList::Dictionary{}) : dictionary(depth);
  }

  Result<PropertyList> array(int depth) {
    PropertyList::Array result;
    while (true) {
      LUMISK_TRY(const auto tag, scanner_.nextTag());
      if (tag.kind == XmlTag::Kind::kClosing && tag.name == "array") return PropertyList(std::move(result));
      LUMISK_TRY(auto element, value(tag, depth));
      result.push_back(std::move(element));
    }
  }

  Result<PropertyList> dictionary(int depth) {
    PropertyList::Dictionary result;
    while (true) {
      LUMISK_TRY(const auto tag, scanner_.nextTag());
      if (tag.kind == XmlTag::Kind::kClosing && tag.name == "dict") return PropertyList(std::move(result));
      if (tag.kind == XmlTag::Kind::kClosing || tag.name != "key") return scanner_.failHere("a key is missing");
      LUMISK_TRY(auto key, content(tag));
      if (!isStorableText(key)) return scanner_.failHere("a key with control characters");
      LUMISK_TRY(const auto valueTag, scanner_.nextTag());
      LUMISK_TRY(auto element, value(valueTag, depth));
      if (!result.emplace(std::move(key), std::move(element)).second) return scanner_.failHere("a key comes twice");
    }
  }

  Result<std::string> content(const XmlTag& tag) {
    if (tag.kind == XmlTag::Kind::kEmpty) return std::string();
    LUMISK_TRY(auto text, scanner_.text());
    LUMISK_CHECK(closing(tag.name));
    return text;
  }

  Result<void> closing(std::string_view name) {
    LUMISK_TRY(const auto tag, scanner_.nextTag());
    if (tag.kind == XmlTag::Kind::kClosing && tag.name == name) return {};
    return scanner_.failHere(fmt::format("\"</{}>\" is missing", displayText(name)));
  }

  XmlScanner scanner_;
};

// Lines may end in carriage returns here; text that is stored has none.
bool isXmlText(std::string_view bytes) {
  for (auto rest = bytes; !rest.empty();) {
    const auto line = rest.substr(0, rest.find('\r'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    if (!isStorableText(line)) return false;
  }
  return true;
}

}  // namespace

Result<PropertyList> parseXmlPropertyList(std::string_view bytes) {
  if (!isXmlText(bytes)) return fail("read the property list", "", EINVAL, "neither text nor a binary property list");
  return XmlReader(bytes).read();
}

}  // namespace lumisk
