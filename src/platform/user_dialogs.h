#pragma once

#include <cstdint>
#include <string>

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

struct ConflictQuestion {
  std::string jobName;
  std::string sourceText;  // name, size and dates of one side, several lines
  std::string targetText;
};

struct ConflictAnswer {
  ConflictChoice choice = ConflictChoice::kNewerWins;
  bool forAll = false;
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
  virtual ConflictAnswer askConflict(const ConflictQuestion& question) = 0;
  // Whether the user chose the first button.
  virtual bool ask(const std::string& title, const std::string& message, const std::string& accept,
                   const std::string& refuse) = 0;
};

}  // namespace lumisk
