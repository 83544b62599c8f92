#include "platform/user_defaults.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <thread>

#include "support/result_code.h"
#include "support/temp_tree.h"

namespace lumisk {
namespace {

using test::TempTree;

TEST(UserDefaults, Changes_AreOnDiskAndSeenByOthers) {
  TempTree home;
  const std::string path = home / "Library/Preferences/settings.plist";
  UserDefaults one(path), other(path);
  EXPECT_TRUE(one.object("missing")->isNone());
  ASSERT_TRUE(one.setObject("Qel Lumisk", "Automatic Backup"));
  EXPECT_EQ(other.object("Qel Lumisk")->text(), "Automatic Backup");
  ASSERT_TRUE(other.setObject("n", 7));
  EXPECT_EQ(one.object("n")->integer(), 7);
  ASSERT_TRUE(one.removeObject("n"));
  EXPECT_TRUE(other.object("n")->isNone());
  struct stat status;
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
  const auto changed = status.st_ino;
  ASSERT_TRUE(one.change([](PropertyList::Dictionary&) {}));
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_ino, changed) << "nothing changed, but it was written";
}

TEST(UserDefaults, WhoOwnsThem_ClearsWhatKilledWritersLeft) {
  TempTree home;
  const std::string abandoned = home / ".lumisk-F4D6F980-1412-407F-AE5B-D4905004D1E0";
  const std::string fresh = home / ".lumisk-00D6F980-1412-407F-AE5B-D4905004D1E0";
  for (const std::string& path : {abandoned, fresh, home / ".lumisk-other"}) test::writeFile(path, "<plist");
  test::setModified(abandoned, 1'000'000'000);
  test::setModified(home / ".lumisk-other", 1'000'000'000);
  UserDefaults defaults(home / "settings.plist");
  ASSERT_TRUE(defaults.own());
  EXPECT_FALSE(test::exists(abandoned));
  EXPECT_TRUE(test::exists(fresh) && test::exists(home / ".lumisk-other"));
}

TEST(UserDefaults, FileEditedInPlaceAMomentAgo_IsSeenThoughItsStampMayBeTheSame) {
  TempTree home{
      {"settings.plist", test::File{"<plist version=\"1.0\"><dict><key>x</key><string>a</string></dict></plist>"}}};
  const std::string path = home / "settings.plist";
  UserDefaults defaults(path);
  struct stat status;
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  EXPECT_EQ(defaults.object("x")->text(), "a");
  std::ofstream(path) << "<plist version=\"1.0\"><dict><key>x</key><string>b</string></dict></plist>";
  const timespec times[] = {status.st_atim, status.st_mtim};
  ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  EXPECT_EQ(defaults.object("x")->text(), "b");
}

TEST(UserDefaults, InMemory_NothingReachesADisk) {
  UserDefaults defaults = UserDefaults::inMemory({{"x", 1}});
  ASSERT_TRUE(defaults.setObject("y", 2));
  EXPECT_EQ(defaults.objects()->size(), 2U);
  EXPECT_EQ(defaults.object("x")->integer(), 1);
  EXPECT_FALSE(defaults.own());
}

TEST(UserDefaults, DamagedFile_IsSetAsideAndTold) {
  for (const std::string damaged : {"<plist><dict><key>half", "", "<plist version=\"1.0\"><array/></plist>"}) {
    TempTree home{{"settings.plist", test::File{damaged}}};
    UserDefaults defaults(home / "settings.plist");
    ASSERT_TRUE(defaults.object("x"));
    const auto warnings = defaults.takeWarnings();
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_NE(warnings[0].find("damaged"), std::string::npos);
    EXPECT_TRUE(defaults.takeWarnings().empty());
    ASSERT_TRUE(defaults.setObject("x", 1));
    const auto names = test::listing(home.path());
    ASSERT_EQ(names.size(), 3U);  // with the lock
    EXPECT_EQ(test::readFile(home / names[1]), damaged);
  }
}

TEST(UserDefaults, UnreadableFile_FailsAndIsLeftAlone) {
  TempTree home;
  test::makeTree(home.path(), {{"settings.plist", test::Dir{}}});  // not readable as a file, for root neither
  UserDefaults defaults(home / "settings.plist");
  EXPECT_FALSE(defaults.object("x"));
  EXPECT_FALSE(defaults.setObject("x", 1));
  EXPECT_EQ(test::listing(home.path()), std::vector<std::string>{"settings.plist"});
}

TEST(UserDefaults, ValueThatCannotBeStored_ChangesNothing) {
  const TempTree home;
  UserDefaults defaults(home / "settings.plist");
  ASSERT_TRUE(defaults.setObject("x", 1));
  EXPECT_EQ(defaults.setObject("\xFF", 1).error().code, EINVAL);
  EXPECT_FALSE(defaults.setObject("y", PropertyList::Array{PropertyList()}));
  EXPECT_EQ(defaults.object("x")->integer(), 1);
  EXPECT_TRUE(defaults.object("y")->isNone());
}

TEST(UserDefaults, ThreadsWithObjectsOfTheirOwn_LoseNoChange) {
  const TempTree home;
  const std::string path = home / "settings.plist";
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&path] {
      UserDefaults own(path);
      for (int i = 0; i < 10; ++i) {
        EXPECT_TRUE(own.change([](auto& values) { values["n"] = values["n"].integer() + 1; }));
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(UserDefaults(path).object("n")->integer(), 40);
}

TEST(UserDefaults, TwoDamagedFilesInOneSecond_AreBothKept) {
  const TempTree home;
  UserDefaults defaults(home / "settings.plist");
  for (const char* damaged : {"1", "2", "3"}) {
    test::writeFile(home / "settings.plist", damaged);
    ASSERT_TRUE(defaults.object("x"));
  }
  EXPECT_EQ(defaults.takeWarnings().size(), 3U);
  std::string kept;
  for (const auto& name : test::listing(home.path())) kept += test::readFile(home / name);
  EXPECT_EQ(kept, "123");
}

TEST(UserDefaults, DamagedOrRemovedWhileOwned_IsWrittenAgain) {
  const TempTree home;
  const std::string path = home / "settings.plist";
  UserDefaults owner(path);
  const auto owned = owner.own();
  ASSERT_TRUE(owned);
  ASSERT_TRUE(owner.setObject("x", 1));
  test::writeFile(path, "<plist><dict><key>half");
  EXPECT_EQ(owner.object("x")->integer(), 1);
  ASSERT_EQ(::unlink(path.c_str()), 0);
  EXPECT_EQ(owner.object("x")->integer(), 1);
  EXPECT_EQ(owner.takeWarnings().size(), 2U);
  EXPECT_EQ(UserDefaults(path).object("x")->integer(), 1);
  EXPECT_EQ(test::listing(home.path()).size(), 3U) << "the damaged one is not kept";
}

TEST(UserDefaults, DamagedWhileAnotherProcessOwnsIt_IsLeftToThatOne) {
  const TempTree home{{"settings.plist", test::File{"damaged"}}, {"settings.plist.lock", test::File{""}}};
  const int lock = ::open((home / "settings.plist.lock").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(::flock(lock, LOCK_EX | LOCK_NB), 0);
  UserDefaults other(home / "settings.plist");
  EXPECT_FALSE(other.object("x"));
  EXPECT_FALSE(other.setObject("x", 1));
  EXPECT_EQ(test::readFile(home / "settings.plist"), "damaged");
  ::close(lock);
  EXPECT_TRUE(other.object("x"));
  EXPECT_EQ(other.takeWarnings().size(), 1U);
}

TEST(UserDefaults, Ownership_IsExclusiveUntilItGoes) {
  TempTree home;
  UserDefaults one(home / "settings.plist"), other(home / "settings.plist");
  auto owned = one.own();
  ASSERT_TRUE(owned);
  EXPECT_EQ(test::codeOf(other.own()), EWOULDBLOCK);
  owned->reset();
  EXPECT_TRUE(other.own());
}

}  // namespace
}  // namespace lumisk
