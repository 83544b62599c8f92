#include "helper/helper_install.h"

#include <cerrno>

#include "helper/install_layout.h"
#include "support/result_code.h"
#include "support/temp_tree.h"

namespace lumisk {
namespace {

using namespace test;

const std::string kBundle = kBundleIdentifier;

InstallOrder orderFor(const TempTree& tree, InstallOrder::Kind kind = InstallOrder::Kind::kInstall) {
  return {kind, kBundle, tree / "tool", tree / "root"};
}

TEST(HelperInstall, IntoAScratchRoot_MakesTheLayoutAndReplacesAnOlderTool) {
  const std::string old = "an older version, longer than the tool";
  const TempTree tree{{"tool", File{"the tool", 0755}},
                      {"root", Dir{{"Library", Dir{{"LumiskHelperTools", Dir{{kBundle, File{old, 0700}}}}}}}}};
  ASSERT_TRUE(carryOutInstall(realFileCalls(), orderFor(tree)));
  ASSERT_TRUE(carryOutInstall(realFileCalls(), orderFor(tree)));  // once more changes nothing

  EXPECT_EQ(readFile(tree / ("root/Library/LumiskHelperTools/" + kBundle)), "the tool");
  ExpectTreeExactly(tree / "root/Library/LumiskHelperTools", Dir{{kBundle, File{"the tool", 0755}}});
  EXPECT_EQ(
      treeListing(tree / "root"),
      (std::vector<std::string>{"Library/", "Library/LaunchDaemons/", "Library/LaunchDaemons/" + kBundle + ".plist",
                                "Library/LumiskHelperTools/", "Library/LumiskHelperTools/" + kBundle, "etc/",
                                "etc/systemd/", "etc/systemd/system/", "etc/systemd/system/" + kBundle + ".service",
                                "etc/systemd/system/" + kBundle + ".socket", "etc/systemd/system/sockets.target.wants/",
                                "etc/systemd/system/sockets.target.wants/" + kBundle + ".socket", "usr/", "usr/share/",
                                "usr/share/polkit-1/", "usr/share/polkit-1/actions/",
                                "usr/share/polkit-1/actions/" + kBundle + ".policy"}));
  const std::string policy = readFile(tree / ("root/usr/share/polkit-1/actions/" + kBundle + ".policy"));
  EXPECT_NE(policy.find("<action id=\"com.qelcorporation.lumisk.getuids\">"), std::string::npos);
  EXPECT_NE(policy.find("<allow_active>auth_admin_keep</allow_active>"), std::string::npos);
}

TEST(HelperInstall, Enable_StartsOnlyWhatIsInPlace) {
  const TempTree tree{{"tool", File{"the tool", 0755}}, {"root", Dir{}}};
  EXPECT_EQ(codeOf(carryOutInstall(realFileCalls(), orderFor(tree, InstallOrder::Kind::kEnable))), ENOENT);
  ASSERT_TRUE(carryOutInstall(realFileCalls(), orderFor(tree)));
  const std::string link = tree / ("root/etc/systemd/system/sockets.target.wants/" + kBundle + ".socket");
  const auto before = treeListing(tree / "root");
  std::remove(link.c_str());
  ASSERT_TRUE(carryOutInstall(realFileCalls(), orderFor(tree, InstallOrder::Kind::kEnable)));
  EXPECT_EQ(treeListing(tree / "root"), before);
}

TEST(HelperInstall, WhatOthersMayChangeOrLeadsElsewhere_IsRefused) {
  const auto codeOf = [](const TempTree& tree, InstallOrder order) {
    const int code = test::codeOf(carryOutInstall(realFileCalls(), order));
    EXPECT_EQ(treeListing(tree / "elsewhere"), std::vector<std::string>());
    return code;
  };
  const auto treeWith = [](Node tool, Node library) {
    return std::make_unique<TempTree>(std::initializer_list<std::pair<std::string, Node>>{
        {"tool", std::move(tool)}, {"elsewhere", Dir{}}, {"root", Dir{{"Library", std::move(library)}}}});
  };
  Dir open;
  open.mode = 0777;
  const auto writableTool = treeWith(File{"tool", 0777}, Dir{});
  EXPECT_EQ(codeOf(*writableTool, orderFor(*writableTool)), EPERM);
  const auto linkedTool = treeWith(Link{"/bin/true"}, Dir{});
  EXPECT_EQ(codeOf(*linkedTool, orderFor(*linkedTool)), EINVAL);
  const auto openFolder = treeWith(File{"tool", 0755}, open);
  EXPECT_EQ(codeOf(*openFolder, orderFor(*openFolder)), EPERM);
  const auto linkedFolder = treeWith(File{"tool", 0755}, Link{"../elsewhere"});
  EXPECT_NE(codeOf(*linkedFolder, orderFor(*linkedFolder)), 0);
  const auto sound = treeWith(File{"tool", 0755}, Dir{});
  for (const char* bundle : {"", "../x", "a/b", "a b", "-a", ".a"}) {
    InstallOrder order = orderFor(*sound);
    order.bundleIdentifier = bundle;
    EXPECT_EQ(codeOf(*sound, order), EINVAL) << bundle;
  }
}

TEST(HelperInstall, OutputOfTheTool_TellsHandshakeAndFailure) {
  EXPECT_EQ(installHandshake(42), "cricket<42>bat\n");
  EXPECT_EQ(installFailure(13), "FailUrE 13\n");
  const auto failed = outcomeOfInstall("noise\ncricket<42>bat\nFailUrE 13\n");
  EXPECT_TRUE(failed.hasShakenHands);
  EXPECT_EQ(failed.failure, 13);
  EXPECT_EQ(outcomeOfInstall("cricket<42>bat").failure, 0);
  EXPECT_FALSE(outcomeOfInstall("cricket<42>ball\n").hasShakenHands);
}

}  // namespace
}  // namespace lumisk
