#include "helper/clone_volume_object.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cerrno>

#include "helper/install_layout.h"
#include "helper_tool_fixture.h"
#include "platform/passed_descriptors.h"
#include "support/silent_dialogs.h"

namespace lumisk {
namespace {

using namespace test;

// A machine of the test's own: the helper, an install tool that notes how it was called, the stored version.
class Machine {
 public:
  explicit Machine(std::map<std::string, CommandProc> procedures = {}) : helper_(std::move(procedures)) {
    makeTree(tree_.path(), {{"root", Dir{}}, {"bundle", Dir{}}});
    dialogs.answer = true;
    setInstallTool("echo \"$1 $2 $3\" >> " + tree_ / "calls" + "; echo \"cricket<$$>bat\"");
  }
  void setInstallTool(const std::string& script) {
    writeFile(tree_ / "bundle/LumiskHelperInstall", "#!/bin/sh\n" + script + "\n");
    ::chmod((tree_ / "bundle/LumiskHelperInstall").c_str(), 0755);
  }
  void setInstalled() {
    makeTree(tree_ / "root", {{"Library", Dir{{"LumiskHelperTools", Dir{{kBundleIdentifier, File{"tool"}}}}}}});
  }
  void setSilent() { socket_ = tree_ / "no-socket"; }

  std::unique_ptr<CloneVolumeObject> object() {
    CloneVolumeServices services{dialogs, {}, {}, {}, 0, {}};
    services.authorization.socketPath = socket_.empty() ? helper_.path() : socket_;
    services.authorization.root = tree_ / "root";
    services.authorization.bundleFolder = tree_ / "bundle";
    services.storedVersion = [this] { return version; };
    services.storeVersion = [this](std::int64_t stored) { version = stored; };
    services.console = [this](const std::string& line) { console += line; };
    return std::make_unique<CloneVolumeObject>(std::move(services));
  }
  OSStatus run() {
    const auto cloner = object();
    EXPECT_EQ(cloner->initTheAuthorization(), kNoError);
    return cloner->runHelpToolWithXMLPath("/job.plist", [] { return false; });
  }
  [[nodiscard]] std::string calls() const { return exists(tree_ / "calls") ? readFile(tree_ / "calls") : ""; }
  [[nodiscard]] std::string callOf(const std::string& verb) const {
    return verb + " " + kBundleIdentifier + " " + tree_ / "bundle/LumiskHelperTool106" + "\n";
  }

  std::int64_t version = 1013;
  std::string console;
  SilentDialogs dialogs;

