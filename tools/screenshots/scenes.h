#pragma once

#include <QWidget>
#include <functional>
#include <string>
#include <vector>

#include "support/fake_jobs_board.h"
#include "ui/windows.h"

namespace lumisk::test {

// What is photographed: a window, opened with the sample jobs. Each file of scenes adds its own.
struct Scene {
  std::string name;  // of the picture
  std::function<QWidget*(WindowSet& windows, FakeJobsBoard& board)> open;
};
using Scenes = std::vector<Scene>;

// Jobs of a person: backups, two-way folders, a clone; some running, one failed, one disabled. Their identifiers are
// "documents", "photos", "music", "laptop", "projects" and "disk".
[[nodiscard]] std::vector<BoardJob> sampleJobs(WallTime now);
inline constexpr std::int64_t kSampleNow = 1'236'091'805;  // 2009-03-03 14:50:05 UTC

// A new folder for what a picture needs on the disk, until the next call; below $LUMISK_SAMPLES, whose name is shown in
// pictures, where it is set.
[[nodiscard]] std::string newSampleFolder();

void addMainScenes(Scenes& scenes);
void addEditorScenes(Scenes& scenes);  // job editor, volumes, preferences
void addDialogScenes(Scenes& scenes);

}  // namespace lumisk::test
