#include "clone/unfinished_mark.h"

#include <fmt/format.h>

#include <charconv>
#include <limits>

namespace lumisk {

void UnfinishedMark::read(int root) {
  if (const auto value = files_.attribute(root, kAttribute)) since_ = timeOfMark(*value);
}

void UnfinishedMark::beforeChange(int root) {
  if (hasChanged_) return;
  hasChanged_ = true;
  if (!since_) set(root);
}

// The attribute's own change tells the time by the target's clock; until it is written everything counts. That it
// cannot be set, or not be brought to the disk, leaves a clone without a mark, which is no reason for none at all.
void UnfinishedMark::set(int root) {
  if (!files_.setAttribute(root, kAttribute, "0")) return;
  const auto status = files_.statusOf(root);
  if (!status) return;
  const std::string value = fmt::format("{}.{}", status->changed.seconds, status->changed.nanoseconds);
  (void)files_.setAttribute(root, kAttribute, value);
  (void)files_.syncFile(root);
}

void UnfinishedMark::clear(int root) {
  (void)files_.removeAttribute(root, kAttribute);
}

FileTime timeOfMark(const std::string& value) {
  constexpr FileTime kAlways{std::numeric_limits<std::int64_t>::min(), 0};
  FileTime time;
  const char* end = value.data() + value.size();
  const auto [point, error] = std::from_chars(value.data(), end, time.seconds);
  if (error != std::errc() || point == end || *point != '.') return kAlways;
  const auto [last, secondError] = std::from_chars(point + 1, end, time.nanoseconds);
  return secondError == std::errc() && last == end ? time : kAlways;
}

}  // namespace lumisk
