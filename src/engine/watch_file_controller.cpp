#include "engine/watch_file_controller.h"

#include "engine/listened_folders.h"

namespace lumisk {
namespace {

class StreamEvents : public FolderEvents {
 public:
  StreamEvents(FileEventStreams& streams, std::vector<WatchedRoot> roots, FileEventObserver observer,
               FileEventOptions options)
      : stream_(streams, std::move(roots), std::move(observer), std::move(options)) {}
  [[nodiscard]] WatchedCounts counts() const override { return stream_.counts(); }

 private:
  FileEventStream stream_;
};

}  // namespace

ListenToFolders listenWith(FileEventStreams& streams) {
  return [&streams](std::vector<WatchedRoot> roots, FileEventObserver observer, FileEventOptions options) {
    return std::make_unique<StreamEvents>(streams, std::move(roots), std::move(observer), std::move(options));
  };
}

void watchFileController::startWatchFileWithArray(const std::vector<WatchedRoot>& roots, const std::string& target) {
  FileEventObserver observer;
  observer.eventCallback = [this](const std::vector<std::string>& folders) {
    receiver_.addStringArrayToArray(sortedMessagesArray(folders));
  };
  observer.onStanding = [this] { receiver_.watchingHasBegun(); };
  observer.onLimit = [this](const std::string& text) { receiver_.watchingIsLimited(text); };
  FileEventOptions options;
  options.isIgnored = [target](const std::string& folder, std::string_view name) {
    return isIgnoredEvent(target, folder, name);
  };
  _stream = listen_(roots, std::move(observer), std::move(options));
}

bool watchFileController::stopWatchFile() {
  _stream.reset();
  return true;
}

}  // namespace lumisk
