#pragma once

#include <string>

namespace lumisk {

// How a command ended.
enum class Ending {
  kDone,
  kIncomplete,   // a run ended with an error, incomplete or held; or the command could not be carried out
  kRefused,      // wrong usage, or something that is not done
  kNoSuchJob,    // or nothing known of a path
  kStoreIsHeld,  // another instance has the store
  kCancelled,
};

// The only place where exit statuses are assigned.
[[nodiscard]] int exitStatus(Ending ending);
// The list of them for `--help`.
[[nodiscard]] std::string exitStatusHelp();

}  // namespace lumisk
