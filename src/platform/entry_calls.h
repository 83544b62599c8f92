#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_calls.h"
#include "platform/result.h"

namespace lumisk {

// The further calls that carrying every kind of entry needs, device files and links among them: what cannot be reached
// through a descriptor of the entry, because opening it would follow it, block or wake a device. All work on an open
// folder and one name in it, and never follow a link. Any thread. Most need root.
namespace entry_calls {

// A fifo or a device file. The permissions are `mode` less the umask, or what the folder's default ACL says.
Result<void> makeSpecialFile(int folder, const std::string& name, const FileStatus& like);
// Of anything but a link; ESTALE when it is not of that type.
Result<void> setMode(int folder, const std::string& name, FileType type, std::uint32_t mode);

// Extended attributes. Without those that the security module or the storage keeps for itself.
Result<std::vector<std::string>> listAttributes(int folder, const std::string& name);
Result<std::string> attribute(int folder, const std::string& name, const std::string& attribute);
Result<void> setAttribute(int folder, const std::string& name, const std::string& attribute, std::string_view value);
Result<void> removeAttribute(int folder, const std::string& name, const std::string& attribute);

// What `chattr +i` and `chattr +a` set (ioctl_iflags(2)), of an open file or folder.
struct Protection {
  bool isImmutable = false;
  bool isAppendOnly = false;
};
Result<void> setProtection(int descriptor, Protection protection);

// The next reader reads from the disk what has been written back. A hint: it cannot fail.
void forgetCachedData(int file);

}  // namespace entry_calls
}  // namespace lumisk
