#include "platform/catalog_info.h"

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "support/faulty_file_calls.h"
#include "support/temp_tree.h"

namespace lumisk::test {
namespace {

constexpr const char* kAccessAcl = "system.posix_acl_access";
constexpr const char* kDefaultAcl = "system.posix_acl_default";

std::string littleEndian(std::uint32_t number, int bytes) {
  std::string text;
  for (; bytes > 0; --bytes, number >>= 8) text += static_cast<char>(number & 0xFF);
  return text;
}

// owner rwx, user 12 rwx, owning group `group`, mask `mask`, others none.
std::string aclOf(std::uint32_t group, std::uint32_t mask) {
  const auto entry = [](std::uint32_t tag, std::uint32_t bits, std::uint32_t id) {
    return littleEndian(tag, 2) + littleEndian(bits, 2) + littleEndian(id, 4);
  };
  constexpr std::uint32_t kNobody = ~0U;
  return littleEndian(2, 4) + entry(1, 7, kNobody) + entry(2, 7, 12) + entry(4, group, kNobody) +
         entry(16, mask, kNobody) + entry(32, 0, kNobody);
}

std::string fileCapability() {
  constexpr std::uint32_t kVersion2 = 0x02000000, kNetBind = 1U << 10;
  return littleEndian(kVersion2, 4) + littleEndian(kNetBind, 4) + std::string(12, '\0');
}

class CatalogInfoTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root";
    root_ = std::move(*files_.openRoot(tree_.path()));
  }
  Descriptor open(const std::string& name) { return std::move(*files_.openFile(root_.get(), name)); }
  Descriptor create(const std::string& name) { return std::move(*files_.createFile(root_.get(), name, 0600)); }
  Descriptor folder(const std::string& name) { return std::move(*files_.openFolder(root_.get(), name)); }
  CatalogInfo infoOf(const Descriptor& file) { return std::move(*readCatalogInfo(files_, file.get())); }
  void setAttribute(const std::string& name, const char* attribute, const std::string& value) {
    ASSERT_EQ(::lsetxattr((tree_ / name).c_str(), attribute, value.data(), value.size(), 0), 0) << attribute;
  }
  std::vector<FileCall> callsSince(std::size_t start) {
    std::vector<FileCall> calls;
    for (const auto& made : files_.made()) calls.push_back(made.call);
    return {calls.begin() + static_cast<std::ptrdiff_t>(start), calls.end()};
  }

  TempTree tree_;
  FaultyFileCalls files_;
  Descriptor root_;
};

TEST_F(CatalogInfoTest, Write_EverythingThatAFileCanCarry_ReadsBackTheSame) {
  makeTree(
      tree_.path(),
      {{"s",
        File{"x", 0640, 1234, 567, {{"user.a", std::string(2500, '\0')}, {"user.empty", ""}, {"trusted.t", "2"}}}}});
  ASSERT_EQ(::chown((tree_ / "s").c_str(), 12, 34), 0);
  setAttribute("s", "security.capability", fileCapability());
  setAttribute("s", kAccessAcl, aclOf(0, 6));
  ASSERT_EQ(::chmod((tree_ / "s").c_str(), 06770), 0);
  setModified(tree_ / "s", 1234, 567);
  const auto source = infoOf(open("s"));
  ASSERT_EQ(source.attributes.size(), 5U);
  const auto target = create("t");
  ASSERT_TRUE(files_.setAttribute(target.get(), "user.old", "gone afterwards"));

  const auto loss = writeCatalogInfo(files_, target.get(), source);
  ASSERT_TRUE(loss) << loss.error().text();
  EXPECT_FALSE(loss->any());
  EXPECT_TRUE(sameCatalogInfo(infoOf(target), source));
  EXPECT_EQ(source.status.mode, 06770U);
  EXPECT_EQ(infoOf(target).status.mode, 06770U);
}

TEST_F(CatalogInfoTest, Write_OverAnEqualFolder_ChangesNothing) {
  makeTree(tree_.path(), {{"s", Dir{}}, {"t", Dir{}}});
  for (const char* name : {"s", "t"}) {
    setAttribute(name, "user.a", "1");
    setAttribute(name, kAccessAcl, aclOf(5, 7));
    setAttribute(name, kDefaultAcl, aclOf(0, 7));
    setModified(tree_ / name, 1000);
  }
  const auto target = folder("t");
  const auto before = infoOf(target);
  const auto source = infoOf(folder("s"));
  EXPECT_TRUE(sameCatalogInfo(before, source));
  const auto start = files_.made().size();
  ASSERT_TRUE(writeCatalogInfo(files_, target.get(), source, &before));
  EXPECT_THAT(callsSince(start), ::testing::IsEmpty());
  ASSERT_TRUE(writeCatalogInfo(files_, target.get(), source));
  EXPECT_EQ(infoOf(target).status.changed, before.status.changed);

  auto changed = source;
  changed.attributes.pop_back();
  EXPECT_FALSE(sameCatalogInfo(before, changed));
  EXPECT_FALSE(sameCatalogInfo(changed, before));
}

