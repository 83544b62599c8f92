#include "platform/trash.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <random>
#include <vector>

#include "platform/paths.h"
#include "platform/trash_finder.h"
#include "platform/trash_info.h"

namespace lumisk {
namespace {

constexpr std::uint32_t kPrivateFile = 0600;

enum class How : std::uint8_t { kMove, kLink };

struct Outcome {
  Result<TrashedItem> result;
  bool isForNext = false;  // the trash folder is at fault, another may take the item
};

struct Item {
  int folder;
  const std::string& name;
  const std::string& path;                               // absolute
  const std::string title = paths::lastComponent(path);  // its name in the Trash: it may lie under a temporary one now
};

std::string randomSuffix() {
  static thread_local std::mt19937_64 generator{std::random_device{}()};
  constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz234567";
  std::string suffix;
  for (int i = 0; i < 8; ++i) suffix += kLetters[generator() % kLetters.size()];
  return suffix;
}

}  // namespace

struct Trash::State {
  State(FileCalls& fileCalls, const Clock& time, std::string fallbackFolder)
      : files(fileCalls), clock(time), finder(fileCalls, std::move(fallbackFolder)) {}

  Result<TrashedItem> put(const Item& item, How how);
  Outcome putInto(const TrashFolder& trash, const Item& item, How how);
  Result<void> place(const TrashFolder& trash, const Item& item, const std::string& name, How how);
  Result<void> writeInfo(const TrashFolder& trash, const std::string& infoName, const std::string& text);
  std::string recordedPath(const TrashFolder& trash, const Item& item) const;

  FileCalls& files;
  const Clock& clock;
  TrashFinder finder;
  std::map<std::uint64_t, std::vector<TrashFolder>> known;  // by device; more than one where mounts or volumes overlap
};

// Tries the trash folders that served before, then looks for others.
Result<TrashedItem> Trash::State::put(const Item& item, How how) {
  LUMISK_TRY(const auto status, files.statusOf(item.folder));
  const std::uint64_t device = status.identity.device;
  Result<TrashedItem> last = fail("find a trash folder for", item.path, EXDEV);
  const auto isDone = [&](Outcome outcome) {
    if (outcome.result || !outcome.isForNext || last.error().code == EXDEV) last = std::move(outcome.result);
    return last || !outcome.isForNext;
  };
  auto& folders = known[device];
  for (const TrashFolder& trash : folders)
    if (isDone(putInto(trash, item, how))) return last;
  for (const auto find : {&TrashFinder::home, &TrashFinder::top, &TrashFinder::fallback}) {
    auto found = (finder.*find)(device, item.folder);
    if (!found) continue;
    const auto isSame = [&](const TrashFolder& one) { return one.identity == found->identity; };
    if (std::any_of(folders.begin(), folders.end(), isSame)) continue;
    folders.push_back(std::move(*found));
    if (isDone(putInto(folders.back(), item, how))) return last;
  }
  return last;
}

// The info file is made first and claims the name; so a crash in between leaves an info file without an item, and
// never an item of which nobody knows where it was. A name that is taken is not searched for but made at random.
Outcome Trash::State::putInto(const TrashFolder& trash, const Item& item, How how) {
  constexpr std::size_t kLongestName = 255 - std::char_traits<char>::length(trash_info::kExtension);
  constexpr std::size_t kShortName = 100;  // for file systems that take less than 255 bytes
  const std::string text = trash_info::text(recordedPath(trash, item), clock.now());
  const auto failed = [&](int code) { return fail("put into the trash", item.path, code); };
  int code = EEXIST;
  for (int attempt = item.title.size() > kLongestName ? 1 : 0; attempt < 5; ++attempt) {
    const std::size_t limit = attempt < 2 ? kLongestName : kShortName;
    const std::string name = attempt == 0 ? item.title : trash_info::nameWithSuffix(item.title, randomSuffix(), limit);
    const std::string infoName = name + trash_info::kExtension;
    const auto claimed = writeInfo(trash, infoName, text);
    if (claimed) {
      const auto placed = place(trash, item, name, how);
      if (placed) return {TrashedItem{paths::join(paths::join(trash.path, "files"), name)}};
      (void)files.removeFile(trash.info.get(), infoName);
      code = placed.error().code;
      // EXDEV also between two mounts of one device, and between subvolumes.
      if (code != EEXIST) return {failed(code), code == EXDEV || code == ENOSPC || code == EDQUOT};
    } else {
      code = claimed.error().code;
      if (code != EEXIST && code != ENAMETOOLONG) break;
    }
  }
  return {failed(code), true};
}

Result<void> Trash::State::place(const TrashFolder& trash, const Item& item, const std::string& name, How how) {
  if (how == How::kMove) return files.rename(item.folder, item.name, trash.files.get(), name, Replace::kNever);
  auto linked = files.link(item.folder, item.name, trash.files.get(), name);
  if (linked) return linked;
  const int code = linked.error().code;
  const bool noHardLinks = code == EPERM || code == EMLINK || code == ENOSYS;
  return noHardLinks ? fail("link", item.name, EOPNOTSUPP) : fail(std::move(linked).error());
}

Result<void> Trash::State::writeInfo(const TrashFolder& trash, const std::string& infoName, const std::string& text) {
  LUMISK_TRY(auto file, files.createFile(trash.info.get(), infoName, kPrivateFile));
  const auto written = files.write(file.get(), std::as_bytes(std::span(text)));
  const auto closed = files.close(std::move(file));
  if (written && *written == text.size() && closed) return {};
  (void)files.removeFile(trash.info.get(), infoName);
  if (!written) return fail(written.error());
  return closed ? fail("write", infoName, ENOSPC) : fail(closed.error());
}

std::string Trash::State::recordedPath(const TrashFolder& trash, const Item& item) const {
  if (trash.top.empty()) return item.path;
  const std::string start = trash.top == "/" ? trash.top : trash.top + "/";
  if (item.path.compare(0, start.size(), start) == 0) return item.path.substr(start.size());
  // The given path goes through a link: the layout wants the one below the top.
  const std::string real = paths::join(pathOfOpenFolder(item.folder), item.title);
  return real.compare(0, start.size(), start) == 0 ? real.substr(start.size()) : item.path;
}

Trash::Trash(FileCalls& files, const Clock& clock, std::string fallbackFolder)
    : state_(std::make_unique<State>(files, clock, std::move(fallbackFolder))) {}

Trash::~Trash() = default;

Result<TrashedItem> Trash::moveToTrash(int folder, const std::string& name, const std::string& path) {
  LUMISK_CHECK(state_->files.status(folder, name));
  return state_->put({folder, name, path}, How::kMove);
}

Result<TrashedItem> Trash::linkToTrash(int folder, const std::string& name, const std::string& path) {
  LUMISK_TRY(const auto status, state_->files.status(folder, name));
  if (status.type == FileType::kFolder) return fail("link into the trash", path, EOPNOTSUPP);
  return state_->put({folder, name, path}, How::kLink);
}

bool Trash::isTrashName(const std::string& name) {
  if (name == ".Trash" || name == ".Trashes" || name == "lost+found") return true;
  constexpr std::string_view kStart = ".Trash-";
  const auto isDigit = [](char byte) { return byte >= '0' && byte <= '9'; };
  return name.size() > kStart.size() && name.compare(0, kStart.size(), kStart) == 0 &&
         std::all_of(name.begin() + kStart.size(), name.end(), isDigit);
}

}  // namespace lumisk
