#include "presenters/preferences_presenter.h"

#include "app/login_item.h"
#include "support/fake_jobs_board.h"
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

TEST(LoginItem, SwitchedOff_StaysOffAtLaterStarts) {
  const test::TempTree tree;
  setenv("XDG_CONFIG_HOME", tree.path().c_str(), 1);
  setenv("LUMISK_HOME", tree.path().c_str(), 1);
  EXPECT_FALSE(isStartedAtLogin());
  EXPECT_TRUE(setStartedAtLogin("/bin/lumisk", true));
  EXPECT_TRUE(isStartedAtLogin());
  EXPECT_TRUE(setStartedAtLogin("/bin/lumisk", false));
  (void)enterLoginItem("/bin/lumisk");
  EXPECT_FALSE(isStartedAtLogin());
  unsetenv("LUMISK_HOME");
  unsetenv("XDG_CONFIG_HOME");
}

}  // namespace
}  // namespace lumisk
