#include "cli/command_line.h"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include "cli/commands.h"
#include "cli/options.h"

namespace lumisk {
namespace {

void addJobCommands(CLI::App& parent, CommandRun& chosen) {
  auto* job = parent.add_subcommand("job", "Make, show and change jobs");
  job->require_subcommand(1);
  addJobAddCommand(*job, chosen);
  addJobListCommand(*job, chosen);
  addJobShowCommand(*job, chosen);
  addJobEditCommand(*job, chosen);
  addJobRenameCommand(*job, chosen);
  addJobRemoveCommand(*job, chosen);
  addJobEnableCommands(*job, chosen);
}

void addCommands(CLI::App& parser, CommandRun& chosen) {
  parser.require_subcommand(0, 1);
  parser.set_version_flag("--version", "lumisk " LUMISK_VERSION, "Print the version");
  parser.footer(exitStatusHelp());
  parser.get_formatter()->label("REQUIRED", "(required)");
  addBackupCommand(parser, chosen);
  addJobCommands(parser, chosen);
  addSyncCommand(parser, chosen);
  addRunCommand(parser, chosen);
  addStatusCommand(parser, chosen);
  addNextCommand(parser, chosen);
  addDaemonCommand(parser, chosen);
  addStartCommands(parser, chosen);
  addSendCommand(parser, chosen);
  addLogCommand(parser, chosen);
  addVersionsCommand(parser, chosen);
  addRestoreCommand(parser, chosen);
  addVolumesCommand(parser, chosen);
  addImageCommand(parser, chosen);
  addDisksCommand(parser, chosen);
}

// The parser's own messages may show guarded texts and end with a hint on further lines.
std::string firstLine(const std::string& text) {
  std::string line = text.substr(0, text.find('\n'));
  std::erase(line, '\x01');
  return line;
}

// The command that the arguments name so far: "job add".
std::string commandPath(const CLI::App& parser) {
  const auto named = parser.get_subcommands();
  if (named.empty()) return "";
  const std::string below = commandPath(*named.front());
  return named.front()->get_name() + (below.empty() ? "" : " " + below);
}

enum class Parsed { kCommand, kAnswered };

// No exception leaves this function.
Checked<Parsed> parse(CLI::App& parser, const std::vector<std::string>& arguments, CommandIo& io) {
  try {
    auto reversed = guardedArguments(arguments);
    std::reverse(reversed.begin(), reversed.end());
    parser.parse(reversed);
    return Parsed::kCommand;
  } catch (const CLI::Success& asked) {
    parser.exit(asked, io.out, io.err);  // prints what --help or --version asked for
    return Parsed::kAnswered;
  } catch (const CLI::ParseError& error) {
    const std::string path = commandPath(parser);
    return refuse(path.empty() ? "command line" : path, firstLine(error.what()) + " (see --help)");
  }
}

Checked<Ending> carryOut(const std::vector<std::string>& arguments, CommandIo& io) {
  CommandRun chosen = showJobs;
  CLI::App parser("Backs up and synchronises folders. Without a command it shows the jobs and their state.", "lumisk");
  addCommands(parser, chosen);
  LUMISK_TRY(const Parsed parsed, parse(parser, arguments, io));
  return parsed == Parsed::kCommand ? chosen(io) : Checked<Ending>(Ending::kDone);
}

}  // namespace

int runCommandLine(const std::vector<std::string>& arguments, CommandIo& io) {
  const auto ending = carryOut(arguments, io);
  io.out.flush();
  if (ending) return exitStatus(*ending);
  io.err << complaintLine(ending.error()) << std::endl;
  return exitStatus(ending.error().ending);
}

}  // namespace lumisk
