#include "presenters/preferences_presenter.h"

#include <algorithm>

#include "engine/two_way_rule.h"
#include "platform/translation.h"

namespace lumisk {
namespace {

using Item = PreferenceItem;
using Kind = PreferenceItem::Kind;

constexpr const char* kGeneral = markedText("General");
constexpr const char* kCopying = markedText("Copying");
constexpr const char* kSafety = markedText("Safety");

constexpr const char* kFileManagerKey = "SGInstallPlugin";

Item toggle(const char* group, const char* key, const char* title, const char* sentence, int standard) {
  return {group, key, Kind::kSwitch, title, sentence, {}, standard, false};
}

Item reversed(Item item) {
  item.isReversed = true;
  return item;
}

std::vector<Item> makeItems() {
  return {
      toggle(kGeneral, "", markedText("Start when I log in"),
             markedText("Jobs then run by themselves, also without a window."), 0),
      toggle(kGeneral, "SGWarnPendingJobs", markedText("Ask before quitting while jobs run"),
             markedText("Otherwise their runs are stopped and go on next time."), 0),
      toggle(kGeneral, kFileManagerKey, markedText("Show actions in the file manager"),
             markedText("Backing up and restoring from a folder's menu."), 0),
      {kGeneral,
       "SGAppearance",
       Kind::kChoice,
       markedText("Appearance"),
       markedText("Light or dark windows."),
       {{"system", markedText("Like the system")}, {"light", markedText("Light")}, {"dark", markedText("Dark")}},
       0,
       false},
      {kCopying,
       "SGCopyPace",
       Kind::kChoice,
       markedText("Pace of jobs that run by themselves"),
       markedText("A gentle run is not felt while you work. Runs that you start go as fast as they can."),
       {{"gentle", markedText("Gentle")}, {"full", markedText("As fast as possible")}},
       0,
       false},
      toggle(kCopying, "SGDetachImages", markedText("Close encrypted images after a run"),
             markedText(
                 "Those that a run has opened itself. Jobs that copy as soon as something changes keep theirs open."),
             1),
      {kSafety,
       "SGDeletionBrakePercent",
       Kind::kPercent,
       markedText("Hold back large deletions"),
       markedText("A run that would delete more than this share of a target's files, and more than 20 of them, waits "
                  "for you."),
       {},
       kDefaultBrakePercent,
       false},
      reversed(toggle(kSafety, "SGSuppressErrorMessages", markedText("Show messages about problems"),
                      markedText("The log tells of them in any case."), 1)),
  };
}

int placeOf(const Item& item, const std::string& stored) {
  for (std::size_t i = 0; i < item.choices.size(); ++i)
    if (item.choices[i].first == stored) return static_cast<int>(i);
  return item.standard;
}

}  // namespace

const std::vector<PreferenceItem>& preferenceItems() {
  static const std::vector<PreferenceItem> items = makeItems();
  return items;
}

int PreferencesPresenter::value(const PreferenceItem& item) {
  if (*item.key == '\0') return system_.isStartedAtLogin() ? 1 : 0;
  const PropertyList stored = board_.preference(item.key);
  if (stored.isNone()) return item.standard;
  if (item.kind == Kind::kChoice) return placeOf(item, stored.text());
  if (item.kind == Kind::kPercent) return std::clamp(stored.integer32(), 0, 100);
  return stored.boolean() != item.isReversed ? 1 : 0;
}

JobsBoard::Refusal PreferencesPresenter::setValue(const PreferenceItem& item, int value) {
  if (*item.key == '\0') {
    const auto done = system_.setStartedAtLogin(value != 0);
    return done ? JobsBoard::Refusal() : JobsBoard::Refusal(done.error().text());
  }
  if (std::string(item.key) == kFileManagerKey && system_.setFileManagerActions) {
    if (const auto done = system_.setFileManagerActions(value != 0); !done) return done.error().text();
  }
  if (item.kind == Kind::kChoice)
    return board_.setPreference(item.key, item.choices.at(static_cast<std::size_t>(value)).first);
  if (item.kind == Kind::kPercent) return board_.setPreference(item.key, std::clamp(value, 0, 100));
  return board_.setPreference(item.key, (value != 0) != item.isReversed);
}

}  // namespace lumisk
