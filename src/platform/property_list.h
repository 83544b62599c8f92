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
// characters, carriage returns) is data from the start, so that what is read back equals what was written; `text()`
// accepts both kinds. Likewise a number of either integer type that fits kInteger is one. Keys are text that XML can
// carry; with any other key a list cannot be written.
class PropertyList {
 public:
  using Array = std::vector<PropertyList>;
  using Dictionary = std::map<std::string, PropertyList, std::less<>>;
  struct Data {
    std::string bytes;
    friend bool operator==(const Data&, const Data&) = default;
  };
  struct Date {
    WallTime time;  // whole seconds, rounded down; in the years 1677 to 2262, others become the nearest
    friend bool operator==(const Date&, const Date&) = default;
  };
  enum class Kind { kNone, kBoolean, kInteger, kUnsigned, kReal, kText, kData, kDate, kArray, kDictionary };

  // Kind kNone: stands for a missing value and is never stored; a dictionary is written without it, in an array it is
  // an error.
  PropertyList() = default;
  PropertyList(bool value) : value_(value) {}
  PropertyList(int value) : value_(std::int64_t{value}) {}
  PropertyList(std::int64_t value) : value_(value) {}
  PropertyList(std::uint64_t value);
  PropertyList(double value) : value_(value) {}
  PropertyList(const char* value) : PropertyList(std::string(value)) {}
  PropertyList(std::string value);
  PropertyList(Data value) : value_(std::move(value)) {}
  PropertyList(Date value);
  PropertyList(Array value) : value_(std::move(value)) {}
  PropertyList(Dictionary value) : value_(std::move(value)) {}

  [[nodiscard]] Kind kind() const { return static_cast<Kind>(value_.index()); }
  [[nodiscard]] bool isNone() const { return kind() == Kind::kNone; }

  // Lenient reads: a value of another kind gives 0, false or empty, never a failure.
  [[nodiscard]] bool boolean() const;                   // of any number: whether it is not 0
  [[nodiscard]] std::int64_t integer() const;           // of any number or boolean; saturates
  [[nodiscard]] std::int32_t integer32() const;         // the same, saturated to 32 bits
  [[nodiscard]] std::uint64_t unsignedInteger() const;  // the same for values from 2^63, too; 0 of negative ones
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

// Reads XML (UTF-8) and binary property lists. Anything that is not wholly one is an error (EINVAL, with a `detail`):
// trailing bytes, junk numbers and dates, keys that come twice, nesting deeper than 200. What can be read can also be
// written. Thread-safe.
Result<PropertyList> parsePropertyList(std::string_view bytes);
// XML, as other programs read it. EINVAL for what cannot be written: odd keys, nesting deeper than 200.
Result<std::string> propertyListToXml(const PropertyList& list);

// Files. Reading a missing file is the error ENOENT, one that does not parse has code EINVAL and a `detail`. Writing is
// atomic and durable: a temporary sibling, synced, renamed over the file, the folder synced; the folder must exist.
// A link at the path is replaced as what it points to, keeping the link. The file's permissions and owner are kept.
// What is not a regular file is an error other than EINVAL and is never replaced.
Result<PropertyList> readPropertyListFile(const std::string& path);
Result<void> writePropertyListFile(const std::string& path, const PropertyList& list);

}  // namespace lumisk
