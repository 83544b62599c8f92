#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "devices/create_dmg_controller.h"
#include "devices/image_commands.h"
#include "devices/mounted_images.h"
#include "jobs/job_keys.h"
#include "support/own_home.h"
#include "support/silent_dialogs.h"
#include "support/temp_tree.h"

namespace lumisk {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(ImageCommands, SizesAndLabels) {
  EXPECT_EQ(image_commands::sizeOf("4g").value_or(0), 4ULL << 30);
  EXPECT_EQ(image_commands::sizeOf("67108864").value_or(0), 64ULL << 20);
  for (const char* bad : {"", "g", "4", "63m", "4gb", "-4g", "4 g", "99999999999999999999", "9223372036854775807t"}) {
    EXPECT_FALSE(image_commands::sizeOf(bad)) << bad;
  }
  EXPECT_EQ(image_commands::labelOf("exactly 16 bytes"), "exactly 16 bytes");
  EXPECT_EQ(image_commands::labelOf("fifteen bytes: \xC3\xA4nd more"), "fifteen bytes: ");
}

PropertyList image(const char* path, const std::vector<std::pair<const char*, const char*>>& entities) {
  PropertyList::Array list;
  for (const auto& [device, place] : entities) {
    PropertyList::Dictionary entity{{"dev-entry", device}};
    if (*place) entity["mount-point"] = place;
    list.push_back(entity);
  }
  return PropertyList::Dictionary{{"image-path", path}, {"system-entities", list}};
}

TEST(MountedImages, ListsAndLookups) {
  const PropertyList info = PropertyList::Dictionary{
      {"images", PropertyList::Array{image("/one", {{"/dev/loop1", "/Volumes/one"}}),
                                     image("/two", {{"/dev/loop2", ""}, {"/dev/loop2p1", "/Volumes/two"}}),
                                     image("/three", {{"d1", ""}, {"d2", ""}, {"d3", "/Volumes/three"}, {"d4", ""}}),
                                     image("/none", {})}}};
  const auto pairs = mountedPairs(info);
  EXPECT_THAT(pairs, ElementsAre("/one", "/Volumes/one", "/two", "/Volumes/two", "/three", "/Volumes/three"));
  EXPECT_THAT(deviceOfEach(info), ElementsAre("/dev/loop1", "/dev/loop2p1", "d3"));
  EXPECT_THAT(mountedPairs(PropertyList("junk")), IsEmpty());

  std::size_t index = 9;
  EXPECT_TRUE(isADMGVolume("/Volumes/two", pairs, index));
  EXPECT_EQ(index, 2U);
  EXPECT_FALSE(isADMGVolume("/Volumes/t", pairs, index));
  EXPECT_EQ(index, 0U);
  EXPECT_TRUE(isADMGDevice("loop2", deviceOfEach(info)));
  EXPECT_FALSE(isADMGDevice("loop3", deviceOfEach(info)));

  const PropertyList::Array jobs{PropertyList::Dictionary{{kDmgPathKey, "/two"}}};
  EXPECT_TRUE(checkTheDMGIsUsedOrNot("/two", jobs));
  EXPECT_FALSE(checkTheDMGIsUsedOrNot("/tw", jobs));
}

TEST(MountedImages, ImageOfAJob_IsFoundByOtherPathsToo) {
  test::TempTree tree;
  test::makeTree(tree.path(), {{"folder", test::Dir{{"image", test::File{}}, {"other", test::File{}}}},
                               {"link", test::Link{"folder"}}});
  const PropertyList::Array jobs{PropertyList::Dictionary{{kDmgPathKey, tree / "folder/image"}},
                                 PropertyList::Dictionary{{kDmgPathKey, tree / "gone"}}, PropertyList::Dictionary{}};
  EXPECT_TRUE(isImageOfAJob(tree / "link/image", jobs));
  EXPECT_TRUE(isImageOfAJob(tree / "gone", jobs));
  EXPECT_FALSE(isImageOfAJob(tree / "link/other", jobs));
}

class CreateDMGController : public testing::Test {
 protected:
  CreateDMGController() : defaults(UserDefaults::standardPath()), controller(alerts, defaults, tool()) {
    controller.setDirectory("/images");
    controller.volumeNameField = "vol";
    controller.passwordField = controller.verifyField = "pw";
  }
  createDMGController::Tool tool() {
    return {[this](const std::string& base, const std::string& password, const std::string& name) {
              calls.push_back("create " + base + " " + password + " " + name);
              return createStatus;
            },
            [this](const std::string& image, const std::string& password) {
              calls.push_back("mount " + image + " " + password);
              return 0;
            }};
  }

