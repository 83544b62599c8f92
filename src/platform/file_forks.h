#pragma once

#include <string>

#include "platform/file_calls.h"
#include "platform/result.h"

namespace lumisk {

// The two forks of a file. The data fork is the file; the resource fork and the Finder information are the extended
// attributes in which Linux file systems and file servers carry them. Names are looked for in the order below, and
// written under the name found first or, for a new one, the first of the list.
//
// Resource fork:
//   user.com.apple.ResourceFork          copied from a Macintosh by tools that put "user." before each attribute's name
//   user.org.netatalk.ResourceFork       the AFP server netatalk, and samba's "fruit" module with resource = xattr
//   user.DosStream.AFP_Resource:$DATA    samba's "streams_xattr" module; one byte that marks the end follows the bytes
// Finder information:
//   user.com.apple.FinderInfo            as above
//   osx.com.apple.FinderInfo             the kernel's hfsplus file system
//   user.org.netatalk.Metadata           netatalk and "fruit": an AppleDouble header, entry 9 of it
//   user.DosStream.AFP_AfpInfo:$DATA     "streams_xattr": bytes 16 to 47 of an AFP info record of 60 bytes
namespace file_forks {

Result<std::string> resourceFork(FileCalls& files, int descriptor);                        // empty when there is none
Result<void> setResourceFork(FileCalls& files, int descriptor, const std::string& bytes);  // empty: removes it
Result<std::string> finderInfo(FileCalls& files, int descriptor);                          // 32 bytes, or empty
Result<void> setFinderInfo(FileCalls& files, int descriptor, const std::string& bytes);    // 32 bytes, else EINVAL
[[nodiscard]] bool isForkAttribute(const std::string& attribute);

}  // namespace file_forks
}  // namespace lumisk
