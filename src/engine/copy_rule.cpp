#include "engine/copy_rule.h"

#include "platform/paths.h"

namespace lumisk {
namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

// Field by field: dates beyond the year 2262 have no room in 64 bits of nanoseconds.
FileTime floorTo(std::chrono::nanoseconds granularity, FileTime time) {
  const std::int64_t step = std::max<std::int64_t>(granularity.count(), 1);
  if (step < kNanosecondsPerSecond) {
    time.nanoseconds -= time.nanoseconds % static_cast<std::uint32_t>(step);
    return time;
  }
  const std::int64_t seconds = step / kNanosecondsPerSecond;
  const std::int64_t rest = time.seconds % seconds;
  time.nanoseconds = 0;
  time.seconds -= rest < 0 ? rest + seconds : rest;
  return time;
}

// File systems with coarse time stamps are off by one second after the clocks change or a round trip through them.
bool isOneSecondLater(const FileTime& later, const FileTime& earlier) {
  return later.nanoseconds == earlier.nanoseconds &&
         static_cast<std::uint64_t>(later.seconds) - static_cast<std::uint64_t>(earlier.seconds) == 1;
}

bool hasOtherSize(const CopyQuestion& question) {
  return question.source.type == FileType::kRegular && question.source.size != question.destination->size;
}

bool isDoubted(const CopyQuestion& question) {
  return question.doubtedSince && question.source.type == FileType::kRegular &&
         question.destination->changed >= *question.doubtedSince;
}

}  // namespace

CopyDecision decideCopy(const CopyQuestion& question) {
  if (!question.destination) return {CopyVerdict::kCopy, "new"};
  if (question.source.type != question.destination->type) return {CopyVerdict::kReplace, "not a file there"};
  const FileTime source = floorTo(question.granularity, question.source.modified);
  const FileTime destination = floorTo(question.granularity, question.destination->modified);
  const bool isSame = source == destination || isOneSecondLater(source, destination);
  if (isSame && question.compareSizes && hasOtherSize(question)) return {CopyVerdict::kReplace, "other size"};
  if (isSame && isDoubted(question)) return {CopyVerdict::kReplace, "in doubt"};
  if (!isSame && source > destination) return {CopyVerdict::kReplace, "newer"};
  return {CopyVerdict::kUnchanged, "unchanged"};
}

bool checkModificationDate(const FileStatus& source, const FileStatus& destination) {
  return source.modified > destination.modified;
}

std::optional<FileTime> dateOfChangedCopy(const FileStatus& before, const FileStatus& after) {
  if (before.size == after.size && before.modified == after.modified && before.changed == after.changed)
    return std::nullopt;
  // More than the allowance of one second, also after both dates were cut to two.
  constexpr std::int64_t kSurelyLaterSeconds = 4;
  FileTime older = std::min(before.modified, after.modified);
  older.seconds -= kSurelyLaterSeconds;
  const FileTime latestSeenAsNewer{after.modified.seconds - kSurelyLaterSeconds, after.modified.nanoseconds};
  if (before.modified <= latestSeenAsNewer) return std::nullopt;
  return older;
}

// The info files ("_XXXQelLumiskinfo_...") are not among them: they travel like other files.
std::uint32_t modeToMakeWith(const CatalogInfo& wanted, const std::optional<FileStatus>& like,
                             std::uint32_t unfinished) {
  constexpr std::uint32_t kPermissions = 0777;
  const FileStatus& status = wanted.status;
  const bool isPlain = wanted.attributes.empty() && wanted.unreadable.empty() && (status.mode & ~kPermissions) == 0 &&
                       (status.mode & unfinished) == unfinished;
  const bool isOurs = like && like->owner == status.owner && like->group == status.group;
  return isPlain && isOurs ? status.mode : unfinished;
}

bool isSkippedName(const std::string& name) {
  static constexpr std::array<std::string_view, 8> kNames = {".DS_Store",
                                                             ".hidden",
                                                             ".localized",
                                                             ".hotfiles.btree",
                                                             "Qel Lumisk.log",
                                                             ".lumiskFileList",
                                                             ".lumiskFileList.damaged",
                                                             ".lumiskFolderFlagPlist"};
  return std::find(kNames.begin(), kNames.end(), name) != kNames.end() || paths::extension(name) == "qellumiskdat";
}

}  // namespace lumisk