TEST_F(CatalogInfoTest, Write_WhereTheFolderHandsDownAnAcl_RemovesIt) {
  makeTree(tree_.path(), {{"s", File{"x", 0640, 1000}}, {"d", Dir{}}});
  EXPECT_EQ(newEntriesInherit(files_, folder("d").get()), false);
  setAttribute("d", kDefaultAcl, aclOf(7, 7));
  EXPECT_EQ(newEntriesInherit(files_, folder("d").get()), true);
  const auto target = std::move(*files_.createFile(folder("d").get(), "t", 0600));
  ASSERT_EQ(infoOf(target).attributes.size(), 1U);
  ASSERT_TRUE(writeCatalogInfo(files_, target.get(), infoOf(open("s"))));
  EXPECT_THAT(infoOf(target).attributes, ::testing::IsEmpty());
  EXPECT_EQ(infoOf(target).status.mode, 0640U);
}

TEST_F(CatalogInfoTest, Write_ReplacingAnAclByAnother_AtNoMomentLetsTheGroupIn) {
  for (const bool sourceHasAcl : {false, true}) {
    makeTree(tree_.path(), {{"s", Dir{}}, {"t", Dir{}}});
    ASSERT_EQ(::chmod((tree_ / "s").c_str(), 0700), 0);
    if (sourceHasAcl) setAttribute("s", kAccessAcl, aclOf(0, 5));
    setAttribute("t", kAccessAcl, aclOf(0, 7));
    const auto source = infoOf(folder("s"));
    const auto target = folder("t");
    const auto checkGroup = [&] {
      const bool hasAcl = ::lgetxattr((tree_ / "t").c_str(), kAccessAcl, nullptr, 0) > 0;
      struct stat status;
      ASSERT_EQ(::lstat((tree_ / "t").c_str(), &status), 0);
      EXPECT_TRUE(hasAcl || (status.st_mode & 070) == 0);
    };
    files_.before(FileCall::kAny, checkGroup, {.name = "t", .times = FaultyFileCalls::kAlways});
    ASSERT_TRUE(writeCatalogInfo(files_, target.get(), source));
    files_.forgetRules();
    EXPECT_EQ(infoOf(target).attributes, source.attributes);
    EXPECT_EQ(infoOf(target).status.mode, source.status.mode);
  }
}

TEST_F(CatalogInfoTest, Write_WhereNoAclCanBeSet_GivesTheGroupNoMoreThanTheAclDid) {
  makeTree(tree_.path(), {{"s", File{"x"}}});
  setAttribute("s", kAccessAcl, aclOf(4, 7));
  const auto target = create("t");
  files_.fail(FileCall::kSetAttribute, EOPNOTSUPP);
  const auto loss = writeCatalogInfo(files_, target.get(), infoOf(open("s")));
  ASSERT_TRUE(loss);
  EXPECT_THAT(loss->attributesLost, ::testing::ElementsAre(kAccessAcl));
  EXPECT_EQ(infoOf(target).status.mode, 0740U);
}

TEST_F(CatalogInfoTest, Write_WhenFilesMayNotBeGivenAway_DropsWhatWouldRunWithOurRights) {
  makeTree(tree_.path(), {{"s", File{"x", 0755}}});
  ASSERT_EQ(::chown((tree_ / "s").c_str(), 12, 34), 0);
  setAttribute("s", "security.capability", fileCapability());
  ASSERT_EQ(::chmod((tree_ / "s").c_str(), 06755), 0);
  const auto target = create("t");
  files_.fail(FileCall::kSetOwner, EPERM);  // the owner; the group alone is granted
  const auto loss = writeCatalogInfo(files_, target.get(), infoOf(open("s")));
  ASSERT_TRUE(loss);
  EXPECT_TRUE(loss->ownerLost);
  EXPECT_THAT(loss->attributesLost, ::testing::ElementsAre("security.capability"));
  const auto written = infoOf(target);
  EXPECT_EQ(written.status.mode, 0755U);
  EXPECT_EQ(written.status.owner, 0U);
  EXPECT_EQ(written.status.group, 34U);
  EXPECT_THAT(written.attributes, ::testing::IsEmpty());
}

