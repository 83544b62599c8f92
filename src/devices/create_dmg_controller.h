#pragma once

#include <functional>
#include <string>

#include "platform/user_defaults.h"
#include "platform/user_dialogs.h"

namespace lumisk {

inline constexpr const char* kKeyChainPathKey = "KeyChainPath";
inline constexpr const char* kNoEncryptionTipKey = "QelDoNotShow256bitTips";

// The image of the job that is being made or edited.
struct JobImage {
  std::string targetPath;
  std::string imagePath;
  std::string password;
  bool autoMount = true;
};

// Makes the encrypted image of a job, from what the user has filled in; the windows are the faces' business. Blocks for
// as long as making and mounting take. One thread.
class createDMGController {
 public:
  // What runs the tool, so that tests need none.
  struct Tool {
    std::function<int(const std::string& basePath, const std::string& password, const std::string& volumeName)> create;
    std::function<int(const std::string& imagePath, const std::string& password)> mount;
  };
  static Tool realTool();
  createDMGController(UserDialogs& dialogs, UserDefaults& defaults, Tool tool)
      : dialogs_(dialogs), defaults_(defaults), tool_(std::move(tool)) {}

  // The fields.
  std::string volumeNameField, passwordField, verifyField;
  bool checkButton = false;    // keep the password in the keychain
  bool enableCheckbox = true;  // use an encrypted image at all
  bool autoMountCheckbox = true;
  bool _editADMGJob = false;  // the job has an image already
  JobImage sheet;             // what the job has, and gets

  void setDirectory(const std::string& folder) { _directory = folder; }
  [[nodiscard]] bool getEnabledCheckboxState() const { return enableCheckbox; }

  int createDMGFile();  // 0 done or nothing to do, -1 input rejected, else the tool's status
  [[nodiscard]] bool CheckAllViews();
  [[nodiscard]] bool checkTextField();  // of the dialog that waits
  [[nodiscard]] bool needCreateDMGFile() const;
  bool addToKeyChain();
  // The dialog that waits, for a thread of its own: makes and mounts; what was made is deleted when the user has
  // cancelled meanwhile. False after an error, which has been shown.
  enum class Ending { kDone, kFailed, kCancelled };
  Ending doCommand(const std::function<bool()>& isCanceled);

  [[nodiscard]] bool showsEncryptionTip();  // when the encryption box is switched on
  void infoOKButtonAction(bool doNotShowAgain);

 private:
  [[nodiscard]] std::string basePath() const;
  [[nodiscard]] std::string imagePath() const;
  bool reject(const char* text);

  UserDialogs& dialogs_;
  UserDefaults& defaults_;
  Tool tool_;
  std::string _directory;
};

}  // namespace lumisk
