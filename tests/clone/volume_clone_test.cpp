#include "clone_fixture.h"
#include "platform/block_device.h"
#include "platform/volume_changes.h"
#include "support/temp_tree.h"

namespace lumisk::test {
namespace {

using End = CloneReport::End;

std::string text(const std::vector<std::string>& lines) {
  std::string all;
  for (const std::string& line : lines) all += line + "\n";
  return all;
}

// A tree with every kind of entry and attribute, by ordinary tools.
bool makeRichTree(const std::string& top) {
  return runQuietly("cd '" + top + R"sh(' && set -e
    cp -a /usr/share/zoneinfo . || mkdir zoneinfo
    mkdir -p bin odd/deep/er empty acl "name with
newline" "$(printf 'b\377ad')"
    cp /bin/true bin/ping; setcap cap_net_raw+ep bin/ping
    cp /bin/true bin/suid; chown 1234:4321 bin/suid; chmod 6711 bin/suid
    echo one > odd/a; ln odd/a odd/b; ln odd/a odd/deep/c; ln -s ../a odd/deep/link; ln odd/deep/link odd/link2
    chown -h 77:88 odd/deep/link; setfattr -h -n trusted.mark -v on odd/deep/link
    mkfifo odd/fifo; mknod odd/null c 1 3; mknod odd/block b 7 99; chmod 0640 odd/null; chown 5:6 odd/fifo
    truncate -s 20M odd/sparse; printf end | dd of=odd/sparse bs=1 seek=20000000 conv=notrunc
    head -c 3000000 /dev/urandom > odd/big; touch -d '2001-02-03 04:05:06.123456789' odd/big odd/deep
    setfattr -n user.note -v text odd/big; setfattr -n trusted.t -v x odd; setfattr -n user.e -v '' empty
    echo acl > acl/f; setfacl -m u:42:rw,g:43:r acl/f; setfacl -d -m u:44:rwx acl; setfacl -m u:45:rx acl
    echo inner > acl/inner; mkdir acl/below
    chmod 1777 empty; mkdir locked; chmod 0 locked odd/b; chmod 2755 odd/deep/er
    touch -h -d '1999-01-01 00:00:00.5' odd/deep/link; touch -d '1970-01-01' acl
    printf x > "name with
newline/f"; touch .)sh");
}

// Changes of every kind.
bool changeTree(const std::string& top) {
  return runQuietly("cd '" + top + R"sh(' && set -e
    rm -rf zoneinfo/Europe; mv zoneinfo/Asia zoneinfo/Asien; echo two > bin/suid; rm odd/link2
    rm odd/b; echo own > odd/b; rm odd/a; mkdir odd/a; rm -r empty; echo file > empty
    chmod 0755 locked; chown 9:9 locked; setfacl -b acl/f; setfattr -x user.note odd/big
    setcap -r bin/ping; rm odd/fifo; mknod odd/fifo c 1 5; ln odd/sparse odd/sparse2
    touch -d '2010-01-01' odd/deep; setfattr -n user.new -v 1 odd/deep/er; truncate -s 5M odd/sparse)sh");
}

std::string uuidOf(const std::string& mountPoint) {
  runQuietly("udevadm settle");
  const std::string node = deviceOf(mountPoint);
  return block_device::uuid(volume::blockDeviceNumber(node).value_or(0), node);
}

class VolumeClone : public ::testing::TestWithParam<const char*> {
 protected:
  VolumeClone() : source(GetParam(), 400), target(GetParam(), 400) {}
  void SetUp() override {
    if (!source.isMounted()) GTEST_SKIP() << source.problem();
    if (!target.isMounted()) GTEST_SKIP() << target.problem();
    order = orderFor(source.path(), target.path());
  }
  CloneReport clone(FileCalls& files = realFileCalls()) {
    observer.lines.clear();
    return cloneVolume(files, order, observer);
  }
  void expectExact(const CloneReport& report) {
    EXPECT_EQ(report.end, End::kFinished) << report.reason << "\n" << text(observer.lines);
    EXPECT_EQ(differencesByRsync(source.path(), target.path()), "");
  }

  MountedVolume source, target;
  CloneOrder order;
  RecordingObserver observer;
};

TEST_P(VolumeClone, RichTree_IsExactFirstUnchangedChangedAndErased) {
  ASSERT_TRUE(makeRichTree(source.path()));
  ASSERT_TRUE(runQuietly("mkdir -p '" + target / "extra/deep" + "' && echo x > '" + target / "extra/deep/f" + "'"));
  expectExact(clone());
  EXPECT_FALSE(exists(target / "extra"));

  const CloneReport again = clone();
  expectExact(again);
  EXPECT_EQ(again.copied + again.removed + again.repaired + again.bytes, 0U) << text(observer.lines);

  ASSERT_TRUE(changeTree(source.path()));
  order.verify = true;
  const CloneReport changed = clone();
  expectExact(changed);
  EXPECT_EQ(changed.differences, 0U);

  const auto root = realFileCalls().openRoot(source.path());
  ASSERT_TRUE(root && volume::setLabel(root->get(), "Holiday \xC3\xA9"));
  const std::string before = uuidOf(target.path());
  order.formatVolume = true;
  expectExact(clone());
  EXPECT_EQ(deviceOf(target.path()), order.targetDevice);
  EXPECT_NE(uuidOf(target.path()), before);
  const auto targetRoot = realFileCalls().openRoot(target.path());
  ASSERT_TRUE(targetRoot);
  EXPECT_EQ(volume::labelOf(targetRoot->get()).value_or(""), "Holiday \xC3\xA9");
}

// Nobody may see a file's copy before it is complete, and nobody a folder's before it is protected.
TEST_P(VolumeClone, ProtectedEntries_AreCarriedReplacedAndRemoved) {
  ASSERT_TRUE(runQuietly("cd '" + source.path() +
                         "' && mkdir d && echo a > d/a && echo b > b && ln b b2 && echo n > n" +
                         " && chattr +i d b && chattr +a n"));
  ASSERT_TRUE(runQuietly("cd '" + target.path() + "' && mkdir -p x/y && echo x > x/y/f && echo old > n && mkdir d" +
                         " && echo z > d/z && chattr +i x/y/f x/y n d"));
  expectExact(clone());
  const auto root = realFileCalls().openRoot(target.path());
  ASSERT_TRUE(root);
  for (const char* name : {"d", "b", "b2"}) EXPECT_TRUE(realFileCalls().status(root->get(), name)->isImmutable) << name;
  EXPECT_TRUE(realFileCalls().status(root->get(), "n")->isAppendOnly);
  EXPECT_EQ(clone().copied, 0U);
  for (const std::string& side : {source.path(), target.path()}) runQuietly("chattr -ia '" + side + "'/*");
}

INSTANTIATE_TEST_SUITE_P(FileSystems, VolumeClone, ::testing::Values("ext4", "xfs", "btrfs"),
                         [](const auto& one) { return std::string(one.param); });

}  // namespace
}  // namespace lumisk::test
