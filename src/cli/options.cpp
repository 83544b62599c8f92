#include "cli/options.h"

namespace lumisk {
namespace {

constexpr char kGuard = '\x01';

bool hasMeaningForParser(std::string_view text) {
  return text.empty() || std::string_view("[{+%\x01").find(text.front()) != std::string_view::npos;
}

std::string guardedText(const std::string& text) {
  return hasMeaningForParser(text) ? kGuard + text : text;
}

std::string guardedOption(const std::string& argument) {
  const auto equals = argument.find('=');
  if (equals == std::string::npos) return argument;
  return argument.substr(0, equals + 1) + guardedText(argument.substr(equals + 1));
}

}  // namespace

std::vector<std::string> guardedArguments(const std::vector<std::string>& arguments) {
  std::vector<std::string> guarded;
  bool optionsEnded = false;
  for (const std::string& argument : arguments) {
    const bool isOption = !optionsEnded && argument.starts_with("--");
    guarded.push_back(isOption ? guardedOption(argument) : guardedText(argument));
    if (argument == "--") optionsEnded = true;
  }
  return guarded;
}

std::string unguardedText(const std::string& text) {
  return !text.empty() && text.front() == kGuard ? text.substr(1) : text;
}

CLI::Option* addText(CLI::App& command, const std::string& spelling, std::string& text, const std::string& help) {
  return command
      .add_option_function<std::string>(
          spelling, [&text](const std::string& given) { text = unguardedText(given); }, help)
      ->type_name("");
}

CLI::Option* addTexts(CLI::App& command, const std::string& spelling, std::vector<std::string>& texts,
                      const std::string& help) {
  const auto keep = [&texts](const std::vector<std::string>& given) {
    texts.clear();
    for (const std::string& text : given) texts.push_back(unguardedText(text));
  };
  return command.add_option_function<std::vector<std::string>>(spelling, keep, help);
}

CLI::Option* addSwitch(CLI::App& command, const std::string& spelling, bool& flag, const std::string& help) {
  return command.add_flag(spelling, flag, help);
}

void addNamedJobCommand(CLI::App& parent, CommandRun& chosen, const char* word, const char* help,
                        Checked<Ending> (*run)(const NamedJob&, CommandIo&)) {
  auto* command = parent.add_subcommand(word, help);
  auto options = std::make_shared<NamedJob>();
  addText(*command, "NAME", options->name, "The job's name")->required();
  chooseWhenNamed(*command, chosen, options, run);
}

}  // namespace lumisk
