#include "clone/clone_rule.h"

namespace lumisk {
namespace {

bool isDevice(FileType type) {
  return type == FileType::kCharacterDevice || type == FileType::kBlockDevice;
}

// Small inodes (ext4 with 128 bytes) keep whole seconds. Then the change time, which the kernel sets, has none either.
bool isSameDate(const FileStatus& source, const FileStatus& target) {
  if (source.modified == target.modified) return true;
  const bool keepsSecondsOnly = target.modified.nanoseconds == 0 && target.changed.nanoseconds == 0;
  return keepsSecondsOnly && source.modified.seconds == target.modified.seconds;
}

}  // namespace

bool isCarried(FileType type) {
  return type != FileType::kSocket && type != FileType::kUnknown;
}

Content judgeContent(const FileStatus& source, const FileStatus& target,
                     const std::optional<FileTime>& unfinishedSince) {
  if (source.type != target.type) return Content::kOther;
  if (isDevice(source.type)) return source.deviceNumber == target.deviceNumber ? Content::kSame : Content::kOther;
  if (source.type == FileType::kLink) return source.size == target.size ? Content::kUnknown : Content::kOther;
  if (source.type != FileType::kRegular) return Content::kSame;
  if (source.size != target.size || !isSameDate(source, target)) return Content::kOther;
  return unfinishedSince && target.changed >= *unfinishedSince ? Content::kUnknown : Content::kSame;
}

bool sharesWithOthers(const FileStatus& source, const FileStatus& target) {
  return source.type != FileType::kFolder && source.links <= 1 && target.links > 1;
}

MetadataDifference compareMetadata(const FileStatus& source, const FileStatus& target) {
  MetadataDifference difference;
  difference.owner = source.owner != target.owner || source.group != target.group;
  difference.mode = source.type != FileType::kLink && source.mode != target.mode;
  difference.date = !isSameDate(source, target);
  difference.protection = source.isImmutable != target.isImmutable || source.isAppendOnly != target.isAppendOnly;
  return difference;
}

bool hasChanged(const FileStatus& before, const FileStatus& after) {
  return before.size != after.size || before.modified != after.modified || before.changed != after.changed;
}

FileTime dateOfTornCopy(const FileStatus& before, const FileStatus& after) {
  if (before.modified != after.modified) return before.modified;
  return {before.modified.seconds - 1, before.modified.nanoseconds};
}

bool isOtherFileSystem(const FileStatus& status, std::uint64_t device) {
  return status.isMountRoot || status.identity.device != device;
}

std::string fittingLabel(const std::string& label, std::size_t limit) {
  if (label.size() <= limit) return label;
  std::size_t end = limit;
  while (end > 0 && (static_cast<unsigned char>(label[end]) & 0xC0U) == 0x80U) --end;
  return label.substr(0, end);
}

}  // namespace lumisk
