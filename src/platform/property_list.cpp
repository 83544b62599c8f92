#include "platform/property_list.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "platform/byte_text.h"
#include "platform/civil_time.h"
#include "platform/property_list_codec.h"

namespace lumisk {

namespace {

using Integers = std::numeric_limits<std::int64_t>;

std::int64_t saturated(double value) {
  if (std::isnan(value)) return 0;
  // 2^63 is the first double above the range; the conversion of anything outside would be undefined.
  if (value >= 9223372036854775808.0) return Integers::max();
  if (value < -9223372036854775808.0) return Integers::min();
  return static_cast<std::int64_t>(value);
}

}  // namespace

bool isStorableText(std::string_view text) {
  for (const char c : text) {
    if (static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n') return false;
  }
  return isValidUtf8(text) && text.find("\xEF\xBF\xBE") == std::string_view::npos &&
         text.find("\xEF\xBF\xBF") == std::string_view::npos;
}

PropertyList::PropertyList(std::uint64_t value) {
  if (value <= static_cast<std::uint64_t>(Integers::max())) {
    value_ = static_cast<std::int64_t>(value);
  } else {
    value_ = value;
  }
}

PropertyList::PropertyList(std::string value) {
  if (isStorableText(value)) {
    value_ = std::move(value);
  } else {
    value_ = Data{std::move(value)};
  }
}

PropertyList::PropertyList(Date value) : value_(Date{wallTime(wholeSeconds(value.time))}) {}

bool PropertyList::boolean() const {
  const auto* number = std::get_if<double>(&value_);
  return number ? *number != 0 : integer() != 0;
}

std::int64_t PropertyList::integer() const {
  switch (kind()) {
    case Kind::kBoolean:
      return std::get<bool>(value_) ? 1 : 0;
    case Kind::kInteger:
      return std::get<std::int64_t>(value_);
    case Kind::kUnsigned:
      return Integers::max();
    case Kind::kReal:
      return saturated(std::get<double>(value_));
    default:
      return 0;
  }
}

std::int32_t PropertyList::integer32() const {
  using Narrow = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(integer(), Narrow::min(), Narrow::max()));
}

std::uint64_t PropertyList::unsignedInteger() const {
  if (const auto* number = std::get_if<std::uint64_t>(&value_)) return *number;
  return static_cast<std::uint64_t>(std::max<std::int64_t>(integer(), 0));
}

double PropertyList::real() const {
  if (const auto* number = std::get_if<double>(&value_)) return *number;
  if (const auto* number = std::get_if<std::uint64_t>(&value_)) return static_cast<double>(*number);
  return static_cast<double>(integer());
}

bool PropertyList::hasText() const {
  return kind() == Kind::kText || kind() == Kind::kData;
}

std::string PropertyList::text() const {
  if (const auto* text = std::get_if<std::string>(&value_)) return *text;
  const auto* data = std::get_if<Data>(&value_);
  return data ? data->bytes : "";
}

WallTime PropertyList::date() const {
  const auto* date = std::get_if<Date>(&value_);
  return date ? date->time : WallTime{};
}

const PropertyList::Array& PropertyList::array() const {
  static const Array kEmpty;
  const auto* array = std::get_if<Array>(&value_);
  return array ? *array : kEmpty;
}

const PropertyList::Dictionary& PropertyList::dictionary() const {
  static const Dictionary kEmpty;
  const auto* dictionary = std::get_if<Dictionary>(&value_);
  return dictionary ? *dictionary : kEmpty;
}

PropertyList::Array& PropertyList::mutableArray() {
  if (kind() != Kind::kArray) value_ = Array{};
  return std::get<Array>(value_);
}

PropertyList::Dictionary& PropertyList::mutableDictionary() {
  if (kind() != Kind::kDictionary) value_ = Dictionary{};
  return std::get<Dictionary>(value_);
}

const PropertyList& PropertyList::operator[](std::string_view key) const {
  static const PropertyList kNothing;
  const auto found = dictionary().find(key);
  return found == dictionary().end() ? kNothing : found->second;
}

const PropertyList& PropertyList::at(std::size_t index) const {
  static const PropertyList kNothing;
  return index < array().size() ? array()[index] : kNothing;
}

Result<PropertyList> parsePropertyList(std::string_view bytes) {
  return bytes.starts_with("bplist") ? parseBinaryPropertyList(bytes) : parseXmlPropertyList(bytes);
}

}  // namespace lumisk
