#include "devices/create_dmg_controller.h"

#include <filesystem>

#include "devices/ag_keychain.h"
#include "devices/mounted_images.h"
#include "platform/paths.h"
#include "platform/process.h"

namespace lumisk {

createDMGController::Tool createDMGController::realTool() {
  return {createDMGFileAtPath, amountDMGFileAtPath};
}

std::string createDMGController::basePath() const {
  return paths::join(_directory, volumeNameField);
}

std::string createDMGController::imagePath() const {
  return basePath() + ".sparseimage";
}

bool createDMGController::reject(const char* text) {
  dialogs_.showAlert("Warning", text);
  return false;
}

bool createDMGController::CheckAllViews() {
  if (!enableCheckbox || _editADMGJob) return true;
  if (volumeNameField.empty()) return reject("Please enter a volume name.");
  if (passwordField.empty()) return reject("Please enter a password.");
  if (verifyField != passwordField) return reject("Please verify the password.");
  return true;
}

bool createDMGController::checkTextField() {
  if (volumeNameField.empty()) return reject("Please not left the volume textfield empty.");
  if (passwordField.empty() || verifyField != passwordField) return reject("Please check the input of password.");
  return true;
}

bool createDMGController::needCreateDMGFile() const {
  return imagePath() != sheet.imagePath || passwordField != sheet.password;
}

int createDMGController::createDMGFile() {
  if (!CheckAllViews()) return -1;
  if (!enableCheckbox || !needCreateDMGFile()) return 0;
  const int made = tool_.create(basePath(), passwordField, volumeNameField);
  if (made != 0) {
    reject("The DMG file could not be created. Please check the security settings.");
    return made;
  }
  (void)tool_.mount(imagePath(), passwordField);
  sheet = {"/Volumes/" + volumeNameField, imagePath(), passwordField, autoMountCheckbox};
  if (checkButton) addToKeyChain();
  return 0;
}

// An item that is there keeps its password.
bool createDMGController::addToKeyChain() {
  const std::string user = process::userName(), image = imagePath();
  if (AGKeychain::checkForExistanceOfKeychainItem(kImagePasswordItem, volumeNameField, user, image)) return true;
  if (!AGKeychain::addKeychainItem(kImagePasswordItem, volumeNameField, user, passwordField, image)) return true;
  (void)defaults_.change([&](PropertyList::Dictionary& settings) {
    PropertyList::Array kept = settings[kKeyChainPathKey].array();
    kept.push_back(image);
    settings[kKeyChainPathKey] = std::move(kept);
  });
  return true;
}

createDMGController::Ending createDMGController::doCommand(const std::function<bool()>& isCanceled) {
  if (tool_.create(basePath(), passwordField, volumeNameField) != 0) {
    reject("There is an error in creating the DMG file.");
    return Ending::kFailed;
  }
  if (isCanceled()) {
    std::error_code error;
    std::filesystem::remove(imagePath(), error);
    return Ending::kCancelled;
  }
  (void)tool_.mount(imagePath(), passwordField);
  return Ending::kDone;
}

bool createDMGController::showsEncryptionTip() {
  const auto hidden = defaults_.object(kNoEncryptionTipKey);
  return enableCheckbox && !(hidden && hidden->boolean());
}

void createDMGController::infoOKButtonAction(bool doNotShowAgain) {
  (void)defaults_.setObject(kNoEncryptionTipKey, doNotShowAgain);
}

}  // namespace lumisk
