#include "engine/run_problems.h"

#include <algorithm>

#include "engine/path_texts.h"

namespace lumisk {

void RunProblems::refuse(const std::string& path, const std::string& text) {
  const auto& sources = run_.info.sourcePaths;
  const bool isSource = std::find(sources.begin(), sources.end(), path) != sources.end();
  report_.refused = true;
  report_.sourceProblem = isSource;
  report_.targetProblem = !isSource && !path.empty();
  lastWasTarget_ = report_.targetProblem;
  report_.problemPath = path;
  report_.problemText = text;
}

void RunProblems::noteUnreadable(const std::string& source, CopyMethod method) {
  const bool isNormal = method == CopyMethod::kNormal;
  const std::string path = shown(source);
  run_.log.write(isNormal ? "ERROR: the source file/directory \"%s\" isn't readable\n"
                          : "ERROR: the path \"%s\" isn't readable.\n",
                 path.c_str());
  report_.sourceProblem = true;
  lastWasTarget_ = false;
  note(source, "the source file/directory \"" + path + "\" isn't readable");
}

void RunProblems::noteSource(const std::string& source, const std::string& text) {
  run_.log.write("ERROR: %s\n", text.c_str());
  report_.placeInDoubt |= report_.problemText.empty();
  report_.sourceProblem = true;
  lastWasTarget_ = false;
  note(source, text);
}

void RunProblems::noteTarget(const std::string& target, const std::string& text) {
  run_.log.write("ERROR: %s\n", text.c_str());
  report_.targetProblem = true;
  lastWasTarget_ = true;
  note(target, text);
}

void RunProblems::note(const std::string& path, const std::string& text) {
  if (!report_.problemText.empty()) return;  // the first one is told
  report_.problemPath = path;
  report_.problemText = text;
}

}  // namespace lumisk