TEST_F(CatalogInfoTest, Write_RefusedAttributesAndPermissions_AreLossesButAFailingDeviceIsAnError) {
  makeTree(tree_.path(), {{"s", File{"x", 0644, 1000, 0, {{"user.a", "1"}, {"user.b", "2"}}}}});
  const auto source = infoOf(open("s"));
  for (const int code : {ENOSPC, E2BIG, EPERM, EOPNOTSUPP}) {
    const auto target = create("t" + std::to_string(code));
    files_.fail(FileCall::kSetAttribute, code);
    files_.fail(FileCall::kSetMode, EPERM);
    const auto loss = writeCatalogInfo(files_, target.get(), source);
    ASSERT_TRUE(loss);
    EXPECT_EQ(loss->attributesLost.size(), 1U);
    EXPECT_TRUE(loss->permissionsLost);
    EXPECT_EQ(infoOf(target).attributes.size(), 1U);
    EXPECT_EQ(infoOf(target).status.modified.seconds, 1000);
  }
  for (const auto call : {FileCall::kSetOwner, FileCall::kSetMode, FileCall::kSetAttribute, FileCall::kSetModified}) {
    auto given = source;
    given.status.owner = 12;
    const auto target = create("e" + std::to_string(static_cast<int>(call)));
    files_.fail(call, EIO);
    EXPECT_FALSE(writeCatalogInfo(files_, target.get(), given));
  }
}

TEST_F(CatalogInfoTest, Write_WhenTheDateIsRefused_Fails) {
  makeTree(tree_.path(), {{"s", File{"x", 0644, 1000}}});
  files_.fail(FileCall::kSetModified, EPERM);
  EXPECT_FALSE(writeCatalogInfo(files_, create("t").get(), infoOf(open("s"))));
}

TEST_F(CatalogInfoTest, Write_ReadOnlyFolderOfAnOrdinaryUser_GetsItsAttributes) {
  makeTree(tree_.path(), {{"s", Dir{}}, {"t", Dir{}}});
  setAttribute("s", "user.a", "1");
  setAttribute("t", "user.old", "1");
  for (const char* name : {"s", "t"}) {
    ASSERT_EQ(::chmod((tree_ / name).c_str(), 0555), 0);
    ASSERT_EQ(::chown((tree_ / name).c_str(), 65534, 65534), 0);
  }
  const auto source = infoOf(folder("s"));
  const auto target = folder("t");
  ASSERT_EQ(::seteuid(65534), 0);
  const auto loss = writeCatalogInfo(files_, target.get(), source);
  ASSERT_EQ(::seteuid(0), 0);
  ASSERT_TRUE(loss) << loss.error().text();
  EXPECT_FALSE(loss->any());
  EXPECT_TRUE(sameCatalogInfo(infoOf(target), source));
}

TEST_F(CatalogInfoTest, Read_AttributesThatVanishOrAreClosed_DoNotFail) {
  makeTree(tree_.path(), {{"s", File{"x", 0644, 1000, 0, {{"user.a", "1"}, {"user.b", "2"}, {"user.c", "3"}}}}});
  const auto file = open("s");
  files_.fail(FileCall::kAttribute, ENODATA);
  files_.fail(FileCall::kAttribute, EPERM, {.nth = 2});
  const auto info = readCatalogInfo(files_, file.get());
  ASSERT_TRUE(info);
  EXPECT_EQ(info->attributes.size(), 1U);
  ASSERT_EQ(info->unreadable.size(), 1U);
  EXPECT_EQ(writeCatalogInfo(files_, create("t").get(), *info)->attributesLost, info->unreadable);
  files_.fail(FileCall::kListAttributes, EOPNOTSUPP);
  EXPECT_TRUE(readCatalogInfo(files_, file.get())->attributes.empty());
  files_.fail(FileCall::kAttribute, EIO);
  EXPECT_FALSE(readCatalogInfo(files_, file.get()));
}

TEST_F(CatalogInfoTest, Attributes_OfThePlaceAndNotTheFile_AreLeftAlone) {
  makeTree(tree_.path(), {{"s", File{"x", 0644, 1000}}});
  const auto target = create("t");
  if (!files_.setAttribute(target.get(), "security.selinux", "label")) GTEST_SKIP() << "no labels here";
  ASSERT_TRUE(writeCatalogInfo(files_, target.get(), infoOf(open("s"))));
  EXPECT_EQ(files_.attribute(target.get(), "security.selinux"), "label");
  EXPECT_TRUE(infoOf(target).attributes.empty());
}

TEST(ModeWithoutAcl, AnyAcl_LeavesTheGroupWhatEntryAndMaskBothGive) {
  EXPECT_EQ(modeWithoutAcl(0770, aclOf(5, 7)), 0750U);
  EXPECT_EQ(modeWithoutAcl(04750, aclOf(7, 5)), 04750U);
  EXPECT_EQ(modeWithoutAcl(0771, aclOf(0, 7)), 0701U);
  EXPECT_EQ(modeWithoutAcl(0777, ""), 0707U);
}

}  // namespace
}  // namespace lumisk::test