  test::TempTree tree;
  test::OwnHome home{tree.path()};
  UserDefaults defaults;
  test::SilentDialogs alerts;
  int createStatus = 0;
  std::vector<std::string> calls;
  createDMGController controller;
};

TEST_F(CreateDMGController, MakesMountsAndTellsTheJob_OnceOnly) {
  EXPECT_EQ(controller.createDMGFile(), 0);
  EXPECT_THAT(calls, ElementsAre("create /images/vol pw vol", "mount /images/vol.sparseimage pw"));
  EXPECT_EQ(controller.sheet.targetPath, "/Volumes/vol");
  EXPECT_EQ(controller.sheet.imagePath, "/images/vol.sparseimage");
  EXPECT_EQ(controller.createDMGFile(), 0) << "nothing has changed";
  EXPECT_EQ(calls.size(), 2U);
  controller.passwordField = controller.verifyField = "other";
  EXPECT_EQ(controller.createDMGFile(), 0);
  EXPECT_EQ(calls.size(), 4U);
}

TEST_F(CreateDMGController, BadFields_AreRejectedInOrder) {
  controller.volumeNameField = controller.passwordField = "";
  EXPECT_EQ(controller.createDMGFile(), -1);
  controller.volumeNameField = "vol";
  EXPECT_EQ(controller.createDMGFile(), -1);
  controller.passwordField = "other";
  EXPECT_EQ(controller.createDMGFile(), -1);
  EXPECT_FALSE(controller.checkTextField());
  EXPECT_THAT(alerts.alerts,
              ElementsAre("Warning: Please enter a volume name.", "Warning: Please enter a password.",
                          "Warning: Please verify the password.", "Warning: Please check the input of password."));
  EXPECT_THAT(calls, IsEmpty());
  controller._editADMGJob = true;
  EXPECT_EQ(controller.createDMGFile(), 0) << "a job that has its image is not asked again";
  controller.enableCheckbox = false;
  calls.clear();
  EXPECT_EQ(controller.createDMGFile(), 0);
  EXPECT_THAT(calls, IsEmpty());
}

TEST_F(CreateDMGController, ToolThatFails_KeepsTheJobsTarget) {
  createStatus = 7;
  controller.sheet.targetPath = "/old";
  EXPECT_EQ(controller.createDMGFile(), 7);
  EXPECT_EQ(controller.sheet.targetPath, "/old");
  EXPECT_EQ(controller.doCommand([] { return false; }), createDMGController::Ending::kFailed);
  EXPECT_THAT(alerts.alerts,
              ElementsAre("Warning: The DMG file could not be created. Please check the security settings.",
                          "Warning: There is an error in creating the DMG file."));
  createStatus = 0;
  calls.clear();
  EXPECT_EQ(controller.doCommand([] { return true; }), createDMGController::Ending::kCancelled);
  EXPECT_THAT(calls, ElementsAre("create /images/vol pw vol"));
}

TEST_F(CreateDMGController, EncryptionTip_IsShownUntilItIsNotWanted) {
  EXPECT_TRUE(controller.showsEncryptionTip());
  controller.infoOKButtonAction(true);
  EXPECT_FALSE(controller.showsEncryptionTip());
}

}  // namespace
}  // namespace lumisk
