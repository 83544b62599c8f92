#include "support/temp_tree.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace lumisk::test {
namespace {

namespace fs = std::filesystem;

void require(bool done, const std::string& what) {
  if (!done) throw std::runtime_error(what + ": " + std::generic_category().message(errno));
}

struct stat statusOf(const std::string& path) {
  struct stat status {};
  require(lstat(path.c_str(), &status) == 0, path);
  return status;
}

std::string linkText(const std::string& path) {
  return fs::read_symlink(path).string();
}

std::map<std::string, std::string> attributesOf(const std::string& path) {
  std::map<std::string, std::string> found;
  std::string names(65536, '\0');
  const ssize_t length = llistxattr(path.c_str(), names.data(), names.size());
  for (ssize_t at = 0; at < length;) {
    const std::string name = names.c_str() + at;
    at += static_cast<ssize_t>(name.size()) + 1;
    std::string value(65536, '\0');
    const ssize_t size = lgetxattr(path.c_str(), name.c_str(), value.data(), value.size());
    if (size < 0) continue;
    value.resize(static_cast<std::size_t>(size));
    found[name] = value;
  }
  return found;
}

void make(const std::string& path, const File& file) {
  writeFile(path, file.text);
  for (const auto& [name, value] : file.attributes)
    require(lsetxattr(path.c_str(), name.c_str(), value.data(), value.size(), 0) == 0, path + " " + name);
  if (file.mode) require(chmod(path.c_str(), *file.mode) == 0, path);
  if (file.modified) setModified(path, *file.modified, file.nanoseconds);
}
void make(const std::string& path, const Link& link) {
  fs::create_symlink(link.text, path);
}
void make(const std::string& path, const Fifo&) {
  require(mkfifo(path.c_str(), 0600) == 0, path);
}
void make(const std::string& path, const Dir& dir) {
  fs::create_directory(path);
  makeTree(path, dir.entries);
  if (dir.mode) require(chmod(path.c_str(), *dir.mode) == 0, path);
  if (dir.modified) setModified(path, *dir.modified);
}

using Differences = std::vector<std::string>;

void compare(const std::string& path, const Dir& expected, Differences& differences);

void compareStatus(const std::string& path, const std::optional<std::uint32_t>& mode,
                   const std::optional<std::int64_t>& modified, Differences& differences) {
  const struct stat status = statusOf(path);
  if (mode && (status.st_mode & 07777) != *mode)
    differences.push_back(path + ": mode " + std::to_string(status.st_mode & 07777) + ", not " + std::to_string(*mode));
  if (modified && status.st_mtim.tv_sec != *modified)
    differences.push_back(path + ": modified " + std::to_string(status.st_mtim.tv_sec) + ", not " +
                          std::to_string(*modified));
}

void compareNode(const std::string& path, const File& file, Differences& differences) {
  const struct stat status = statusOf(path);
  if (!S_ISREG(status.st_mode)) return differences.push_back(path + ": not a file");
  if (readFile(path) != file.text) differences.push_back(path + ": holds \"" + readFile(path).substr(0, 80) + "\"");
  compareStatus(path, file.mode, file.modified, differences);
  if (file.modified && file.nanoseconds != 0 && status.st_mtim.tv_nsec != file.nanoseconds)
    differences.push_back(path + ": nanoseconds " + std::to_string(status.st_mtim.tv_nsec));
  const auto found = attributesOf(path);
  for (const auto& [name, value] : file.attributes)
    if (const auto at = found.find(name); at == found.end() || at->second != value)
      differences.push_back(path + ": attribute " + name);
}
void compareNode(const std::string& path, const Link& link, Differences& differences) {
  if (!S_ISLNK(statusOf(path).st_mode)) return differences.push_back(path + ": not a link");
  if (linkText(path) != link.text) differences.push_back(path + ": leads to " + linkText(path));
}
void compareNode(const std::string& path, const Fifo&, Differences& differences) {
  if (!S_ISFIFO(statusOf(path).st_mode)) differences.push_back(path + ": not a fifo");
}
void compareNode(const std::string& path, const Dir& dir, Differences& differences) {
  if (!S_ISDIR(statusOf(path).st_mode)) return differences.push_back(path + ": not a folder");
  compareStatus(path, dir.mode, dir.modified, differences);
  compare(path, dir, differences);
}

void compare(const std::string& path, const Dir& expected, Differences& differences) {
  std::set<std::string> wanted;
  for (const auto& [name, node] : expected.entries) {
    wanted.insert(name);
    const std::string at = path + "/" + name;
    if (!exists(at)) {
      differences.push_back(at + ": missing");
      continue;
    }
    std::visit([&](const auto& one) { compareNode(at, one, differences); }, node);
  }
  for (const std::string& name : listing(path))
    if (!wanted.count(name)) differences.push_back(path + "/" + name + ": not expected");
}

void compareSame(const std::string& a, const std::string& b, Differences& differences) {
  const struct stat left = statusOf(a);
  const struct stat right = statusOf(b);
  if ((left.st_mode & S_IFMT) != (right.st_mode & S_IFMT)) return differences.push_back(b + ": another type");
  if (left.st_mode != right.st_mode && !S_ISLNK(left.st_mode)) differences.push_back(b + ": another mode");
  if (left.st_mtim.tv_sec != right.st_mtim.tv_sec || left.st_mtim.tv_nsec != right.st_mtim.tv_nsec)
    differences.push_back(b + ": another date");
  if (attributesOf(a) != attributesOf(b)) differences.push_back(b + ": other attributes");
  if (S_ISLNK(left.st_mode)) {
    if (linkText(a) != linkText(b)) differences.push_back(b + ": another link text");
  } else if (S_ISREG(left.st_mode)) {
    if (readFile(a) != readFile(b)) differences.push_back(b + ": other bytes");
  } else if (S_ISDIR(left.st_mode)) {
    const auto leftNames = listing(a);
    for (const std::string& name : leftNames)
      exists(b + "/" + name) ? compareSame(a + "/" + name, b + "/" + name, differences)
                             : differences.push_back(b + "/" + name + ": missing");
    for (const std::string& name : listing(b))
      if (!std::binary_search(leftNames.begin(), leftNames.end(), name))
        differences.push_back(b + "/" + name + ": not expected");
  }
}

::testing::AssertionResult verdict(const Differences& differences) {
  if (differences.empty()) return ::testing::AssertionSuccess();
  auto failure = ::testing::AssertionFailure();
  for (const std::string& line : differences) failure << "\n  " << line;
  return failure;
}

}  // namespace

