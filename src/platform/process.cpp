#include "platform/process.h"

#include <pwd.h>
#include <signal.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <iterator>
#include <sstream>
#include <vector>

namespace lumisk::process {
namespace {

std::string wholeFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The state's letter follows the name in parentheses, which may hold anything.
bool hasNotEnded(const std::string& stat) {
  const auto end = stat.rfind(") ");
  return end != std::string::npos && end + 2 < stat.size() && stat[end + 2] != 'Z' && stat[end + 2] != 'X';
}

// The 22nd field of stat, the 20th behind the name: when the process began, in ticks since the machine did.
std::string beginOf(const std::string& stat) {
  const auto end = stat.rfind(") ");
  if (end == std::string::npos) return "";
  std::istringstream fields(stat.substr(end + 2));
  std::string field;
  for (int i = 0; i < 20; ++i) fields >> field;
  return field;
}

std::string identityOf(const std::string& pid, const std::string& stat) {
  std::string run = wholeFile("/proc/sys/kernel/random/boot_id");
  while (!run.empty() && run.back() == '\n') run.pop_back();
  return pid + " " + beginOf(stat) + " " + run;
}

}  // namespace

std::string identity() {
  return identityOf(std::to_string(::getpid()), wholeFile("/proc/self/stat"));
}

bool isAlive(const std::string& identity) {
  const std::string pid = identity.substr(0, identity.find(' '));
  if (pid.empty() || pid.find_first_not_of("0123456789") != std::string::npos) return false;
  const std::string stat = wholeFile("/proc/" + pid + "/stat");
  return hasNotEnded(stat) && identityOf(pid, stat) == identity;
}

bool isRunning(std::int64_t pid, const std::string& inCommandLine) {
  if (pid <= 0) return false;
  const std::string folder = "/proc/" + std::to_string(pid);
  return hasNotEnded(wholeFile(folder + "/stat")) &&
         wholeFile(folder + "/cmdline").find(inCommandLine) != std::string::npos;
}

void askToEnd(std::int64_t pid) {
  if (pid > 0) ::kill(static_cast<pid_t>(pid), SIGTERM);
}

bool isRoot() {
  return ::geteuid() == 0;
}

std::int64_t ownNumber() {
  return ::getpid();
}

std::uint32_t userId() {
  return ::getuid();
}

std::uint32_t groupId() {
  return ::getgid();
}

std::string userName() {
  std::array<char, 16384> buffer{};
  passwd entry{};
  passwd* found = nullptr;
  if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found) return found->pw_name;
  return std::to_string(::getuid());
}

std::string programPath() {
  std::array<char, 4096> buffer{};
  const ssize_t length = ::readlink("/proc/self/exe", buffer.data(), buffer.size());
  return length > 0 ? std::string(buffer.data(), static_cast<std::size_t>(length)) : std::string();
}

}  // namespace lumisk::process
