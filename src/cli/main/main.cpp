#include <clocale>
#include <csignal>
#include <filesystem>
#include <iostream>

#include "cli/command_line.h"
#include "platform/program_start.h"
#include "platform/terminal.h"

namespace {

std::optional<int> progressColumns() {
  using lumisk::terminal::Stream;
  if (!lumisk::terminal::isTerminal(Stream::kError)) return std::nullopt;
  return lumisk::terminal::columns(Stream::kError);
}

bool canAsk() {
  using lumisk::terminal::Stream;
  return lumisk::terminal::isTerminal(Stream::kInput) && lumisk::terminal::isTerminal(Stream::kError);
}

std::optional<std::string> readLine(const std::function<bool()>& mustStop) {
  return lumisk::terminal::readLine(0, mustStop);
}

std::optional<std::string> readPassword(const std::string& question) {
  if (canAsk()) {
    std::cerr << question << ": " << std::flush;
    return lumisk::terminal::readHiddenLine(0);
  }
  std::string line;
  if (!std::getline(std::cin, line) && line.empty()) return std::nullopt;
  return line;
}

}  // namespace

int main(int count, char** arguments) {
  lumisk::programStart::openMissingStreams();
  lumisk::programStart::allowManyDescriptors();
  // A reader that goes away (`lumisk log | head`) must not end a run in the middle of a file.
  std::signal(SIGPIPE, SIG_IGN);
  std::error_code error;
  const std::string workingFolder = std::filesystem::current_path(error).string();
  lumisk::MainLoop loop;
  lumisk::CommandIo io{
      std::cout,      std::cerr, lumisk::systemClock(), lumisk::realFileCalls(), loop, error ? "" : workingFolder,
      progressColumns};
  if (canAsk()) io.readLine = readLine;
  io.readPassword = readPassword;
  return lumisk::runCommandLine({arguments + 1, arguments + count}, io);
}
