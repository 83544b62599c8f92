#include "app/dialog_requests.h"

#include <algorithm>

namespace lumisk {
namespace {

using Array = PropertyList::Array;
using Dictionary = PropertyList::Dictionary;

constexpr const char* kIdKey = "id";
constexpr const char* kKindKey = "kind";
constexpr const char* kJobKey = "jobName";
constexpr const char* kUuidKey = "uuid";
constexpr const char* kTitleKey = "title";
constexpr const char* kUpperTextKey = "upperText";
constexpr const char* kTextsKey = "texts";
constexpr const char* kTextKey = "text";
constexpr const char* kLastKey = "last";  // nanoseconds since 1970
constexpr const char* kTimesKey = "times";
constexpr const char* kPathKey = "path";
constexpr const char* kPathsKey = "paths";
constexpr const char* kCountKey = "count";
constexpr const char* kAcceptKey = "accept";
constexpr const char* kRefuseKey = "refuse";
constexpr const char* kSourceKey = "source";
constexpr const char* kTargetKey = "target";
constexpr const char* kHeldKey = "held";
constexpr const char* kTypeKey = "type";
constexpr const char* kSizeKey = "size";
constexpr const char* kModifiedKey = "modified";
constexpr const char* kCreatedKey = "created";
constexpr const char* kNanosecondsKey = "nanoseconds";
constexpr const char* kSecondsKey = "seconds";
constexpr const char* kAcceptedKey = "accepted";
constexpr const char* kChoiceKey = "choice";
constexpr const char* kForAllKey = "forAll";

// In bytes of text, which may take several times as many on the way. One message holds 1 MB.
constexpr std::size_t kLongestList = 32'000;
constexpr std::size_t kLongestTexts = 120'000;

// Nothing for a number that is none of the enumeration's, whose last is given.
template <class Enum>
std::optional<Enum> enumOf(const PropertyList& value, Enum last) {
  const std::int32_t number = value.integer32();
  if (value.isNone() || number < 0 || number > static_cast<std::int32_t>(last)) return std::nullopt;
  return static_cast<Enum>(number);
}

Dictionary dictionaryOf(const FileTime& time) {
  return {{kSecondsKey, time.seconds}, {kNanosecondsKey, static_cast<std::int64_t>(time.nanoseconds)}};
}

FileTime fileTimeOf(const PropertyList& dictionary) {
  FileTime time;
  time.seconds = dictionary[kSecondsKey].integer();
  time.nanoseconds = static_cast<std::uint32_t>(dictionary[kNanosecondsKey].unsignedInteger());
  return time;
}

// Of a status what windows show.
Dictionary dictionaryOf(const ConflictSide& side) {
  return {{kPathKey, side.path},
          {kTypeKey, static_cast<std::int32_t>(side.status.type)},
          {kSizeKey, side.status.size},
          {kModifiedKey, dictionaryOf(side.status.modified)},
          {kCreatedKey, dictionaryOf(side.status.created)}};
}

ConflictSide sideOf(const PropertyList& dictionary) {
  ConflictSide side{dictionary[kPathKey].text(), {}};
  side.status.type = static_cast<FileType>(dictionary[kTypeKey].integer32());
  side.status.size = dictionary[kSizeKey].unsignedInteger();
  side.status.modified = fileTimeOf(dictionary[kModifiedKey]);
  side.status.created = fileTimeOf(dictionary[kCreatedKey]);
  return side;
}

Dictionary dictionaryOf(const ToldText& told) {
  const auto last = std::chrono::duration_cast<std::chrono::nanoseconds>(told.last.time_since_epoch());
  return {{kTextKey, told.text},
          {kLastKey, static_cast<std::int64_t>(last.count())},
          {kTimesKey, static_cast<std::int64_t>(told.times)}};
}

ToldText toldTextOf(const PropertyList& dictionary) {
  const std::chrono::nanoseconds last(dictionary[kLastKey].integer());
  return {dictionary[kTextKey].text(), WallTime(std::chrono::duration_cast<WallTime::duration>(last)),
          static_cast<unsigned>(dictionary[kTimesKey].unsignedInteger())};
}

Dictionary dictionaryOf(const HeldDeletions& held) {
  Array paths;
  std::size_t length = 0;
  for (const std::string& path : held.paths) {
    length += path.size();
    if (length > kLongestList) break;
    paths.push_back(path);
  }
  return {{kUuidKey, held.jobUuid}, {kCountKey, held.count}, {kPathsKey, std::move(paths)}};
}

HeldDeletions heldOf(const std::string& job, const PropertyList& dictionary) {
  HeldDeletions held{job, dictionary[kUuidKey].text(), dictionary[kCountKey].unsignedInteger(), {}};
  for (const PropertyList& path : dictionary[kPathsKey].array()) held.paths.push_back(path.text());
  return held;
}

std::size_t lengthOf(const DialogItem& item) {
  std::size_t length = item.path.size() + item.conflict.source.path.size() + item.conflict.target.path.size();
  for (const ToldText& told : item.texts) length += told.text.size();
  for (const std::string& path : item.held.paths) length += path.size();
  return std::min(length, kLongestList) + item.job.size();
}

}  // namespace

Array arrayOf(const std::vector<DialogItem>& items) {
  Array array;
  std::size_t length = 0;
  for (const DialogItem& item : items) {
    length += lengthOf(item);
    if (length > kLongestTexts) break;
    array.push_back(dictionaryOf(item));
  }
  return array;
}

Dictionary dictionaryOf(const DialogItem& item) {
  Array texts;
  for (const ToldText& told : item.texts) texts.push_back(dictionaryOf(told));
  Dictionary given{{kIdKey, item.id},
                   {kKindKey, static_cast<std::int32_t>(item.kind)},
                   {kJobKey, item.job},
                   {kTitleKey, item.title},
                   {kPathKey, item.path},
                   {kUpperTextKey, item.upperText},
                   {kAcceptKey, item.accept},
                   {kRefuseKey, item.refuse},
                   {kTextsKey, std::move(texts)}};
  if (item.kind == DialogKind::kHeldDeletions) given[kHeldKey] = dictionaryOf(item.held);
  if (item.kind == DialogKind::kConflict) {
    given[kSourceKey] = dictionaryOf(item.conflict.source);
    given[kTargetKey] = dictionaryOf(item.conflict.target);
  }
  return given;
}

std::optional<DialogItem> dialogItemOf(const PropertyList& dictionary) {
  const auto kind = enumOf(dictionary[kKindKey], DialogKind::kConflict);
  if (!kind || dictionary[kIdKey].isNone()) return std::nullopt;
  DialogItem item;
  item.id = dictionary[kIdKey].unsignedInteger();
  item.kind = *kind;
  item.job = dictionary[kJobKey].text();
  item.title = dictionary[kTitleKey].text();
  item.upperText = dictionary[kUpperTextKey].text();
  for (const PropertyList& told : dictionary[kTextsKey].array()) item.texts.push_back(toldTextOf(told));
  item.path = dictionary[kPathKey].text();
  item.accept = dictionary[kAcceptKey].text();
  item.refuse = dictionary[kRefuseKey].text();
  item.held = heldOf(item.job, dictionary[kHeldKey]);
  item.conflict.jobName = item.job;
  item.conflict.source = sideOf(dictionary[kSourceKey]);
  item.conflict.target = sideOf(dictionary[kTargetKey]);
  return item;
}

Dictionary dictionaryOf(const DialogAnswer& answer) {
  return {{kAcceptedKey, answer.isAccepted},
          {kChoiceKey, static_cast<std::int32_t>(answer.conflict.choice)},
          {kForAllKey, answer.conflict.forAll}};
}

std::optional<DialogAnswer> dialogAnswerOf(const PropertyList& dictionary) {
  const auto choice = enumOf(dictionary[kChoiceKey], ConflictChoice::kKeepBoth);
  if (!choice) return std::nullopt;
  return DialogAnswer{dictionary[kAcceptedKey].boolean(), {*choice, dictionary[kForAllKey].boolean()}};
}

}  // namespace lumisk
