#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/clock.h"
#include "platform/result.h"

namespace lumisk {

// One value of a property list, a plain value type. Text is any bytes: what XML cannot carry (not UTF-8, control
// characters, carriage returns) is stored as data and read back as the same bytes, so `text()` accepts both kinds.
class PropertyList {
 public:
  using Array = std::vector<PropertyList>;
  using Dictionary = std::map<std::string, PropertyList, std::less<>>;
  struct Data {
    std::string bytes;
    friend bool operator==(const Data&, const Data&) = default;
  };
  struct Date {
    WallTime time;  // whole seconds
    friend bool operator==(const Date&, const Date&) = default;
  };
  enum class Kind { kNone, kBoolean, kInteger, kUnsigned, kReal, kText, kData, kDate, kArray, kDictionary };

  PropertyList() = default;  // kind kNone: stands for a missing value; is never stored
  PropertyList(bool value) : value_(value) {}
  PropertyList(int value) : value_(std::int64_t{value}) {}
  PropertyList(std::int64_t value) : value_(value) {}
  PropertyList(std::uint64_t value) : value_(value) {}
  PropertyList(double value) : value_(value) {}
  PropertyList(const char* value) : value_(std::string(value)) {}
  PropertyList(std::string value) : value_(std::move(value)) {}
  PropertyList(Data value) : value_(std::move(value)) {}
  PropertyList(Date value) : value_(value) {}
  PropertyList(Array value) : value_(std::move(value)) {}
  PropertyList(Dictionary value) : value_(std::move(value)) {}

  [[nodiscard]] Kind kind() const { return static_cast<Kind>(value_.index()); }
  [[nodiscard]] bool isNone() const { return kind() == Kind::kNone; }

  // Lenient reads: a value of another kind gives 0, false or empty, never a failure.
  [[nodiscard]] bool boolean() const;            // of any number: whether it is not 0
  [[nodiscard]] std::int64_t integer() const;    // of any number or boolean; saturates
  [[nodiscard]] std::int32_t integer32() const;  // the same, saturated to 32 bits
  [[nodiscard]] double real() const;
  [[nodiscard]] bool hasText() const;      // text or data
  [[nodiscard]] std::string text() const;  // text, or the bytes of data
  [[nodiscard]] WallTime date() const;
  [[nodiscard]] const Array& array() const;            // an empty one for other kinds
  [[nodiscard]] const Dictionary& dictionary() const;  // an empty one for other kinds

  // For changing in place; a value of another kind first becomes an empty one of this kind.
  Array& mutableArray();
  Dictionary& mutableDictionary();

  // Dictionary entry or array element; kNone when there is none.
  [[nodiscard]] const PropertyList& operator[](std::string_view key) const;
  [[nodiscard]] const PropertyList& at(std::size_t index) const;

  friend bool operator==(const PropertyList&, const PropertyList&) = default;

 private:
  std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double, std::string, Data, Date, Array, Dictionary>
      value_;
};

// Reads XML and binary property lists. Anything that is not wholly one is an error: trailing bytes, junk numbers and
// dates, nesting deeper than 200. Thread-safe.
Result<PropertyList> parsePropertyList(std::string_view bytes);
// XML, as other programs read it.
Result<std::string> propertyListToXml(const PropertyList& list);

// Files. Reading a missing file is the error ENOENT, one that does not parse has code EINVAL and a `detail`. Writing is
// atomic and durable: a temporary sibling, synced, renamed over the file, the folder synced; the folder must exist.
// A link at the path is replaced as what it points to, keeping the link.
Result<PropertyList> readPropertyListFile(const std::string& path);
Result<void> writePropertyListFile(const std::string& path, const PropertyList& list);

}  // namespace lumisk
