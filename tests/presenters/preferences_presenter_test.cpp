#include "presenters/preferences_presenter.h"

#include <cstdlib>

#include "app/file_manager_actions.h"
#include "app/login_item.h"
#include "support/fake_jobs_board.h"
#include "support/home_fixture.h"
#include "support/temp_tree.h"

namespace lumisk {
namespace {

const PreferenceItem& item(const std::string& key) {
  for (const PreferenceItem& found : preferenceItems())
    if (found.key == key) return found;
  ADD_FAILURE() << key;
  return preferenceItems().front();
}

TEST(Preferences, AreStoredUnderTheirKeysAsTheyAreRead) {
  test::FakeJobsBoard board;
  bool startsAtLogin = false;
  PreferencesPresenter presenter(board, {[&] { return startsAtLogin; },
                                         [&](bool on) -> Result<void> { return startsAtLogin = on, Result<void>(); }});
  EXPECT_EQ(presenter.value(item("SGDetachImages")), 1);
  EXPECT_EQ(presenter.value(item("SGDeletionBrakePercent")), 50);
  EXPECT_EQ(presenter.value(item("SGSuppressErrorMessages")), 1) << "messages are shown";

  EXPECT_FALSE(presenter.setValue(item("SGSuppressErrorMessages"), 0));
  EXPECT_TRUE(board.preferences["SGSuppressErrorMessages"].boolean());
  EXPECT_EQ(presenter.value(item("SGSuppressErrorMessages")), 0);
  EXPECT_FALSE(presenter.setValue(item("SGCopyPace"), 1));
  EXPECT_EQ(board.preferences["SGCopyPace"].text(), "full");
  EXPECT_EQ(presenter.value(item("SGCopyPace")), 1);
  EXPECT_FALSE(presenter.setValue(item("SGDeletionBrakePercent"), 500));
  EXPECT_EQ(board.preferences["SGDeletionBrakePercent"].integer32(), 100);
  EXPECT_FALSE(presenter.setValue(item(""), 1));
  EXPECT_TRUE(startsAtLogin);
  board.refusal = "no";
  EXPECT_EQ(presenter.setValue(item("SGWarnPendingJobs"), 1), "no");
  EXPECT_EQ(presenter.value(item("SGWarnPendingJobs")), 0);
}

TEST(FileManagerActions, SwitchedOn_StartTheseProgramsWhateverTheirFolderIsCalled) {
  const test::TempTree tree{
      {"it's", test::Dir{{"lumisk", test::File{"#!/bin/sh\nprintf '%s|' \"$@\" >\"$OUT\"\n", 0755}}}}};
  const test::ScopedVariable data("XDG_DATA_HOME", tree / "data");
  const test::ScopedVariable out("OUT", tree / "out");
  ASSERT_TRUE(setFileManagerActions(tree / "it's", true));
  const std::string script = tree / "data/nautilus/scripts/New Qel Lumisk Job";
  EXPECT_EQ(std::system(("'" + script + "' 'a b' '$(x)'").c_str()), 0);
  EXPECT_EQ(test::readFile(tree / "out"), "send|--action|102|--|a b|$(x)|");
  EXPECT_NE(test::readFile(tree / "data/kio/servicemenus/lumisk.desktop").find("it's/lumisk-desktop\" --restore %f"),
            std::string::npos);
  ASSERT_TRUE(setFileManagerActions(tree / "it's", false));
  EXPECT_FALSE(test::exists(script));
  EXPECT_TRUE(setFileManagerActions(tree / "it's", false)) << "nothing is there any more";
}

TEST(LoginItem, SwitchedOff_StaysOffAtLaterStarts) {
  const test::TempTree tree;
  const test::ScopedVariable config("XDG_CONFIG_HOME", tree.path()), home("LUMISK_HOME", tree.path());
  EXPECT_FALSE(isStartedAtLogin());
  EXPECT_TRUE(setStartedAtLogin("/bin/lumisk", true));
  EXPECT_TRUE(isStartedAtLogin());
  EXPECT_TRUE(setStartedAtLogin("/bin/lumisk", false));
  (void)enterLoginItem("/bin/lumisk");
  EXPECT_FALSE(isStartedAtLogin());
}

}  // namespace
}  // namespace lumisk
