#pragma once

#include <string>

#include "platform/file_calls.h"
#include "platform/temporary_name.h"

namespace lumisk {

// The name of a temporary sibling in an open folder, and the duty to remove what was made under it unless that went
// somewhere else. The folder must stay open longer.
class TemporaryEntry {
 public:
  TemporaryEntry(FileCalls& files, int folder) : files_(files), folder_(folder), name_(makeTemporaryName()) {}
  TemporaryEntry(const TemporaryEntry&) = delete;
  TemporaryEntry& operator=(const TemporaryEntry&) = delete;
  ~TemporaryEntry();

  [[nodiscard]] int folder() const { return folder_; }
  [[nodiscard]] const std::string& name() const { return name_; }
  [[nodiscard]] FileType type() const { return type_; }

  void made(FileType type);  // from now on there is something of this type to remove
  // From now on under a name that no walk takes for the leftover of an unfinished copy.
  Result<void> takeLastingName();
  void gone() { exists_ = false; }

 private:
  FileCalls& files_;
  int folder_;
  std::string name_;
  FileType type_ = FileType::kUnknown;
  bool exists_ = false;
};

}  // namespace lumisk
