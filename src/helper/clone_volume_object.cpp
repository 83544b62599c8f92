#include "helper/clone_volume_object.h"

#include <cstdio>

#include "platform/passed_descriptors.h"
#include "platform/user_defaults.h"

namespace lumisk {
namespace {

constexpr const char* kInstallTool = "LumiskHelperInstall";
constexpr std::uint32_t kFirstOf105 = 0x1050;
constexpr std::uint32_t kLastOf105 = 0x105F;

std::string failureLine(OSStatus status) {
  char line[64];
  std::snprintf(line, sizeof(line), "Failed with error %ld.\n", static_cast<long>(status));
  return line;
}

}  // namespace

std::string helperToolForSystem(std::uint32_t systemVersion) {
  return systemVersion >= kFirstOf105 && systemVersion <= kLastOf105 ? "LumiskHelperTool105" : "LumiskHelperTool106";
}

OSStatus CloneVolumeObject::initTheAuthorization() {
  return BASSetDefaultRules(services_.authorization, lumiskCommands(), kBundleIdentifier, kPromptTable);
}

OSStatus CloneVolumeObject::runHelpToolWithXMLPath(const std::string& xmlPath, const std::function<bool()>& isGivenUp) {
  services_.authorization.isGivenUp = isGivenUp;
  const OSStatus status = order(xmlPath);
  if (status == kNoError) return status;
  if (services_.console) {
    services_.console(failureLine(status));
  } else {
    std::fputs(failureLine(status).c_str(), stderr);
  }
  return status;
}

OSStatus CloneVolumeObject::order(const std::string& xmlPath) {
  if (const OSStatus notReady = makeHelperReady(); notReady != kNoError) return notReady;
  HelperAnswer answer;
  const OSStatus failed =
      BASExecuteRequestInHelperTool(services_.authorization, lumiskCommands(), kBundleIdentifier,
                                    {{kRequestCommandKey, kCloneCommand}, {kXMLPathKey, xmlPath}}, answer);
  if (failed != kNoError) return failed;
  if (!answer.descriptors.empty()) helperLives_ = std::move(answer.descriptors.front());
  return BASGetErrorFromResponse(answer.dictionary);
}

OSStatus CloneVolumeObject::makeHelperReady() {
  const BASFailCode diagnosis = BASDiagnoseFailure(services_.authorization, kBundleIdentifier);
  const bool isCurrent = isHelperCurrent(services_.storedVersion());
  if (diagnosis == BASFailCode::kNotInstalled) {
    if (!services_.dialogs.ask("Needs Install", "LumiskHelperTool needs to install", "Install", "Cancel"))
      return kUserCancelled;
    return repair(diagnosis);
  }
  // To have an old one started again would keep it.
  if (!isCurrent) return repair(BASFailCode::kInstalledButFailing);
  return diagnosis == BASFailCode::kDaemonNotAnswering ? repair(diagnosis) : kNoError;
}

OSStatus CloneVolumeObject::repair(BASFailCode failCode) {
  const OSStatus failed = BASFixFailure(services_.authorization, kBundleIdentifier, kInstallTool,
                                        helperToolForSystem(services_.systemVersion), failCode);
  services_.storeVersion(kHelperToolVersion);
  return failed;
}

bool CloneVolumeObject::isHelperRunning() {
  return helperLives_.isOpen() && !hasHungUp(helperLives_.get());
}

std::unique_ptr<VolumeCloner> makeCloneVolumeObject(UserDialogs& dialogs) {
  CloneVolumeServices services{dialogs, {}, {}, {}, 0, {}};
  services.storedVersion = [] {
    const auto stored = UserDefaults(UserDefaults::standardPath()).object(kHelperToolVersionKey);
    return stored ? stored->integer() : 0;
  };
  services.storeVersion = [](std::int64_t version) {
    UserDefaults defaults(UserDefaults::standardPath());
    const auto stored = defaults.object(kHelperToolVersionKey);
    if (stored && stored->integer() == version) return;
    // Unstored it is asked for once more.
    if (!defaults.setObject(kHelperToolVersionKey, version)) return;
  };
  return std::make_unique<CloneVolumeObject>(std::move(services));
}

}  // namespace lumisk