TempTree::TempTree(std::initializer_list<std::pair<std::string, Node>> entries) {
  const char* base = std::getenv("LUMISK_TEST_DIR");
  path_ = (base ? std::string(base) : fs::temp_directory_path().string()) + "/lumisk-test-XXXXXX";
  require(mkdtemp(path_.data()) != nullptr, path_);
  makeTree(path_, entries);
}

TempTree::~TempTree() {
  std::error_code ignored;
  for (auto at = fs::recursive_directory_iterator(path_, ignored); !ignored && at != fs::end(at); at.increment(ignored))
    if (at->is_directory(ignored) && !at->is_symlink(ignored)) chmod(at->path().c_str(), 0700);
  fs::remove_all(path_, ignored);
}

void makeTree(const std::string& folder, const std::vector<std::pair<std::string, Node>>& entries) {
  for (const auto& [name, node] : entries) {
    const std::string at = folder + "/" + name;
    fs::remove_all(at);
    std::visit([&](const auto& one) { make(at, one); }, node);
  }
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

void writeFile(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
  out.close();
  require(out.good(), path);
}

bool exists(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0;
}

std::vector<std::string> listing(const std::string& path) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(path)) names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<std::string> treeListing(const std::string& path) {
  std::vector<std::string> names;
  for (const auto& entry : fs::recursive_directory_iterator(path))
    names.push_back(entry.path().string().substr(path.size() + 1) +
                    (entry.is_directory() && !entry.is_symlink() ? "/" : ""));
  std::sort(names.begin(), names.end());
  return names;
}

std::set<std::string> textsBelow(const std::string& path) {
  std::set<std::string> texts;
  const auto take = [&](const fs::path& at) {
    const auto type = fs::symlink_status(at).type();
    if (type == fs::file_type::symlink) texts.insert(fs::read_symlink(at));
    if (type == fs::file_type::regular) texts.insert(readFile(at));
  };
  take(path);
  if (fs::symlink_status(path).type() != fs::file_type::directory) return texts;
  for (const auto& entry : fs::recursive_directory_iterator(path)) take(entry.path());
  return texts;
}

void setModified(const std::string& path, std::int64_t seconds, std::int64_t nanoseconds) {
  const timespec times[2] = {{seconds, nanoseconds}, {seconds, nanoseconds}};
  require(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW) == 0, path);
}

void waitForTick(const std::string& folder) {
  timespec now{}, stamp{};
  clock_gettime(CLOCK_REALTIME, &now);
  do {
    writeFile(folder + "/tick", "");
    stamp = statusOf(folder + "/tick").st_ctim;
  } while (std::pair(stamp.tv_sec, stamp.tv_nsec) <= std::pair(now.tv_sec, now.tv_nsec));
}

::testing::AssertionResult expectTreeExactly(const std::string& folder, const Dir& expected) {
  Differences differences;
  compare(folder, expected, differences);
  return verdict(differences);
}

::testing::AssertionResult expectSameTrees(const std::string& a, const std::string& b) {
  Differences differences;
  compareSame(a, b, differences);
  return verdict(differences);
}

}  // namespace lumisk::test
