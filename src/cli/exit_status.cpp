#include "cli/exit_status.h"

#include <fmt/format.h>

namespace lumisk {
namespace {

struct Row {
  Ending ending;
  int status;
  const char* meaning;
};
constexpr Row kRows[] = {
    {Ending::kDone, 0, "done"},
    {Ending::kIncomplete, 1, "the run ended with an error, incomplete or held"},
    {Ending::kRefused, 2, "wrong usage or refused"},
    {Ending::kNoSuchJob, 3, "no such job, or nothing known of the path"},
    {Ending::kStoreIsHeld, 4, "another instance holds the store"},
    {Ending::kCancelled, 130, "cancelled by the user"},
};

}  // namespace

int exitStatus(Ending ending) {
  for (const Row& row : kRows) {
    if (row.ending == ending) return row.status;
  }
  return 1;
}

std::string exitStatusHelp() {
  std::string help = "Exit status:\n";
  for (const Row& row : kRows) help += fmt::format("  {:<3}  {}\n", row.status, row.meaning);
  return help;
}

}  // namespace lumisk
