#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "engine/folder_frame.h"
#include "engine/run_seams.h"

namespace lumisk {

// The pairs of folders from the roots down to where the walk is, and their paths. Only the roots and the lowest levels
// keep their descriptors; the others are opened again on the way back, as the parents of what is open or from the roots
// downwards, and are taken only when they are the same folders as before.
class FrameStack {
 public:
  static constexpr std::size_t kOpenLevels = 32;

  explicit FrameStack(FileCalls& files) : files_(files) {}

  void begin(FolderFrame roots, std::string sourcePath, std::string destinationPath);
  // Into a sub-folder; each side may spell its name in its own way.
  void push(FolderFrame frame, std::string_view sourceName, std::string_view destinationName);
  // Back to the folder above. On failure that one is lost, and the next pop() tries the one above it.
  Result<void> pop();

  // A pair of folders to come back to, which stays open as long as this is kept and the stack does not close it.
  struct Visit {
    std::shared_ptr<FolderFrame> frame;
    std::string sourcePath;
    std::string destinationPath;
  };
  [[nodiscard]] std::shared_ptr<const Visit> here();
  // Does something with that pair on top, wherever the walk is.
  void revisit(const Visit& visit, const std::function<void()>& something);

  [[nodiscard]] std::size_t depth() const { return levels_.size(); }
  [[nodiscard]] bool isEmpty() const { return levels_.empty(); }
  [[nodiscard]] FolderFrame& top() { return *levels_.back().frame; }
  [[nodiscard]] const FolderFrame& top() const { return *levels_.back().frame; }
  [[nodiscard]] const FolderFrame& roots() const { return *levels_.front().frame; }
  // Of the folders that the walk is in.
  [[nodiscard]] const std::string& sourcePath() const { return source_; }
  [[nodiscard]] const std::string& destinationPath() const { return destination_; }
  [[nodiscard]] Place sourcePlace(const std::string& name) const;
  [[nodiscard]] Place destinationPlace(const std::string& name) const;
  // The destination path in two parts.
  [[nodiscard]] std::string_view destinationRoot() const;
  [[nodiscard]] std::string_view belowDestinationRoot() const;

 private:
  struct Level {
    std::shared_ptr<FolderFrame> frame;
    std::size_t sourceLength;
    std::size_t destinationLength;
    std::shared_ptr<const Visit> visit = nullptr;  // made when first asked for
  };
  Result<void> reopen(FolderFrame& frame, const FolderFrame& child);

  FileCalls& files_;
  std::deque<Level> levels_;
  std::string source_;
  std::string destination_;
};

}  // namespace lumisk
