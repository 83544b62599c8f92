#pragma once

#include <cstdint>
#include <string>

namespace lumisk {

// Other processes of the machine, and this one's rights. Any thread.
namespace process {

// Whether the process runs (a zombie does not) and has this text in its command line, so that a number that was given
// to somebody else meanwhile is not taken for it. From /proc/<pid>/stat and cmdline (proc(5)).
[[nodiscard]] bool isRunning(std::int64_t pid, const std::string& inCommandLine);
// This process, and whether one of whom this was the identity still runs: its number, when it began and in which run of
// the machine, so that no other is taken for it. From proc(5).
[[nodiscard]] std::string identity();
[[nodiscard]] bool isAlive(const std::string& identity);
void askToEnd(std::int64_t pid);  // SIGTERM
[[nodiscard]] bool isRoot();
[[nodiscard]] std::int64_t ownNumber();  // of this process
[[nodiscard]] std::uint32_t userId();
[[nodiscard]] std::uint32_t groupId();
[[nodiscard]] std::string userName();  // the login name of the user id; its number when it has none
// The program that runs, as an absolute path; "" when it cannot be told.
[[nodiscard]] std::string programPath();

}  // namespace process
}  // namespace lumisk
