#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <optional>

#include "platform/byte_text.h"
#include "platform/civil_time.h"
#include "platform/property_list_codec.h"

// The binary form: "bplist00", the objects, a table of their places, and a trailer of 32 bytes that says where the
// table is. Containers refer to objects by number, so a file of 150 bytes can stand for a million objects; what is
// built is therefore bounded by the size of the file.

namespace lumisk {

namespace {

constexpr std::size_t kTrailerSize = 32;
constexpr std::string_view kMagic = "bplist00";
constexpr std::int64_t kSecondsTo2001 = 978307200;

tl::unexpected<Error> invalid(std::string why) {
  return fail("read the property list", "", EINVAL, "binary: " + std::move(why));
}

std::uint64_t bigEndian(std::string_view bytes) {
  std::uint64_t value = 0;
  for (const char byte : bytes) value = value << 8 | static_cast<unsigned char>(byte);
  return value;
}

std::optional<std::string> fromUtf16(std::string_view bytes) {
  const auto unit = [bytes](std::size_t i) { return static_cast<char32_t>(bigEndian(bytes.substr(i, 2))); };
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    char32_t character = unit(i);
    if (character >= 0xD800 && character <= 0xDFFF) {
      i += 2;
      const char32_t low = i < bytes.size() ? unit(i) : 0;
      if (character > 0xDBFF || low < 0xDC00 || low > 0xDFFF) return std::nullopt;
      character = 0x10000 + ((character - 0xD800) << 10) + (low - 0xDC00);
    }
    appendUtf8(text, character);
  }
  return text;
}

bool isAscii(std::string_view bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// Two's complement of 16 bytes, as far as 64 bits hold it.
std::optional<PropertyList> wideInteger(std::string_view bytes) {
  const auto high = bigEndian(bytes.substr(0, 8)), low = bigEndian(bytes.substr(8));
  if (high == 0) return PropertyList(low);
  const auto value = static_cast<std::int64_t>(low);
  return high == ~std::uint64_t{0} && value < 0 ? std::optional(PropertyList(value)) : std::nullopt;
}

PropertyList dateSince2001(double seconds) {
  constexpr double kFar = 1e11;  // thousands of years; beyond what a date holds on either side
  const auto whole = static_cast<std::int64_t>(std::floor(std::clamp(seconds, -kFar, kFar)));
  return PropertyList::Date{wallTime(whole + kSecondsTo2001)};
}

class BinaryReader {
 public:
  explicit BinaryReader(std::string_view bytes) : bytes_(bytes), budget_((16U << 20) + 256 * bytes.size()) {}

  Result<PropertyList> read() {
    if (!bytes_.starts_with(kMagic) || bytes_.size() < kMagic.size() + kTrailerSize) return invalid("no trailer");
    const auto trailer = bytes_.substr(bytes_.size() - kTrailerSize);
    offsetSize_ = static_cast<unsigned char>(trailer[6]);
    referenceSize_ = static_cast<unsigned char>(trailer[7]);
    objects_ = bigEndian(trailer.substr(8, 8));
    const auto top = bigEndian(trailer.substr(16, 8)), table = bigEndian(trailer.substr(24, 8));
    const auto end = bytes_.size() - kTrailerSize;
    if (offsetSize_ < 1 || offsetSize_ > 8 || referenceSize_ < 1 || referenceSize_ > 8) return invalid("odd sizes");
    if (table < kMagic.size() || table > end || objects_ > end || objects_ * offsetSize_ != end - table) {
      return invalid("the table is not where the trailer says");
    }
    table_ = static_cast<std::size_t>(table);
    return object(top, 0);
  }

 private:
  // One object's marker byte, taken apart, and what follows it.
  struct Marker {
    int kind;
    std::size_t low;
    std::size_t body;
  };

  Result<PropertyList> object(std::uint64_t number, int depth) {
    LUMISK_TRY(auto marker, markerOf(number));
    LUMISK_CHECK(spend(sizeof(PropertyList)));
    if (marker.kind <= 3) return scalar(marker);
    LUMISK_CHECK(readCount(marker));
    if (marker.kind <= 6) return bytesOrText(marker);
    if (marker.kind != 0xA && marker.kind != 0xD) return invalid("an unknown kind of object");
    if (depth >= kDeepestPropertyList) return invalid("nested too deeply");
    return marker.kind == 0xA ? array(marker, depth + 1) : dictionary(marker, depth + 1);
  }

  Result<Marker> markerOf(std::uint64_t number) {
    if (number >= objects_) return invalid("a reference to no object");
    const auto place = static_cast<std::size_t>(number) * offsetSize_;
    const auto offset = bigEndian(bytes_.substr(table_ + place, offsetSize_));
    if (offset < kMagic.size() || offset >= table_) return invalid("an object outside of the file");
    const auto byte = static_cast<unsigned char>(bytes_[static_cast<std::size_t>(offset)]);
    return Marker{byte >> 4, byte & 0xFU, static_cast<std::size_t>(offset) + 1};
  }

  // Booleans, integers, reals and dates: the low half of the marker says which, or how long.
  Result<PropertyList> scalar(const Marker& marker) {
    if (marker.kind == 0) {
      if (marker.low != 8 && marker.low != 9) return invalid("an unknown kind of object");
      return PropertyList(marker.low == 9);
    }
    if (marker.low > 4) return invalid("a number of odd size");
    LUMISK_TRY(const auto body, slice(marker.body, std::size_t{1} << marker.low));
    if (marker.kind == 1) return integer(body);
    if (marker.kind == 2 && body.size() == 4) return PropertyList(real32(body));
    const double value = std::bit_cast<double>(bigEndian(body));
    if (body.size() != 8 || (marker.kind == 3 && std::isnan(value))) return invalid("a number of odd size");
    return marker.kind == 2 ? PropertyList(value) : dateSince2001(value);
  }

  static double real32(std::string_view body) {
    return static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(bigEndian(body))));
  }

