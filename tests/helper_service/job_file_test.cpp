#include "helper_service/job_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/framed_dictionary.h"
#include "support/result_code.h"
#include "support/temp_tree.h"

namespace lumisk::test {
namespace {

PropertyList::Dictionary goodJob() {
  return {{"kSourcePath", "/mnt/a"}, {"kTargetPath", "/mnt/b"}, {"kTargetBSDPath", "sdb1"}, {"kCloneType", 1}};
}

int codeWith(const std::string& key, PropertyList value) {
  auto job = goodJob();
  job[key] = std::move(value);
  return codeOf(cloneOrderOf(job));
}

TEST(CloneOrderTest, Values_AreTakenOrRefusedWithoutGuessing) {
  const auto order = cloneOrderOf(goodJob());
  ASSERT_TRUE(order);
  EXPECT_TRUE(order->removesExtras);
  EXPECT_FALSE(order->formatVolume || order->repairPermissions || order->verify);
  EXPECT_TRUE(cloneOrderOf({{"kSourcePath", "/a"}, {"kTargetPath", "/b"}, {"kTargetBSDPath", "c"}}).has_value());
  auto withoutType = goodJob();
  withoutType.erase("kCloneType");
  EXPECT_FALSE(cloneOrderOf(withoutType)->removesExtras);
  for (const char* key : {"kSourcePath", "kTargetPath"})
    for (const std::string& path : {std::string("a"), std::string("/a/../b"), std::string("/a/"), std::string(),
                                    "/" + std::string(4096, 'x'), std::string("/a\0b", 4)})
      EXPECT_EQ(codeWith(key, path), EINVAL) << key << " " << path;
  EXPECT_EQ(codeWith("kSourcePath", 5), EINVAL);
  EXPECT_EQ(codeWith("kTargetBSDPath", PropertyList()), EINVAL);
  EXPECT_EQ(codeWith("kFormatVolume", true), 0);
  EXPECT_EQ(codeWith("kFormatVolume", 1), EINVAL);
  EXPECT_EQ(codeWith("kVerify", "yes"), EINVAL);
  EXPECT_EQ(codeWith("kCloneType", 2), EINVAL);
  EXPECT_EQ(codeWith("kCloneType", -1), EINVAL);
  EXPECT_EQ(codeWith("kCloneType", true), EINVAL);
  EXPECT_EQ(codeWith("kSomethingElse", 5), 0);
}

class JobFileTest : public ::testing::Test {
 protected:
  JobFileTest() { EXPECT_TRUE(writePropertyListFile(path_, goodJob())); }
  int open(const std::string& path) { return codeOf(openCloneJob(path, {::getuid(), ::getgid()})); }
  int openWith(const std::string& text) {
    writeFile(path_, text);
    return open(path_);
  }

  TempTree tree_{{"jobs", Dir{{"elsewhere", Link{"job.plist"}}}}, {"way", Link{"jobs"}}};
  std::string path_ = tree_ / "jobs/job.plist";
};

TEST_F(JobFileTest, Contents_AreOneXmlDictionaryOfAtMostAMegabyte) {
  EXPECT_EQ(open(path_), 0);
  EXPECT_EQ(openWith("bplist00"), kNotADictionary);
  EXPECT_EQ(openWith(""), kNotADictionary);
  EXPECT_EQ(openWith("<plist version=\"1.0\"><array/></plist>"), kNotADictionary);
  EXPECT_EQ(openWith("<plist version=\"1.0\"><dict/></plist>"), EINVAL);
  const std::string good = propertyListToXml(goodJob()).value();
  EXPECT_EQ(openWith(good + std::string(kLargestJobFile - good.size(), '\n')), 0);
  EXPECT_EQ(openWith(good + std::string(kLargestJobFile - good.size() + 1, '\n')), EFBIG);
}

TEST_F(JobFileTest, Path_LeadsThroughNoLinkAndToNothingButAFile) {
  EXPECT_EQ(open(tree_ / "way/job.plist"), ENOTDIR);
  EXPECT_EQ(open(tree_ / "jobs/elsewhere"), ELOOP);
  EXPECT_EQ(open(tree_ / "jobs"), EISDIR);
  EXPECT_EQ(open(tree_ / "jobs/none.plist"), ENOENT);
  EXPECT_EQ(open("job.plist"), EINVAL);
  EXPECT_EQ(open(""), EINVAL);
  EXPECT_EQ(open("/"), EINVAL);
  EXPECT_EQ(open(tree_ / "jobs/../jobs/job.plist"), EINVAL);
  EXPECT_EQ(open(tree_ / "jobs/" + std::string(248, 'x') + ".plist"), ENAMETOOLONG);
  EXPECT_EQ(open("/dev/null"), ::geteuid() == 0 ? ENOTSUP : EPERM);
  EXPECT_EQ(open("/proc/self/mem"), ::geteuid() == 0 ? ENOTDIR : EPERM);
}

TEST_F(JobFileTest, AnothersFile_IsRefused_AndIsReadWithItsOwnersRights) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root";
  constexpr std::uint32_t kStranger = 54321;
  const auto openAs = [&](std::uint32_t user) { return codeOf(openCloneJob(path_, {user, user})); };
  ASSERT_EQ(::chmod(tree_.path().c_str(), 0755), 0);
  ASSERT_EQ(::chmod(path_.c_str(), 0644), 0);
  EXPECT_EQ(openAs(kStranger), EPERM);  // the folder is root's
  ASSERT_EQ(::chown((tree_ / "jobs").c_str(), kStranger, kStranger), 0);
  EXPECT_EQ(openAs(kStranger), EPERM);  // the file is
  ASSERT_EQ(::chmod(path_.c_str(), 0600), 0);
  EXPECT_EQ(openAs(kStranger), EACCES);  // not even opened
  ASSERT_EQ(::chown(path_.c_str(), kStranger, kStranger), 0);
  EXPECT_EQ(openAs(kStranger), 0);
  ASSERT_EQ(::chmod(path_.c_str(), 0620), 0);
  EXPECT_EQ(openAs(kStranger), EPERM);
  ASSERT_EQ(::chmod(path_.c_str(), 0600), 0);
  ASSERT_EQ(::chmod(tree_.path().c_str(), 0700), 0);
  EXPECT_EQ(openAs(kStranger), EACCES);  // root could enter there, the stranger cannot
}

}  // namespace
}  // namespace lumisk::test
