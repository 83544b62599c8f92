#pragma once

#include <string>

#include "platform/file_calls.h"
#include "platform/result.h"

namespace lumisk {

// The two forks of a file. The data fork is the file; the resource fork and the Finder information are the extended
// attributes in which Linux file systems and file servers carry them. Names are looked for in the order below, and
// written under the name found first or, for a new one, the first of the list.
namespace file_forks {

Result<std::string> resourceFork(FileCalls& files, int descriptor);  // empty when there is none
Result<void> setResourceFork(FileCalls& files, int descriptor, const std::string& bytes);
Result<std::string> finderInfo(FileCalls& files, int descriptor);  // 32 bytes, or empty
Result<void> setFinderInfo(FileCalls& files, int descriptor, const std::string& bytes);
[[nodiscard]] bool isForkAttribute(const std::string& attribute);

}  // namespace file_forks
}  // namespace lumisk
