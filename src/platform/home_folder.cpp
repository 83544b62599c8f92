#include "platform/home_folder.h"

#include <fmt/format.h>
#include <pwd.h>
#include <sys/random.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <iterator>
#include <random>
#include <vector>

#include "platform/paths.h"

namespace lumisk {

namespace {

struct Account {
  std::string name;
  std::string folder;
};

Account account() {
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found) return {};
  return {entry.pw_name, entry.pw_dir};
}

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

std::string workingFolder() {
  std::array<char, 4096> buffer{};
  return ::getcwd(buffer.data(), buffer.size()) ? buffer.data() : "/";
}

std::array<unsigned char, 16> randomBytes() {
  std::array<unsigned char, 16> bytes{};
  if (::getrandom(bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size())) return bytes;
  std::random_device device;
  for (auto& byte : bytes) byte = static_cast<unsigned char>(device());
  return bytes;
}

}  // namespace

std::string homeFolder() {
  std::string folder = environment("LUMISK_HOME");
  if (folder.empty()) folder = environment("HOME");
  if (folder.empty()) folder = account().folder;
  // A relative one would mean another folder after every change of the working folder.
  if (!folder.starts_with('/')) folder = paths::join(workingFolder(), folder);
  while (folder.size() > 1 && folder.ends_with('/')) folder.pop_back();
  return folder;
}

std::string userName() {
  const auto name = account().name;
  return name.empty() ? std::to_string(::getuid()) : name;
}

std::string generateUUID() {
  auto bytes = randomBytes();
  bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);  // version 4: random
  bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);  // the variant of RFC 4122
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    fmt::format_to(std::back_inserter(text), "{:02X}", bytes[i]);
  }
  return text;
}

}  // namespace lumisk
