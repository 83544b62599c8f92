#pragma once

#include "presenters/restore_presenter.h"

namespace lumisk {

// What the restore window says. Pure but for the locale and the time zone.

// asked: what the versions are of; standing: what stands there, if anything does.
[[nodiscard]] std::vector<VersionRow> versionRows(const std::vector<Version>& versions, const std::string& asked,
                                                  const std::optional<FileStatus>& standing);
[[nodiscard]] std::string versionsHint(const AskedPath& asked, const KnownVersions& known);

[[nodiscard]] RestorePresenter::End nothingToRestore(const std::string& destination);
[[nodiscard]] RestorePresenter::End refusedRestore(const Error& error);
[[nodiscard]] RestorePresenter::End endOfRestore(const RestoreReport& report, const Version& version,
                                                 const std::string& destination, const std::string& newerCopy);

}  // namespace lumisk
