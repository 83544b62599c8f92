#pragma once

#include <CLI/App.hpp>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cli/command_io.h"

namespace lumisk {

// The parser gives some texts a meaning of its own ("[a,b]" a list, "{}" an empty one, "++" the end of a command).
// Names and paths are any bytes, so every argument is guarded before the parser sees it, and the options below, the
// only ways to take a text, unguard what they get.
[[nodiscard]] std::vector<std::string> guardedArguments(const std::vector<std::string>& arguments);
[[nodiscard]] std::string unguardedText(const std::string& text);

CLI::Option* addText(CLI::App& command, const std::string& spelling, std::string& text, const std::string& help);
// May be given several times and may take several texts at once.
CLI::Option* addTexts(CLI::App& command, const std::string& spelling, std::vector<std::string>& texts,
                      const std::string& help);
CLI::Option* addSwitch(CLI::App& command, const std::string& spelling, bool& flag, const std::string& help);

// Has `run(options, io)` done once the command line has been read and named this command.
template <class Options>
void chooseWhenNamed(CLI::App& command, CommandRun& chosen, std::shared_ptr<Options> options,
                     Checked<Ending> (*run)(const Options&, CommandIo&)) {
  command.callback([&chosen, options = std::move(options), run] {
    chosen = [options, run](CommandIo& io) { return run(*options, io); };
  });
}

// A command whose only argument is a job's name.
struct NamedJob {
  std::string name;
};
void addNamedJobCommand(CLI::App& parent, CommandRun& chosen, const char* word, const char* help,
                        Checked<Ending> (*run)(const NamedJob&, CommandIo&));

}  // namespace lumisk
