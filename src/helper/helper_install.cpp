#include "helper/helper_install.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <span>

#include "helper/install_layout.h"
#include "platform/child_process.h"
#include "platform/durable_file.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

constexpr std::uint32_t kOthersMayWrite = 0022;
constexpr std::uint32_t kFolderMode = 0755;
constexpr std::uint32_t kProgramMode = 0755;
constexpr const char* kTemporaryEnding = ".lumisk-new";
constexpr const char* kRunningSystemd = "/run/systemd/system";  // sd_booted(3)
constexpr std::chrono::seconds kPatience{60};

// Puts files below one folder, never through a link below it.
class Installation {
 public:
  Installation(FileCalls& files, std::string root) : files_(files), root_(std::move(root)) {}

  Result<void> put(const InstalledFile& file) {
    LUMISK_TRY(const Descriptor folder, folderOf(file.path));
    const std::string name = paths::lastComponent(file.path);
    const std::string temporary = name + kTemporaryEnding;
    if (const auto removed = files_.removeFile(folder.get(), temporary); !removed && removed.error().code != ENOENT)
      return fail(removed.error());
    LUMISK_CHECK(write(folder.get(), temporary, file));
    LUMISK_CHECK(files_.rename(folder.get(), temporary, folder.get(), name, Replace::kAllowed));
    return files_.syncFile(folder.get());
  }

  Result<void> put(const InstalledLink& link) {
    LUMISK_TRY(const Descriptor folder, folderOf(link.path));
    const std::string name = paths::lastComponent(link.path);
    if (const auto standing = files_.readLink(folder.get(), name); standing && *standing == link.text) return {};
    LUMISK_CHECK(files_.makeLink(link.text, folder.get(), name));
    return files_.syncFile(folder.get());
  }

  Result<void> mustStand(const std::string& path) {
    LUMISK_TRY(const Descriptor folder, folderOf(path));
    LUMISK_TRY(const FileStatus status, files_.status(folder.get(), paths::lastComponent(path)));
    return status.type == FileType::kRegular ? Result<void>{} : fail("enable", path, EINVAL);
  }

 private:
  Result<Descriptor> folderOf(const std::string& path) {
    LUMISK_TRY(Descriptor folder, files_.openRoot(root_.empty() ? "/" : root_));
    for (const std::string& name : paths::components(paths::parent(path))) {
      LUMISK_TRY(folder, subfolder(folder.get(), name));
    }
    return folder;
  }

  Result<Descriptor> subfolder(int folder, const std::string& name) {
    const auto made = files_.makeFolder(folder, name, kFolderMode);
    if (!made && made.error().code != EEXIST) return fail(made.error());
    LUMISK_TRY(Descriptor opened, files_.openFolder(folder, name));
    if (made) LUMISK_CHECK(files_.setMode(opened.get(), kFolderMode));
    LUMISK_TRY(const FileStatus status, files_.statusOf(opened.get()));
    if ((status.mode & kOthersMayWrite) != 0) return fail("install into", name, EPERM);
    return opened;
  }

  Result<void> write(int folder, const std::string& name, const InstalledFile& installed) {
    LUMISK_TRY(Descriptor file, files_.createFile(folder, name, 0600));
    for (std::string_view left = installed.bytes; !left.empty();) {
      LUMISK_TRY(const std::size_t written,
                 files_.write(file.get(), std::as_bytes(std::span(left.data(), left.size()))));
      left.remove_prefix(written);
    }
    LUMISK_CHECK(files_.setMode(file.get(), installed.mode));
    LUMISK_CHECK(files_.syncFile(file.get()));
    return files_.close(std::move(file));
  }

  FileCalls& files_;
  const std::string root_;
};

Result<std::string> programBytes(FileCalls& files, const std::string& path) {
  LUMISK_TRY(const Descriptor folder, files.openRoot(paths::parent(path)));
  LUMISK_TRY(const FileStatus status, files.status(folder.get(), paths::lastComponent(path)));
  if (status.type != FileType::kRegular) return fail("install", path, EINVAL);
  if ((status.mode & kOthersMayWrite) != 0) return fail("install", path, EPERM);
  LUMISK_TRY(LoadedFile file, loadFile(path));
  return std::move(file.bytes);
}

Result<void> runSystemctl(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "/usr/bin/systemctl");
  ChildRequest request;
  request.arguments = std::move(arguments);
  request.limit = kPatience;
  LUMISK_TRY(const ChildResult result, runChild(request));
  return result.status == 0 ? Result<void>{} : fail("start the socket", "", EIO, result.errors);
}

Result<void> enable(FileCalls& files, Installation& place, const InstallOrder& order) {
  LUMISK_CHECK(place.mustStand(helperToolPath(order.bundleIdentifier)));
  LUMISK_CHECK(place.put(helperEnablement(order.bundleIdentifier)));
  if (!order.destination.empty() || !files.openRoot(kRunningSystemd)) return {};
  LUMISK_CHECK(runSystemctl({"daemon-reload"}));
  return runSystemctl({"enable", "--now", helperSocketUnit(order.bundleIdentifier)});
}

}  // namespace

Result<void> carryOutInstall(FileCalls& files, const InstallOrder& order) {
  if (!isBundleIdentifier(order.bundleIdentifier)) return fail("install", order.bundleIdentifier, EINVAL);
  Installation place(files, order.destination);
  if (order.kind == InstallOrder::Kind::kInstall) {
    LUMISK_TRY(std::string program, programBytes(files, order.toolPath));
    for (const InstalledFile& file : helperDescriptions(order.bundleIdentifier, lumiskCommands()))
      LUMISK_CHECK(place.put(file));
    LUMISK_CHECK(place.put({helperToolPath(order.bundleIdentifier), std::move(program), kProgramMode}));
  }
  return enable(files, place, order);
}

std::string installHandshake(std::int64_t process) {
  return fmt::format("cricket<{}>bat\n", process);
}

std::string installFailure(int code) {
  return fmt::format("FailUrE {}\n", code);
}

InstallOutcome outcomeOfInstall(const std::string& output) {
  InstallOutcome outcome;
  for (std::size_t begin = 0; begin < output.size();) {
    const std::size_t end = std::min(output.find('\n', begin), output.size());
    const std::string line = output.substr(begin, end - begin);
    long process = 0;
    char last = 0;
    if (std::sscanf(line.c_str(), "cricket<%ld>ba%c", &process, &last) == 2 && last == 't')
      outcome.hasShakenHands = true;
    if (int code = 0; std::sscanf(line.c_str(), "FailUrE %d", &code) == 1) outcome.failure = code;
    begin = end + 1;
  }
  return outcome;
}

}  // namespace lumisk
