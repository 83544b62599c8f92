#include "platform/process.h"

#include <pwd.h>
#include <signal.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <iterator>
#include <vector>

namespace lumisk::process {
namespace {

std::string wholeFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The state's letter follows the name in parentheses, which may hold anything.
bool isAlive(const std::string& stat) {
  const auto end = stat.rfind(") ");
  return end != std::string::npos && end + 2 < stat.size() && stat[end + 2] != 'Z' && stat[end + 2] != 'X';
}

}  // namespace

bool isRunning(std::int64_t pid, const std::string& inCommandLine) {
  if (pid <= 0) return false;
  const std::string folder = "/proc/" + std::to_string(pid);
  return isAlive(wholeFile(folder + "/stat")) &&
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
