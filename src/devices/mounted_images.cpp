#include "devices/mounted_images.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "devices/ag_keychain.h"
#include "devices/data_list_object.h"
#include "devices/image_commands.h"
#include "devices/image_folder.h"
#include "jobs/job_record.h"
#include "platform/block_device.h"
#include "platform/byte_text.h"
#include "platform/child_process.h"
#include "platform/durable_file.h"
#include "platform/home_folder.h"
#include "platform/paths.h"
#include "platform/process.h"
#include "platform/volume.h"

namespace lumisk {
namespace {

using image_commands::Arguments;

std::string volumeNameOf(const std::string& imagePath) {
  return paths::withoutExtension(paths::lastComponent(imagePath));
}

int statusOfTool(const Arguments& arguments, const std::string& input) {
  const auto result = runChild({.arguments = arguments, .input = input, .environment = {}});
  return result ? result->status : -1;
}

bool isThere(const std::string& path) {
  std::error_code error;
  return std::filesystem::exists(path, error);
}

// Whatever the two are called: through links, or where a folder is mounted once more.
bool isSameFile(const std::string& one, const std::string& other) {
  std::error_code error;
  return one == other || std::filesystem::equivalent(one, other, error);
}

std::string keptListPath() {
  return homeFolder() + "/Library/Logs/lumiskTmpList.plist";
}

}  // namespace

std::string imageToolPath() {
  const std::string beside = paths::join(paths::parent(process::programPath()), "hdiutil");
  return isThere(beside) ? beside : "/usr/bin/hdiutil";
}

// The tool says in one line why it could not.
Result<std::string> runImageTool(const Arguments& arguments, const std::string& input) {
  LUMISK_TRY(auto result, runChild({.arguments = arguments, .input = input, .environment = {}}));
  if (result.status == 0) return std::move(result.output);
  std::string why = result.errors.substr(0, result.errors.find('\n'));
  constexpr std::string_view kPrefix = "hdiutil: ";
  if (why.starts_with(kPrefix)) why.erase(0, kPrefix.size());
  return fail(arguments.at(1), arguments.back(), result.status == 16 ? EBUSY : 0, why);
}

int amountDMGFileAtPath(const std::string& imagePath, const std::string& password) {
  return statusOfTool(image_commands::mount(imageToolPath(), imagePath), password);
}

int createDMGFileAtPath(const std::string& basePath, const std::string& password, const std::string& volumesName) {
  return statusOfTool(image_commands::create(imageToolPath(), volumesName, basePath), password);
}

bool isInImage(const std::string& folder, const std::string& imagePath) {
  const auto mount = volume::mountHolding(folder);
  const auto beside = realFileCalls().openRoot(paths::parent(imagePath));
  const auto image =
      beside ? realFileCalls().status(beside->get(), paths::lastComponent(imagePath)) : fail(beside.error());
  if (!mount || !image) return false;
  // Our tool mounts the blocks that a daemon shows; others mount the file itself.
  const auto files = block_device::filesBelow(volume::deviceOf(*mount).number);
  return std::any_of(files.begin(), files.end(), [&](const std::string& file) {
    return isSameFile(file, imagePath) ||
           paths::lastComponent(paths::parent(file)) == image_folder::nameFor(image->identity);
  });
}

bool isAKeychainDMGAtPath(const std::string& imagePath) {
  return AGKeychain::checkForExistanceOfKeychainItem(kImagePasswordItem, volumeNameOf(imagePath), process::userName(),
                                                     imagePath);
}

bool mountTheLumiskDMGFileAtPath(const std::string& imagePath) {
  if (!isThere(imagePath) || !isAKeychainDMGAtPath(imagePath)) return false;
  const auto item = AGKeychain::getPasswordFromKeychainItem(kImagePasswordItem, volumeNameOf(imagePath),
                                                            process::userName(), imagePath);
  const auto password = item.find(kPasswordKey);
  return password != item.end() && amountDMGFileAtPath(imagePath, password->second.text()) == 0;
}

Result<void> deleteImageFile(FileCalls& files, const std::string& imagePath) {
  LUMISK_CHECK(image_folder::checkIsImage(files, imagePath));
  const auto pairs = dataListObject::mountedDmgList();
  for (std::size_t i = 0; i + 1 < pairs.size(); i += 2) {
    if (!isSameFile(pairs[i], imagePath)) continue;
    LUMISK_CHECK(runImageTool(image_commands::detach(imageToolPath(), pairs[i])));
  }
  LUMISK_TRY(const Descriptor folder, files.openRoot(paths::parent(imagePath)));
  return files.removeFile(folder.get(), paths::lastComponent(imagePath));
}

bool detachImageAt(const std::string& place) {
  return statusOfTool(image_commands::detach(imageToolPath(), place), "") == 0;
}

std::vector<std::string> dataListObject::mountedDmgList() {
  const auto answer = runImageTool(image_commands::list(imageToolPath()));
  if (!answer) return {};
  const auto info = parsePropertyList(*answer);
  if (!info) return {};
  (void)replaceFile(keptListPath(), *answer, 0600);
  return mountedPairs(*info);
}

std::optional<std::vector<std::string>> dataListObject::mountedDMGBSDNameList() {
  const auto info = readPropertyListFile(keptListPath());
  if (!info) return std::nullopt;
  return deviceOfEach(*info);
}

PropertyList::Dictionary dataListObject::getDestinationDictionary(const std::string& destination) {
  const auto pairs = mountedDmgList();
  std::size_t index = 0;
  const bool isImage = isADMGVolume(destination, pairs, index);
  return {{kDestinationPathKey, destination}, {kDmgFilePathKey, isImage ? pairs.at(index) : ""}};
}

bool dataListObject::deleteDMGFileAtPath(const std::string& mountPoint) {
  const auto pairs = mountedDmgList();
  for (std::size_t i = 0; i + 1 < pairs.size(); i += 2) {
    if (pairs[i + 1] != mountPoint) continue;
    std::error_code error;
    return detachImageAt(mountPoint) && std::filesystem::remove(pairs[i], error);
  }
  return false;
}

bool isADMGVolume(const std::string& path, const std::vector<std::string>& dmgPathList, std::size_t& index) {
  index = 0;
  const auto found = std::find(dmgPathList.begin(), dmgPathList.end(), path);
  if (found == dmgPathList.end()) return false;
  const auto place = static_cast<std::size_t>(found - dmgPathList.begin());
  index = place == 0 ? 0 : place - 1;
  return true;
}

bool isADMGDevice(const std::string& device, const std::vector<std::string>& dmgBSDPathList) {
  return std::any_of(dmgBSDPathList.begin(), dmgBSDPathList.end(),
                     [&](const std::string& path) { return isStringIncluded(path, device); });
}

std::vector<std::string> mountedPairs(const PropertyList& info) {
  std::vector<std::string> pairs;
  for (const PropertyList& image : info["images"].array()) {
    for (const PropertyList& entity : image["system-entities"].array()) {
      const std::string mountPoint = entity["mount-point"].text();
      if (mountPoint.empty()) continue;
      pairs.push_back(image["image-path"].text());
      pairs.push_back(mountPoint);
      break;
    }
  }
  return pairs;
}

// Images with a partition map have the map's own device first, and some a second one of no use.
std::vector<std::string> deviceOfEach(const PropertyList& info) {
  std::vector<std::string> devices;
  for (const PropertyList& image : info["images"].array()) {
    const auto& entities = image["system-entities"].array();
    if (entities.empty()) continue;
    const std::size_t which = std::min<std::size_t>(entities.size(), 3) - 1;
    devices.push_back(entities[which]["dev-entry"].text());
  }
  return devices;
}

bool checkTheDMGIsUsedOrNot(const std::string& imagePath, const PropertyList::Array& jobs) {
  return std::any_of(jobs.begin(), jobs.end(),
                     [&](const PropertyList& job) { return job[kDmgPathKey].text() == imagePath; });
}

bool isImageOfAJob(const std::string& imagePath, const PropertyList::Array& jobs) {
  return checkTheDMGIsUsedOrNot(imagePath, jobs) || std::any_of(jobs.begin(), jobs.end(), [&](const PropertyList& job) {
           return isSameFile(job[kDmgPathKey].text(), imagePath);
         });
}

}  // namespace lumisk
