#include "cli/terminal_dialogs.h"

#include <fmt/format.h>

#include "cli/text_list.h"
#include "platform/byte_text.h"

namespace lumisk {
namespace {

// Texts made for windows, on one line: line breaks become blanks.
std::string flowing(const std::string& text) {
  std::string line;
  for (const char byte : text) {
    const bool isBlank = byte == '\n' || byte == '\r' || byte == ' ';
    if (!isBlank) line += byte;
    if (isBlank && !line.empty() && line.back() != ' ') line += ' ';
  }
  if (!line.empty() && line.back() == ' ') line.pop_back();
  return line;
}

// Several lines, each made harmless for a terminal.
std::string indented(const std::string& text) {
  std::string shown;
  std::size_t begin = 0;
  while (begin <= text.size()) {
    const auto end = std::min(text.find('\n', begin), text.size());
    shown += "    " + displayText(std::string_view(text).substr(begin, end - begin)) + "\n";
    begin = end + 1;
  }
  return shown;
}

std::string questionText(const ConflictQuestion& question) {
  return fmt::format(
      "{}: changed on both sides\n  source:\n{}  target:\n{}"
      "Keep [s]ource, [t]arget, [n]ewer or [b]oth? Add ! for all conflicts of this run: ",
      displayText(question.jobName), indented(question.sourceText), indented(question.targetText));
}

}  // namespace

void TerminalDialogs::showAlert(const std::string& title, const std::string& message) {
  display_.message(title, flowing(message));
}

void TerminalDialogs::showMessage(const std::string& jobName, const std::string& title, const std::string& message) {
  const std::string text = flowing(message);
  display_.message(jobName, text.empty() ? flowing(title) : text);
}

// Some messages begin with the path themselves.
void TerminalDialogs::showPathProblem(const PathProblem& problem) {
  const std::string prefix = displayText(problem.path) + ": ";
  const bool namesPath = problem.message.starts_with(prefix);
  display_.message(problem.path.empty() ? problem.jobName : problem.path,
                   flowing(problem.message.substr(namesPath ? prefix.size() : 0)));
}

// At the command line the summary is the end of a run, and nothing goes on behind it.
void TerminalDialogs::showFinish(const FinishDialog&) {}

ConflictAnswer TerminalDialogs::askConflict(const ConflictQuestion& question) {
  while (const auto line = answerTo(questionText(question))) {
    if (const auto answer = parseConflictAnswer(*line)) return *answer;
  }
  // Cancelled in the middle of the question: whatever the run still does with the answer, both versions stay.
  if (isStopping_) return {ConflictChoice::kKeepBoth, true};
  return {withoutAnswer_, true};
}

bool TerminalDialogs::ask(const std::string& title, const std::string& message, const std::string& accept,
                          const std::string& refuse) {
  const auto answer = answerTo(fmt::format("{}: {}\n{} [y] or {} [n]? ", displayText(title),
                                           displayText(flowing(message)), displayText(accept), displayText(refuse)));
  return answer && (loweredAscii(*answer) == "y" || loweredAscii(*answer) == "yes");
}

std::optional<std::string> TerminalDialogs::answerTo(const std::string& question) {
  return display_.ask(question, [this] { return isStopping_.load(); });
}

std::optional<ConflictAnswer> parseConflictAnswer(const std::string& line) {
  std::string choice = loweredAscii(line);
  const bool forAll = !choice.empty() && choice.back() == '!';
  if (forAll) choice.pop_back();
  if (choice == "s" || choice == "source") return ConflictAnswer{ConflictChoice::kSourceWins, forAll};
  if (choice == "t" || choice == "target") return ConflictAnswer{ConflictChoice::kTargetWins, forAll};
  if (choice == "n" || choice == "newer") return ConflictAnswer{ConflictChoice::kNewerWins, forAll};
  if (choice == "b" || choice == "both") return ConflictAnswer{ConflictChoice::kKeepBoth, forAll};
  return std::nullopt;
}

}  // namespace lumisk
