#include "cli/known_versions.h"

#include <fmt/format.h>

#include "cli/job_setup.h"
#include "cli/store_access.h"
#include "platform/calendar_date.h"
#include "platform/civil_time.h"
#include "platform/number_text.h"

namespace lumisk {
namespace {

tl::unexpected<Complaint> nothingKnown(const std::string& path, std::string why) {
  return fail(Complaint{Ending::kNoSuchJob, path, std::move(why)});
}

}  // namespace

Checked<AskedPath> askedPath(const std::string& given, CommandIo& io) {
  LUMISK_TRY(const auto absolute, absolutePaths({given}, io));
  StoreAccess access(io);
  LUMISK_TRY(JobStore* const store, access.read());
  AskedPath asked = askedPlaces(io.files, store->jobs(), absolute.front());
  if (asked.places.empty()) return nothingKnown(asked.path, "no stored job copies it");
  return asked;
}

Checked<KnownVersions> knownVersions(const AskedPath& asked, CommandIo& io) {
  KnownVersions known = findVersions(io.files, asked.places);
  if (known.versions.empty() && !known.problems.empty()) return fail(complaintOf(known.problems.front()));
  if (known.versions.empty()) return nothingKnown(asked.path, "no version of it was found");
  for (const Error& problem : known.problems) io.err << complaintLine(complaintOf(problem)) << '\n';
  return known;
}

const char* versionKindName(VersionKind kind) {
  switch (kind) {
    case VersionKind::kCopy:
      return "copy";
    case VersionKind::kRevision:
      return "revision";
    case VersionKind::kOld:
      return "old";
    case VersionKind::kSource:
      return "source";
    case VersionKind::kTrash:
      break;
  }
  return "trash";
}

std::string versionKindText(const Version& version) {
  const std::string name = versionKindName(version.kind);
  return version.kind == VersionKind::kRevision ? fmt::format("{} {}", name, version.revision) : name;
}

std::string versionDateText(const Version& version) {
  return CalendarDate(wallTime(version.status.modified.seconds)).description();
}

std::string versionSizeText(const Version& version) {
  if (version.status.type == FileType::kFolder) return "folder";
  return version.status.type == FileType::kLink ? "link" : bytesText(version.status.size);
}

}  // namespace lumisk
