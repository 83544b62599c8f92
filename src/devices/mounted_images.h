#pragma once

#include <string>
#include <vector>

#include "platform/file_calls.h"
#include "platform/property_list.h"

namespace lumisk {

// Runs the disk-image tool and waits. A password goes to its standard input, without a line break; no shell is
// involved. -1 when the tool could not be started, else its exit status.
[[nodiscard]] std::string imageToolPath();  // beside our own program, else the system's
Result<std::string> runImageTool(const std::vector<std::string>& arguments,
                                 const std::string& input = {});  // its output
int amountDMGFileAtPath(const std::string& imagePath, const std::string& password);
int createDMGFileAtPath(const std::string& basePath, const std::string& password, const std::string& volumesName);

// Whether the folder lies on the volume inside the image: that is mounted, by our tool or by another one, and the
// folder is not one that stands where it would be.
[[nodiscard]] bool isInImage(const std::string& folder, const std::string& imagePath);

// Whether the user's keychain holds the password of the image.
[[nodiscard]] bool isAKeychainDMGAtPath(const std::string& imagePath);
// With the stored password. False without one, without the file, and when the tool fails.
bool mountTheLumiskDMGFileAtPath(const std::string& imagePath);
// Detaches it first where it is mounted. Refuses anything but an image; EBUSY while it is in use.
Result<void> deleteImageFile(FileCalls& files, const std::string& imagePath);
bool detachImageAt(const std::string& place);  // a mount point or an image

// Pure, of the lists that dataListObject gives. `index` gets the place before the hit (the image path of a mount
// point), 0 without one.
[[nodiscard]] bool isADMGVolume(const std::string& path, const std::vector<std::string>& dmgPathList,
                                std::size_t& index);
[[nodiscard]] bool isADMGDevice(const std::string& device, const std::vector<std::string>& dmgBSDPathList);
[[nodiscard]] std::vector<std::string> mountedPairs(const PropertyList& info);
[[nodiscard]] std::vector<std::string> deviceOfEach(const PropertyList& info);
// Whether a stored job names the image.
[[nodiscard]] bool checkTheDMGIsUsedOrNot(const std::string& imagePath, const PropertyList::Array& jobs);

// The same, also where the job names the file by another path. Looks at the disk.
[[nodiscard]] bool isImageOfAJob(const std::string& imagePath, const PropertyList::Array& jobs);

}  // namespace lumisk