  // Only those of 8 and 16 bytes have a sign.
  static Result<PropertyList> integer(std::string_view body) {
    if (body.size() < 8) return PropertyList(bigEndian(body));
    if (body.size() == 8) return PropertyList(static_cast<std::int64_t>(bigEndian(body)));
    auto wide = wideInteger(body);
    if (!wide) return invalid("an integer that is too large");
    return std::move(*wide);
  }

  // A low half of 15 says that the count follows as an integer object.
  Result<void> readCount(Marker& marker) {
    if (marker.low != 0xF) return {};
    LUMISK_TRY(const auto head, slice(marker.body, 1));
    const auto byte = static_cast<unsigned char>(head[0]);
    if (byte < 0x10 || byte > 0x13) return invalid("a count that is no integer");
    const std::size_t size = std::size_t{1} << (byte & 0xF);
    LUMISK_TRY(const auto digits, slice(marker.body + 1, size));
    const auto count = bigEndian(digits);
    if (count > bytes_.size()) return invalid("a count larger than the file");
    marker.low = static_cast<std::size_t>(count);
    marker.body += 1 + size;
    return {};
  }

  Result<PropertyList> bytesOrText(const Marker& marker) {
    LUMISK_TRY(const auto body, slice(marker.body, marker.kind == 6 ? 2 * marker.low : marker.low));
    LUMISK_CHECK(spend(2 * body.size()));
    if (marker.kind == 4) return PropertyList(PropertyList::Data{std::string(body)});
    if (marker.kind == 5) return isAscii(body) ? PropertyList(std::string(body)) : Result<PropertyList>(badText());
    auto text = fromUtf16(body);
    if (!text) return badText();
    return PropertyList(std::move(*text));
  }

  static tl::unexpected<Error> badText() { return invalid("text with impossible characters"); }

  Result<PropertyList> array(const Marker& marker, int depth) {
    LUMISK_TRY(const auto references, slice(marker.body, marker.low * referenceSize_));
    PropertyList::Array result;
    for (std::size_t i = 0; i < marker.low; ++i) {
      LUMISK_TRY(auto element, object(reference(references, i), depth));
      result.push_back(std::move(element));
    }
    return PropertyList(std::move(result));
  }

  Result<PropertyList> dictionary(const Marker& marker, int depth) {
    LUMISK_TRY(const auto references, slice(marker.body, 2 * marker.low * referenceSize_));
    PropertyList::Dictionary result;
    for (std::size_t i = 0; i < marker.low; ++i) {
      LUMISK_TRY(auto key, object(reference(references, i), depth));
      if (key.kind() != PropertyList::Kind::kText) return invalid("a key that is not valid text");
      LUMISK_TRY(auto element, object(reference(references, marker.low + i), depth));
      if (!result.emplace(key.text(), std::move(element)).second) return invalid("a key comes twice");
    }
    return PropertyList(std::move(result));
  }

  [[nodiscard]] std::uint64_t reference(std::string_view references, std::size_t index) const {
    return bigEndian(references.substr(index * referenceSize_, referenceSize_));
  }

  // Objects lie before the table.
  Result<std::string_view> slice(std::size_t begin, std::size_t size) {
    if (begin > table_ || size > table_ - begin) return invalid("an object outside of the file");
    return bytes_.substr(begin, size);
  }

  Result<void> spend(std::size_t amount) {
    if (amount > budget_) return invalid("it stands for far more than its size");
    budget_ -= amount;
    return {};
  }

  std::string_view bytes_;
  std::size_t budget_;
  std::size_t offsetSize_ = 0;
  std::size_t referenceSize_ = 0;
  std::uint64_t objects_ = 0;
  std::size_t table_ = 0;
};

}  // namespace

Result<PropertyList> parseBinaryPropertyList(std::string_view bytes) {
  return BinaryReader(bytes).read();
}

}  // namespace lumisk
