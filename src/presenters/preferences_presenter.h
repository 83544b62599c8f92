#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/result.h"
#include "presenters/jobs_board.h"

namespace lumisk {

// One question of the preferences, in words for people; English, to be translated where they are shown.
struct PreferenceItem {
  enum class Kind { kSwitch, kChoice, kPercent };
  const char* group;
  const char* key;  // of "SGPreferences"; empty: whether the program starts at login
  Kind kind;
  const char* title;
  const char* sentence;
  std::vector<std::pair<const char*, const char*>> choices;  // stored text and what is shown, of kChoice
  int standard = 0;                                          // a switch: 0 or 1; a choice: its place; a percentage
  bool isReversed = false;                                   // a switch that is stored the other way round
};
[[nodiscard]] const std::vector<PreferenceItem>& preferenceItems();  // in their order on the page

// Reads and writes them; every answer is stored at once. Main thread only.
class PreferencesPresenter {
 public:
  // What is set outside the store.
  struct SystemSwitches {
    std::function<bool()> isStartedAtLogin;
    std::function<Result<void>(bool)> setStartedAtLogin;
    std::function<Result<void>(bool)> setFileManagerActions = {};  // besides what is stored; may be empty
  };
  PreferencesPresenter(JobsBoard& board, SystemSwitches system) : board_(board), system_(std::move(system)) {}

  [[nodiscard]] int value(const PreferenceItem& item);
  // Why it could not be stored; the old value stays.
  JobsBoard::Refusal setValue(const PreferenceItem& item, int value);

 private:
  JobsBoard& board_;
  SystemSwitches system_;
};

}  // namespace lumisk
