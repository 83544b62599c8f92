#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "platform/file_calls.h"

namespace lumisk {

// Where a walk does not go, whatever the job says. The texts are for logs and listings; nullptr: it goes there.

// By its name alone: our own files, what the desktop leaves behind, leftovers of a copy that was cut short.
[[nodiscard]] const char* whyNotCopied(const std::string& name);
// The same for folders: trash folders and what a file system check found.
[[nodiscard]] const char* whyNotWalked(const std::string& name);

class WalkBorders {
 public:
  explicit WalkBorders(FileCalls& files) : files_(files) {}
  // A folder that this run writes into: it is not walked as a part of a source.
  void addDestination(const FileIdentity& folder) { destinations_.insert(folder); }
  void forgetDestinations() { destinations_.clear(); }
  // By what an open folder is; `parent`: the folder it was found in, if any. A root of the job is meant as it is, even
  // where it is the home trash.
  [[nodiscard]] const char* whyNotWalked(const FileStatus& folder, const std::string& name,
                                         const std::optional<FileIdentity>& parent);

  // The home trash has a name that other folders may have, too, and may have another where a link leads to it.
  [[nodiscard]] bool isHomeTrash(const FileIdentity& folder, const std::string& name);

 private:
  [[nodiscard]] bool isPseudo(std::uint64_t device);

  FileCalls& files_;
  std::set<FileIdentity> destinations_;
  std::optional<FileIdentity> homeTrash_;
  bool hasNoHomeTrash_ = false;                           // when it was looked for
  std::optional<std::set<std::uint64_t>> pseudoDevices_;  // read when first needed
};

}  // namespace lumisk
