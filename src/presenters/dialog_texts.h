#pragma once

#include <string>
#include <vector>

#include "app/dialog_desk.h"

namespace lumisk {

// What the windows of dialogs say, in the user's language. Pure but for the locale and the time zone.

enum class DialogTone { kGood, kHint, kWarning, kQuestion };

struct DialogTexts {
  DialogTone tone = DialogTone::kHint;
  std::string windowTitle;
  std::string heading;
  std::string body;                  // paragraphs
  std::string path;                  // to be shown by itself; bytes
  std::string times;                 // "Told 3 times, the last time today, 16:48."; empty after one
  std::vector<std::string> earlier;  // what else was told, the latest first
  std::string accept, refuse;        // the buttons; `accept` may be empty
};
[[nodiscard]] DialogTexts dialogTexts(const DialogItem& item, WallTime now);

// Below the list of what is held back: how many more there are than it names.
[[nodiscard]] std::string heldNote(const HeldDeletions& held);

// One side of a conflict.
struct ConflictSideTexts {
  std::string caption;  // which side it is
  std::string folder;   // bytes
  std::string size;
  std::string modified;
  std::string created;
  std::string note;  // "newer", "larger"; may be empty
  bool isPicture = false;
};
struct ConflictTexts {
  std::string name;  // bytes
  ConflictSideTexts source, target;
};
[[nodiscard]] ConflictTexts conflictTexts(const ConflictQuestion& question);
// The four choices and what becomes of the two sides by each.
struct ChoiceText {
  ConflictChoice choice;
  std::string name;
  std::string outcome;
};
[[nodiscard]] std::vector<ChoiceText> choiceTexts();

}  // namespace lumisk
