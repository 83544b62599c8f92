#include "presenters/job_kinds.h"

#include <fmt/format.h>

#include <algorithm>

#include "jobs/job_checks.h"
#include "platform/byte_text.h"
#include "platform/paths.h"
#include "platform/translation.h"
#include "presenters/locale_text.h"

namespace lumisk {
namespace {

constexpr std::size_t kLongestPart = 80;  // bytes of one folder's name in a suggested name

char lowered(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

std::string extensionOf(std::string word) {
  if (word.starts_with("*.")) word.erase(0, 1);
  if (word.size() > 1 && word.front() == '.') word.erase(0, 1);
  std::transform(word.begin(), word.end(), word.begin(), lowered);
  return word;
}

std::string shortened(const std::string& name) {
  std::string part = displayText(name);
  if (part.size() <= kLongestPart) return part;
  part.resize(kLongestPart);
  while (!part.empty() && !isValidUtf8(part)) part.pop_back();
  return part + "…";
}

std::string nameOfPlace(const std::string& path) {
  const std::string name = paths::lastComponent(path);
  return name.empty() ? translated("Computer") : shortened(name);
}

std::string sourcesText(const std::vector<std::string>& sources) {
  const std::string first = nameOfPlace(sources.front());
  if (sources.size() == 1) return first;
  return filled(translated("{} and {} more"), first, sources.size() - 1);
}

}  // namespace

const std::vector<JobKind>& jobKinds() {
  static const std::vector<JobKind> kinds{
      {JobType::kBackup, markedText("Backup"), markedText("Copies folders to another place."), "type-backup"},
      {JobType::kSyncWithConflicts, markedText("Two-way sync"), markedText("Keeps two folders the same."), "type-sync"},
      {JobType::kSyncWithRevisions, markedText("Two-way sync with versions"),
       markedText("The same, and keeps earlier versions."), "type-sync-revisions"},
      {JobType::kClone, markedText("Clone"), markedText("Copies one whole volume exactly."), "type-clone"},
  };
  return kinds;
}

const JobKind& kindOf(JobType type) {
  const auto& kinds = jobKinds();
  const auto found = std::find_if(kinds.begin(), kinds.end(), [&](const JobKind& kind) { return kind.type == type; });
  return found == kinds.end() ? kinds.front() : *found;
}

JobQuestions questionsOf(JobType type) {
  JobQuestions asked;
  asked.wholeVolumes = type == JobType::kClone;
  if (asked.wholeVolumes) return asked;
  asked.filter = asked.image = asked.severalSources = true;
  asked.revisions = type != JobType::kSyncWithConflicts;
  asked.fullPath = type != JobType::kSyncWithConflicts;
  asked.conflicts = isSync(type);
  asked.deletions = !isSync(type);
  return asked;
}

std::vector<std::string> extensionsOf(const std::string& typed) {
  std::vector<std::string> extensions;
  std::string word;
  for (const char letter : typed + ' ') {
    const bool isBetween = letter == ' ' || letter == ',' || letter == ';' || letter == '\t' || letter == '\n';
    if (!isBetween) word += letter;
    if (!isBetween || word.empty()) continue;
    const std::string extension = extensionOf(std::exchange(word, {}));
    if (std::find(extensions.begin(), extensions.end(), extension) == extensions.end()) extensions.push_back(extension);
  }
  return extensions;
}

std::string extensionsText(const std::vector<std::string>& extensions) {
  std::string text;
  for (const std::string& extension : extensions) text += (text.empty() ? "" : ", ") + extension;
  return text;
}

std::string suggestedJobName(const std::vector<std::string>& sources, const std::string& targetName,
                             const std::vector<std::string>& taken) {
  if (sources.empty()) return {};
  std::string name = sourcesText(sources);
  if (!targetName.empty()) name = filled(translated("{} to {}"), name, shortened(targetName));
  std::replace(name.begin(), name.end(), '/', '-');
  if (checkJobName(name)) return {};
  std::string free = name;
  for (int number = 2; std::find(taken.begin(), taken.end(), free) != taken.end(); ++number)
    free = fmt::format("{} {}", name, number);
  return free;
}

}  // namespace lumisk
