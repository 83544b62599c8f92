#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "clone/unfinished_mark.h"
#include "clone/volume_clone.h"
#include "platform/file_calls.h"

namespace lumisk {

// One of the two volumes, open at its root.
struct ClonedVolume {
  Descriptor root;
  std::uint64_t device = 0;  // as in FileIdentity, of the root
};

// What the parts of one clone share. Used from the clone's thread.
class CloneState {
 public:
  CloneState(FileCalls& fileCalls, const CloneOrder& cloneOrder, CloneObserver& cloneObserver)
      : files(fileCalls), order(cloneOrder), mark(fileCalls), observer_(cloneObserver) {}

  [[nodiscard]] bool isCancelled();  // once cancelled, always
  // Cancelled, or one of the volumes has gone and nothing more can be done.
  [[nodiscard]] bool mustStop();
  [[nodiscard]] const std::string& whatIsLost() const { return lost_; }  // empty while both volumes are there
  // Whether the source's disk still answers: some file systems (vfat, iso9660) show empty folders, and no error, when
  // theirs has gone. Nothing more is done otherwise.
  [[nodiscard]] bool isSourceThere();
  void atEntry(std::string path);
  void lookingAt(const std::string& path);  // again, without counting it
  void wrote(std::uint64_t bytes);
  // An entry that could not be carried: told, unless very many were, and counted. A stop is none.
  void failed(const std::string& path, const Error& error);
  void failed(const std::string& path, const std::string& why);
  void said(const std::string& path, const std::string& what);

  FileCalls& files;
  const CloneOrder& order;
  ClonedVolume source;
  std::string sourceNode;  // "/dev/sdb1"; empty when the source lies on no disk
  ClonedVolume target;
  UnfinishedMark mark;
  CloneReport report;

 private:
  CloneObserver& observer_;
  CloneProgress progress_;
  bool isCancelled_ = false;
  std::string lost_;
};

[[nodiscard]] bool isOutOfSpace(const Error& error);

}  // namespace lumisk
