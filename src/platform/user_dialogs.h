#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/file_calls.h"

namespace lumisk {

struct PathProblem {
  std::string message;
  std::string path;
  std::string jobName;
  std::int32_t jobIndex = -1;
};

struct FinishDialog {
  std::string title;
  std::string upperMessage;
  std::string message;
};

// The conflict choices of a two-way job. Stored values; do not change.
enum class ConflictChoice : std::int32_t { kSourceWins = 0, kTargetWins = 1, kNewerWins = 2, kKeepBoth = 3 };

struct ConflictSide {
  std::string path;  // absolute
  FileStatus status;
};

struct ConflictQuestion {
  std::string jobName;
  std::string sourceText;  // name, size and dates of one side, several lines
  std::string targetText;
  ConflictSide source{};
  ConflictSide target{};
  // Whether the run is to end, so that nobody waits for the answer any more. Any thread, as long as the question is
  // open; may be empty.
  std::function<bool()> mustStop = {};
};

struct ConflictAnswer {
  ConflictChoice choice = ConflictChoice::kNewerWins;
  bool forAll = false;
};

// Deletions that a run has held back, because they are so many at once.
struct HeldDeletions {
  std::string jobName;
  std::string jobUuid;
  std::uint64_t count = 0;         // of entries, with all that folders hold
  std::vector<std::string> paths;  // what would go; of very many only the first
};

// A volume whose jobs have run and that was to be unmounted then.
struct VolumeNotice {
  std::string jobName;
  std::string volume;  // its name
  std::string text;    // one line, in English
  bool isSafeToRemove = false;
};

// Everything that is asked of or shown to the user by what has no face of its own. Faces implement it. Calls come from
// any thread; those that show return at once, those that ask block until there is an answer.
class UserDialogs {
 public:
  virtual ~UserDialogs() = default;
  virtual void showAlert(const std::string& title, const std::string& message) = 0;
  virtual void showMessage(const std::string& jobName, const std::string& title, const std::string& message) = 0;
  virtual void showPathProblem(const PathProblem& problem) = 0;
  virtual void showFinish(const FinishDialog& dialog) = 0;
  // Both are told in other ways, too: faces that do nothing with them lose nothing.
  virtual void showHeldDeletions(const HeldDeletions&) {}
  virtual void showVolumeNotice(const VolumeNotice& notice) { showMessage(notice.jobName, "Qel Lumisk", notice.text); }
  virtual ConflictAnswer askConflict(const ConflictQuestion& question) = 0;
  // Whether the user chose the first button.
  virtual bool ask(const std::string& title, const std::string& message, const std::string& accept,
                   const std::string& refuse) = 0;
};

}  // namespace lumisk
