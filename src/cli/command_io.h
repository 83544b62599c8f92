#pragma once

#include <functional>
#include <optional>
#include <ostream>
#include <string>

#include "cli/complaint.h"
#include "platform/clock.h"
#include "platform/file_calls.h"
#include "platform/main_loop.h"

namespace lumisk {

// What a command sees of the world. The streams are written by one thread at a time.
struct CommandIo {
  std::ostream& out;
  std::ostream& err;
  Clock& clock;
  FileCalls& files;
  MainLoop& loop;
  std::string workingFolder;  // absolute; relative paths start here. Empty when it is gone
  // Width of the terminal that standard error is; nothing when it is none, and then there is no progress line.
  std::function<std::optional<int>()> progressColumns = [] { return std::nullopt; };
  // The answer to a question on io.err; nothing when there is none, or once `mustStop` says so. Empty when nobody is
  // there to be asked.
  std::function<std::optional<std::string>(const std::function<bool()>& mustStop)> readLine{};
  // A password: asked for on a terminal and typed unseen, else the next line of standard input, which may lack its end.
  // Nothing at the input's end.
  std::function<std::optional<std::string>(const std::string& question)> readPassword{};
};

// What a command does once its options have been read.
using CommandRun = std::function<Checked<Ending>(CommandIo&)>;

}  // namespace lumisk
