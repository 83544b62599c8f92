#include "platform/untrusted_file.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <future>
#include <map>
#include <thread>

#include "platform/acting_as.h"
#include "support/result_code.h"
#include "support/temp_tree.h"

namespace lumisk::test {
namespace {

constexpr std::uint32_t kStranger = 54321;  // no account of the machine

class UntrustedFileTest : public ::testing::Test {
 protected:
  Result<std::string> read(const std::string& name, std::size_t largest = 1000) {
    auto folder = openFolderWithoutLinks(tree_.path());
    if (!folder) return fail(folder.error());
    return readPrivateFile(folder->get(), name, {::getuid(), largest});
  }
  int codeOf(const std::string& name, std::size_t largest = 1000) { return test::codeOf(read(name, largest)); }

  TempTree tree_{{"file", File{"text", 0644}},
                 {"shared", File{"text", 0664}},
                 {"open", File{"text", 0646}},
                 {"link", Link{"file"}},
                 {"fifo", Fifo{}},
                 {"folder", Dir{{"file", File{"text", 0600}}}},
                 {"way", Link{"folder"}}};
};

TEST_F(UntrustedFileTest, Reading_TakesAnOwnFileThatNobodyElseWrites_AndNothingElse) {
  EXPECT_EQ(read("file").value_or("?"), "text");
  EXPECT_EQ(codeOf("shared"), EPERM);
  EXPECT_EQ(codeOf("open"), EPERM);
  EXPECT_EQ(codeOf("link"), ELOOP);
  EXPECT_EQ(codeOf("fifo"), ENOTSUP);
  EXPECT_EQ(codeOf("folder"), EISDIR);
  EXPECT_EQ(codeOf("none"), ENOENT);
  EXPECT_EQ(codeOf("file", 4), 0);
  EXPECT_EQ(codeOf("file", 3), EFBIG);
  ASSERT_EQ(::symlink("/dev/null", (tree_ / "null").c_str()), 0);
  EXPECT_EQ(codeOf("null"), ELOOP);
  if (::geteuid() != 0) return;
  ASSERT_EQ(::mknod((tree_ / "device").c_str(), S_IFCHR | 0600, makedev(1, 3)), 0);
  EXPECT_EQ(codeOf("device"), ENOTSUP);
  ASSERT_EQ(::chown((tree_ / "file").c_str(), kStranger, kStranger), 0);
  EXPECT_EQ(codeOf("file"), EPERM);
}

TEST_F(UntrustedFileTest, Folder_IsOpenedWithoutAnyLinkAndByAPlainPathOnly) {
  const auto codeOfFolder = [](const std::string& path) { return test::codeOf(openFolderWithoutLinks(path)); };
  EXPECT_EQ(codeOfFolder(tree_ / "folder"), 0);
  EXPECT_EQ(codeOfFolder("/"), 0);
  EXPECT_EQ(codeOfFolder(tree_ / "way"), ENOTDIR);
  EXPECT_EQ(codeOfFolder(tree_ / "file"), ENOTDIR);
  for (const std::string& path : {tree_ / "folder/", tree_ / "folder/..", tree_ / "./folder", tree_.path() + "//folder",
                                  std::string("folder"), std::string(), tree_ / "folder" + '\0' + "x"})
    EXPECT_EQ(codeOfFolder(path), EINVAL) << path;
}

TEST_F(UntrustedFileTest, WayOfRoots_EndsAtAFolderThatSomebodyElseCanRename) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root";
  ASSERT_EQ(::mkdir((tree_ / "folder/inner").c_str(), 0700), 0);
  const auto isTrusted = [&] { return openFolderWithoutLinks(tree_ / "folder/inner", Way::kOnlyRoots).has_value(); };
  EXPECT_TRUE(isTrusted());
  ASSERT_EQ(::chmod((tree_ / "folder").c_str(), 0777), 0);
  EXPECT_FALSE(isTrusted());
  ASSERT_EQ(::chmod((tree_ / "folder").c_str(), 01777), 0);
  EXPECT_TRUE(isTrusted());
  ASSERT_EQ(::chown((tree_ / "folder").c_str(), kStranger, 0), 0);
  EXPECT_FALSE(isTrusted());
}

// The name is a good file, a link to a secret and a link on the way, in turn: what is read is the file or an error.
TEST_F(UntrustedFileTest, LinksSwappedInWhileReading_NeverLeadAnywhere) {
  const TempTree secret{{"file", File{"secret", 0600}}};
  ASSERT_EQ(::symlink(secret.path().c_str(), (tree_ / "other way").c_str()), 0);
  ASSERT_EQ(::symlink((secret / "file").c_str(), (tree_ / "other file").c_str()), 0);
  std::atomic<bool> isOver{false};
  std::thread swapper([&] {
    while (!isOver.load()) {
      ::renameat2(AT_FDCWD, (tree_ / "folder").c_str(), AT_FDCWD, (tree_ / "other way").c_str(), RENAME_EXCHANGE);
      ::renameat2(AT_FDCWD, (tree_ / "file").c_str(), AT_FDCWD, (tree_ / "other file").c_str(), RENAME_EXCHANGE);
    }
  });
  std::map<std::string, int> seen;
  for (int i = 0; i < 4000 || (i < 1000000 && seen.size() < 2); ++i) {
    const auto top = openFolderWithoutLinks(tree_.path());
    const auto folder = openFolderWithoutLinks(tree_ / "folder");
    for (const auto* place : {&top, &folder})
      ++seen[*place ? readPrivateFile((*place)->get(), "file", {::getuid(), 1000}).value_or("refused") : "refused"];
  }
  isOver.store(true);
  swapper.join();
  EXPECT_THAT(seen, ::testing::UnorderedElementsAre(::testing::Key("text"), ::testing::Key("refused")));
}

TEST_F(UntrustedFileTest, Replacing_TakesTheNameAndNotWhatALinkLeadsTo) {
  const auto folder = openFolderWithoutLinks(tree_.path());
  ASSERT_TRUE(folder);
  ASSERT_TRUE(replaceEntry(folder->get(), "link", "other", Sync::kYes));
  EXPECT_EQ(readFile(tree_ / "file"), "text");
  EXPECT_EQ(read("link").value_or("?"), "other");
  EXPECT_FALSE(replaceEntry(folder->get(), "folder", "other", Sync::kNo));
  EXPECT_THAT(listing(tree_.path()), ::testing::ElementsAre("fifo", "file", "folder", "link", "open", "shared", "way"));
}

TEST_F(UntrustedFileTest, ActingAsAnother_LosesRootsRightsInThisThreadOnly) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root";
  ASSERT_EQ(::chmod(tree_.path().c_str(), 0755), 0);
  ASSERT_EQ(::chmod((tree_ / "file").c_str(), 0600), 0);
  const auto mayRead = [&](const std::string& name) {
    return ::open((tree_ / name).c_str(), O_RDONLY | O_CLOEXEC) >= 0;
  };
  std::promise<void> isActing;
  auto another = std::async(std::launch::async, [&] { return isActing.get_future().wait(), mayRead("file"); });
  {
    const auto acting = ActingAs::user(kStranger, kStranger);
    ASSERT_TRUE(acting);
    isActing.set_value();
    EXPECT_FALSE(mayRead("file"));
    EXPECT_LT(::mkdir((tree_ / "mine").c_str(), 0700), 0);
    EXPECT_TRUE(another.get());
  }
  EXPECT_TRUE(mayRead("file"));
  EXPECT_GE(::mkdir((tree_ / "mine").c_str(), 0700), 0);
}

}  // namespace
}  // namespace lumisk::test
