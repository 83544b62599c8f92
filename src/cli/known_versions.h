#pragma once

#include <string>
#include <vector>

#include "cli/command_io.h"
#include "engine/restore_choice.h"
#include "engine/version_catalog.h"

namespace lumisk {

// Ends with status 3 when no stored job knows the path.
Checked<AskedPath> askedPath(const std::string& given, CommandIo& io);

// The versions, newest first. Places that could not be looked into are said on io.err; when nothing was found because
// of them that is the complaint, otherwise status 3.
Checked<KnownVersions> knownVersions(const AskedPath& asked, CommandIo& io);

// "copy", "revision", "old", "source", "trash".
[[nodiscard]] const char* versionKindName(VersionKind kind);
// The same with the number of a revision: "revision 3".
[[nodiscard]] std::string versionKindText(const Version& version);
[[nodiscard]] std::string versionDateText(const Version& version);
// "1.2 MB"; "folder", "link".
[[nodiscard]] std::string versionSizeText(const Version& version);

}  // namespace lumisk
