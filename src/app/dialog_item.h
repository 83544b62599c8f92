#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/user_dialogs.h"

namespace lumisk {

// Travels between processes; do not change.
enum class DialogKind : std::int32_t {
  kAlert = 0,
  kMessage = 1,
  kPathProblem = 2,
  kFinish = 3,
  kHeldDeletions = 4,
  kQuestion = 5,
  kConflict = 6,
};

[[nodiscard]] constexpr bool isQuestion(DialogKind kind) {
  return kind == DialogKind::kQuestion || kind == DialogKind::kConflict;
}

// One thing that is told, however often.
struct ToldText {
  std::string text;  // English, as it was told; see dialogTexts()
  WallTime last{};
  unsigned times = 1;
};

// What one window shows.
struct DialogItem {
  std::uint64_t id = 0;  // of the window, for as long as it stands
  DialogKind kind = DialogKind::kAlert;
  std::string job{};  // its name; may be empty
  std::string title{};
  std::string upperText{};         // of kFinish
  std::vector<ToldText> texts{};   // the latest last
  std::string path{};              // of kPathProblem
  std::string accept{}, refuse{};  // of kQuestion
  bool isWaitedFor = false;        // the main thread stands still for it: it may take the focus
  ConflictQuestion conflict{};
  HeldDeletions held{};
};

// What becomes of a window. As it is made: closed without a word, which loses nothing.
struct DialogAnswer {
  bool isAccepted = false;                                    // of kQuestion
  ConflictAnswer conflict{ConflictChoice::kKeepBoth, false};  // of kConflict
};

}  // namespace lumisk
