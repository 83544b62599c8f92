#include "presenters/version_opener.h"

#include <filesystem>
#include <thread>

#include "platform/child_process.h"
#include "platform/paths.h"
#include "platform/temporary_name.h"

namespace lumisk {
namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kPrivate = 0700;
constexpr std::uint32_t kReadOnly = 0400;
constexpr const char* kOpener = "xdg-open";

std::string temporaryFolder() {
  std::error_code none;
  const auto folder = fs::temp_directory_path(none);
  return none ? "/tmp" : folder.string();
}

}  // namespace

VersionOpener::VersionOpener(Start start) : start_(std::move(start)) {}

VersionOpener::~VersionOpener() {
  std::error_code stays;
  if (!folder_.empty()) fs::remove_all(folder_, stays);
}

// Each copy has a folder of its own, so that it keeps its name. What is there is never written to: names are random,
// and one that stands there already is refused.
Result<std::string> VersionOpener::freshFolder() {
  FileCalls& files = realFileCalls();
  if (folder_.empty()) {
    const std::string parent = temporaryFolder();
    const std::string name = makeTemporaryName();
    LUMISK_TRY(const Descriptor above, files.openRoot(parent));
    LUMISK_CHECK(files.makeFolder(above.get(), name, kPrivate));
    folder_ = paths::join(parent, name);
  }
  LUMISK_TRY(const Descriptor folder, files.openRoot(folder_));
  const std::string name = std::to_string(++opened_);
  LUMISK_CHECK(files.makeFolder(folder.get(), name, kPrivate));
  return paths::join(folder_, name);
}

Result<std::string> VersionOpener::open(const RestoreServices& services, const Version& version) {
  LUMISK_TRY(const std::string folderPath, freshFolder());
  // A copy of its own name: of a revision the one that the file had.
  const std::string copy = paths::join(folderPath, paths::lastComponent(version.place.original));
  LUMISK_CHECK(restoreVersion(services, version, copy, ""));
  LUMISK_TRY(const Descriptor folder, services.files.openRoot(folderPath));
  if (version.status.type == FileType::kRegular) {
    LUMISK_TRY(const Descriptor file, services.files.openFile(folder.get(), paths::lastComponent(copy)));
    LUMISK_CHECK(services.files.setMode(file.get(), kReadOnly));
  }
  LUMISK_CHECK(start_(copy));
  return copy;
}

// It may wait for the program that it starts: on a thread of its own, which nobody waits for.
Result<void> VersionOpener::startWithDesktop(const std::string& path) {
  ChildRequest look;
  look.arguments = {kOpener, "--version"};
  LUMISK_CHECK(runChild(look));
  ChildRequest request;
  request.arguments = {kOpener, path};
  std::thread([request] { (void)runChild(request); }).detach();
  return {};
}

std::string showInFileManager(const std::string& path) {
  std::error_code unknown;
  const bool isFolder = fs::is_directory(path, unknown);
  const auto shown = VersionOpener::startWithDesktop(isFolder ? path : paths::parent(path));
  return shown ? "" : shown.error().text();
}

}  // namespace lumisk
