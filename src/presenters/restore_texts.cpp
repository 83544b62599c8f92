#include "presenters/restore_texts.h"

#include <cerrno>

#include "platform/byte_text.h"
#include "platform/paths.h"
#include "presenters/locale_text.h"

namespace lumisk {
namespace {

std::string kindText(const Version& version) {
  switch (version.kind) {
    case VersionKind::kCopy:
      return translated("Latest copy");
    case VersionKind::kRevision:
      return filled(translated("Revision {}"), version.revision);
    case VersionKind::kOld:
      return translated("Kept after a conflict");
    case VersionKind::kSource:
      return translated("At the source");
    case VersionKind::kTrash:
      break;
  }
  if (!version.deleted) return translated("In the Trash");
  return filled(translated("In the Trash since {}"), localDateTime(*version.deleted));
}

std::string sizeText(const Version& version) {
  if (version.status.type == FileType::kFolder) return translated("folder");
  return version.status.type == FileType::kLink ? translated("link") : localSize(version.status.size);
}

bool looksTheSame(const FileStatus& a, const FileStatus& b) {
  return a.type == b.type && a.type == FileType::kRegular && a.size == b.size && a.modified == b.modified;
}

}  // namespace

std::vector<VersionRow> versionRows(const std::vector<Version>& versions, const std::string& asked,
                                    const std::optional<FileStatus>& standing) {
  std::vector<VersionRow> rows;
  for (const Version& version : versions) {
    VersionRow row{localDateTime(version.status.modified), kindText(version), sizeText(version), version.path, {}, {}};
    if (version.path == asked || (standing && looksTheSame(version.status, *standing)))
      row.note = translated("as it is now");
    row.canBeOpened = version.status.type != FileType::kFolder;
    rows.push_back(std::move(row));
  }
  return rows;
}

std::string versionsHint(const AskedPath& asked, const KnownVersions& known) {
  if (asked.places.empty()) return translated("No job copies this, so there are no versions of it.");
  if (!known.problems.empty()) {
    return filled(translated("There may be more versions: {} could not be looked into."),
                  displayText(known.problems.front().path));
  }
  return known.versions.empty() ? translated("No version of this was found.") : "";
}

RestorePresenter::End nothingToRestore(const std::string& destination) {
  return {true, filled(translated("{} is the same already."), displayText(paths::lastComponent(destination))), {}};
}

RestorePresenter::End refusedRestore(const Error& error) {
  if (error.code == ECANCELED)
    return {false, translated("Cancelled. What was put back by then stays; nothing is half written."), {}};
  if (error.code == EWOULDBLOCK) {
    return {
        false, filled(translated("A run is writing to {}; restore when it has ended."), displayText(error.path)), {}};
  }
  return {false, displayText(error.text()), {}};
}

RestorePresenter::End endOfRestore(const RestoreReport& report, const Version& version, const std::string& destination,
                                   const std::string& newerCopy) {
  const std::string name = displayText(paths::lastComponent(destination));
  const std::uint64_t errors = report.counts.errors;
  if (errors > 0) {
    return {false,
            filledCount("{} entry could not be restored; the job's log says why.",
                        "{} entries could not be restored; the job's log says why.", errors),
            {}};
  }
  if (!report.wroteAnything) return nothingToRestore(destination);
  RestorePresenter::End end{
      true, filled(translated("{} is restored, as it was on {}."), name, localDateTime(version.status.modified)), {}};
  if (!newerCopy.empty())
    end.note =
        translated("The copy in the backup is newer, and jobs go by dates. Save the restored file once to keep it.");
  return end;
}

}  // namespace lumisk
