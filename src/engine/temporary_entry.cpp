#include "engine/temporary_entry.h"

namespace lumisk {

// Nobody is left to tell that it failed: the next run's walk passes such names by.
TemporaryEntry::~TemporaryEntry() {
  if (!exists_) return;
  (void)(type_ == FileType::kFolder ? files_.removeFolder(folder_, name_) : files_.removeFile(folder_, name_));
}

void TemporaryEntry::made(FileType type) {
  type_ = type;
  exists_ = true;
}

Result<void> TemporaryEntry::takeLastingName() {
  if (!isTemporaryName(name_)) return {};
  std::string lasting = lastingName(name_);
  LUMISK_CHECK(files_.rename(folder_, name_, folder_, lasting, Replace::kNever));
  name_ = std::move(lasting);
  return {};
}

}  // namespace lumisk
