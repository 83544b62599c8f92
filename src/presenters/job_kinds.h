#pragma once

#include <string>
#include <vector>

#include "jobs/job_record.h"

namespace lumisk {

// The four kinds of jobs as people choose them, and what is asked about each. Pure.
struct JobKind {
  JobType type;
  const char* name;      // "Backup"; English, to be translated where it is shown
  const char* sentence;  // what it does
  const char* iconName;
};
[[nodiscard]] const std::vector<JobKind>& jobKinds();
[[nodiscard]] const JobKind& kindOf(JobType type);

// Which questions make sense for a kind; the others keep their stored answers.
struct JobQuestions {
  bool revisions = false;  // how many earlier versions
  bool conflicts = false;  // who wins when both sides have changed
  bool deletions = false;  // whether they are followed
  bool filter = false;     // file types, Trash, packages
  bool fullPath = false;
  bool image = false;  // the target may lie in an encrypted image
  bool severalSources = false;
  bool wholeVolumes = false;  // source and target are volumes
};
[[nodiscard]] JobQuestions questionsOf(JobType type);

// What a person types for file types, "jpg, .PNG *.gif", as the filter compares: lower case, without dots; "." alone
// stands for files without an extension.
[[nodiscard]] std::vector<std::string> extensionsOf(const std::string& typed);
[[nodiscard]] std::string extensionsText(const std::vector<std::string>& extensions);  // "jpg, png"

// "Documents to STICK", unlike all of `taken`, and fit for a job's name.
[[nodiscard]] std::string suggestedJobName(const std::vector<std::string>& sources, const std::string& targetName,
                                           const std::vector<std::string>& taken);

}  // namespace lumisk
