#pragma once

#include <memory>
#include <string>

#include "platform/clock.h"
#include "platform/file_calls.h"
#include "platform/result.h"

namespace lumisk {

// Where something went.
struct TrashedItem {
  std::string path;  // in the trash folder's "files"
};

// The Trash of the volume on which a file lies, in the freedesktop.org Trash layout, version 1.0: the home trash on the
// home folder's volume, "<top>/.Trash/<uid>" or "<top>/.Trash-<uid>" elsewhere. Where a volume takes none, the folder
// "<fallbackFolder>/Revision/.Trash" (same layout) serves. What is put there never replaces anything, keeps names of
// any bytes (shortened where "name.trashinfo" would be longer than the file system takes) and costs no search for a
// free name. Remembers the trash folders it found; one object serves one run, from one thread at a time.
class Trash {
 public:
  // fallbackFolder: the job's target, absolute; empty for none.
  Trash(FileCalls& files, const Clock& clock, std::string fallbackFolder);
  ~Trash();

  // Moves an entry of any kind, folders with all they hold. `path` is its absolute path, for the record and for its
  // name in the Trash (`name` may be a temporary one meanwhile). When this fails the entry is where it was.
  Result<TrashedItem> moveToTrash(int folder, const std::string& name, const std::string& path);

  // Gives a file or link a second name in the Trash and leaves the first, so that it can be replaced by a rename
  // without ever being absent. EOPNOTSUPP where the file system has no hard links or the entry is a folder; nothing is
  // left behind then and the caller moves it.
  Result<TrashedItem> linkToTrash(int folder, const std::string& name, const std::string& path);

  // Whether a folder entry is one of the folders that a walk never enters: ".Trash", ".Trash-<digits>", ".Trashes",
  // "lost+found".
  [[nodiscard]] static bool isTrashName(const std::string& name);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace lumisk