 private:
  TempTree tree_;
  RunningHelper helper_;
  std::string socket_;
};

CommandProc answering(OSStatus status) {
  return [status](const HelperRequest&, HelperResponse&) { return status; };
}

TEST(CloneVolumeObject, SystemAndStoredVersions_ChooseTheToolAndWhetherItIsCurrent) {
  EXPECT_EQ(helperToolForSystem(0x1049), "LumiskHelperTool106");
  EXPECT_EQ(helperToolForSystem(0x1050), "LumiskHelperTool105");
  EXPECT_EQ(helperToolForSystem(0x1058), "LumiskHelperTool105");
  EXPECT_EQ(helperToolForSystem(0x105F), "LumiskHelperTool105");
  EXPECT_EQ(helperToolForSystem(0x1060), "LumiskHelperTool106");
  EXPECT_FALSE(isHelperCurrent(0));
  EXPECT_FALSE(isHelperCurrent(1012));
  EXPECT_TRUE(isHelperCurrent(1013));
}

TEST(CloneVolumeObject, OrderThatIsAccepted_FollowsTheProcessThatClones) {
  Machine machine({{kCloneCommand, [](const HelperRequest& asked, HelperResponse& response) {
                      if (asked.dictionary.at(kXMLPathKey).text() != "/job.plist") return EINVAL;
                      Pipe pipe = *makePipe();
                      response.descriptors.push_back(std::move(pipe.reading));
                      response.afterwards = [held = std::make_shared<Descriptor>(std::move(pipe.writing))] {
                        std::this_thread::sleep_for(100ms);
                      };
                      return 0;
                    }}});
  machine.setInstalled();
  const auto cloner = machine.object();
  EXPECT_FALSE(cloner->isHelperRunning());
  EXPECT_EQ(cloner->runHelpToolWithXMLPath("/job.plist", {}), kNoError);
  EXPECT_TRUE(becomesTrue([&] { return !cloner->isHelperRunning(); }));
  EXPECT_EQ(machine.calls(), "");
  EXPECT_EQ(machine.console, "");
}

TEST(CloneVolumeObject, OrderThatIsRefused_GivesTheCodeAndSaysItOnTheConsole) {
  Machine machine({{kCloneCommand, answering(kAuthorizationDenied)}});
  machine.setInstalled();
  EXPECT_EQ(machine.run(), kAuthorizationDenied);
  EXPECT_EQ(machine.console, "Failed with error -60005.\n");
}

TEST(CloneVolumeObject, WaitingForThePassword_EndsWhenItIsGivenUp) {
  Machine machine({{kCloneCommand, [](const HelperRequest&, HelperResponse&) {
                      std::this_thread::sleep_for(10min);
                      return 0;
                    }}});
  machine.setInstalled();
  EXPECT_EQ(machine.object()->runHelpToolWithXMLPath("/job.plist", [] { return true; }), kUserCancelled);
}

TEST(CloneVolumeObject, HelperThatIsMissing_IsInstalledOnlyWhenTheUserSaysSo) {
  Machine machine({{kCloneCommand, answering(0)}});
  machine.dialogs.answer = false;
  EXPECT_EQ(machine.run(), kUserCancelled);
  EXPECT_EQ(machine.console, "Failed with error -128.\n");
  EXPECT_EQ(machine.calls(), "");
  EXPECT_THAT(machine.dialogs.asked,
              testing::ElementsAre("Needs Install: LumiskHelperTool needs to install [Install] [Cancel]"));
}

// These run the install tool, which only root does without asking anybody.
class CloneVolumeObjectRepair : public testing::Test {
 protected:
  void SetUp() override {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root";
  }
  Machine machine{{{kCloneCommand, answering(0)}}};
};

TEST_F(CloneVolumeObjectRepair, HelperThatIsMissingOrOldOrSilent_IsInstalledOrEnabled) {
  machine.dialogs.answer = true;
  EXPECT_EQ(machine.run(), kNoError);
  std::string calls = machine.callOf("install");
  EXPECT_EQ(machine.calls(), calls);

  machine.setInstalled();
  machine.version = 0;
  EXPECT_EQ(machine.run(), kNoError);
  EXPECT_EQ(machine.calls(), calls += machine.callOf("install"));
  EXPECT_EQ(machine.version, 1013);

  machine.setSilent();
  EXPECT_EQ(machine.run(), ENOENT);  // nobody listens after that, either
  EXPECT_EQ(machine.calls(), calls += machine.callOf("enable"));
  EXPECT_EQ(machine.dialogs.asked.size(), 1U);
}

TEST_F(CloneVolumeObjectRepair, InstallToolThatFails_StopsTheRequestAndLeavesTheVersionStored) {
  machine.setInstalled();
  const auto statusWith = [&](const std::string& script) {
    machine.version = 1;
    machine.setInstallTool(script);
    const OSStatus status = machine.run();
    EXPECT_EQ(machine.version, 1013);
    return status;
  };
  EXPECT_EQ(statusWith("echo 'cricket<1>bat'; echo 'FailUrE 13'; exit 1"), 13);
  EXPECT_EQ(statusWith("echo 'cricket<1>bat'; exit 1"), EIO);
  EXPECT_EQ(statusWith("exit 0"), EIO);
  EXPECT_EQ(statusWith("exit 126"), kAuthorizationCancelled);
}

TEST(CommandTable, WhatIsWrongInItself_FailsItsAssertion) {
  checkCommands(lumiskCommands());
  const std::string failed = "command_table.cpp:[0-9]+: failed assertion `";
  EXPECT_DEATH(checkCommands({}), failed + "!commands.empty\\(\\)'");
  EXPECT_DEATH(checkCommands({{"a", "right", "", ""}}), failed);
  EXPECT_DEATH(checkCommands({{"a", "", "allow", ""}}), failed);
  EXPECT_DEATH(checkCommands({{"a", "", "", "prompt"}}), failed);
}

}  // namespace
}  // namespace lumisk
