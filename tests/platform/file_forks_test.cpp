#include "platform/file_forks.h"

#include <cerrno>

#include "support/temp_tree.h"

namespace lumisk::test {
namespace {

const std::string kFinder = "TEXTttxt" + std::string(23, '\0') + "!";

class FileForksTest : public ::testing::Test {
 protected:
  FileCalls& files_ = realFileCalls();
  TempTree tree_{{"f", File{"data"}}};
  Descriptor root_ = std::move(*files_.openRoot(tree_.path()));
  Descriptor file_ = std::move(*files_.openFile(root_.get(), "f"));

  void set(const char* attribute, const std::string& value) {
    ASSERT_TRUE(files_.setAttribute(file_.get(), attribute, value));
  }
  std::string get(const char* attribute) { return files_.attribute(file_.get(), attribute).value_or("(none)"); }
};

TEST_F(FileForksTest, NewForks_AreWrittenUnderTheFirstNames) {
  EXPECT_EQ(file_forks::resourceFork(files_, file_.get()), "");
  EXPECT_EQ(file_forks::finderInfo(files_, file_.get()), "");
  ASSERT_TRUE(file_forks::setResourceFork(files_, file_.get(), "fork"));
  ASSERT_TRUE(file_forks::setFinderInfo(files_, file_.get(), kFinder));
  EXPECT_EQ(get("user.com.apple.ResourceFork"), "fork");
  EXPECT_EQ(get("user.com.apple.FinderInfo"), kFinder);
  EXPECT_EQ(file_forks::setFinderInfo(files_, file_.get(), "short").error().code, EINVAL);
}

TEST_F(FileForksTest, ForksOfFileServers_AreReadAndChangedInPlace) {
  const std::string record = std::string("AFP\0\0\1\0\0", 8) + std::string(8, '\0') + kFinder + std::string(12, 'p');
  set("user.DosStream.AFP_AfpInfo:$DATA", record + '\0');
  set("user.DosStream.AFP_Resource:$DATA", std::string("old\0", 4));
  EXPECT_EQ(file_forks::finderInfo(files_, file_.get()), kFinder);
  EXPECT_EQ(file_forks::resourceFork(files_, file_.get()), "old");
  ASSERT_TRUE(file_forks::setResourceFork(files_, file_.get(), "longer"));
  EXPECT_EQ(get("user.DosStream.AFP_Resource:$DATA"), std::string("longer\0", 7));
  ASSERT_TRUE(file_forks::setResourceFork(files_, file_.get(), ""));
  EXPECT_EQ(get("user.DosStream.AFP_Resource:$DATA"), "(none)");

  // One entry of another kind, then the Finder information at 50.
  const std::string header = std::string("\0\5\x16\7\0\2\0\0", 8) + std::string(16, 'f') + std::string("\0\2", 2);
  const std::string entries =
      std::string("\0\0\0\4\0\0\0\x52\0\0\0\0", 12) + std::string("\0\0\0\x9\0\0\0\x32\0\0\0\x20", 12);
  set("user.org.netatalk.Metadata", header + entries + kFinder + "rest");
  const std::string other(32, 'o');
  EXPECT_EQ(file_forks::finderInfo(files_, file_.get()), kFinder);
  ASSERT_TRUE(file_forks::setFinderInfo(files_, file_.get(), other));
  EXPECT_EQ(get("user.org.netatalk.Metadata"), header + entries + other + "rest");
  EXPECT_EQ(get("user.DosStream.AFP_AfpInfo:$DATA"), record + '\0');
}

TEST_F(FileForksTest, DamagedRecords_CountAsNone) {
  set("user.com.apple.FinderInfo", "not 32 bytes");
  for (const std::string& value : {std::string(), std::string("\0\5\x16\7", 4),
                                   std::string("\0\5\x16\7", 4) + std::string(20, 'f') + "\xff\xff" +
                                       std::string("\0\0\0\x9\xff\xff\xff\xff\xff\xff\xff\xff", 12)}) {
    set("user.org.netatalk.Metadata", value);
    EXPECT_EQ(file_forks::finderInfo(files_, file_.get()), "");
  }
}

}  // namespace
}  // namespace lumisk::test
