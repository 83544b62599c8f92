#include "engine/copy_queue.h"

#include <cerrno>

namespace lumisk {
namespace {

// Large enough that handing it over costs little, small enough that all threads have something to do.
constexpr std::size_t kFilesInBatch = 32;
constexpr std::uint64_t kBytesInBatch = std::uint64_t{1} << 20;
// Of all batches together, these hold two descriptors for each folder.
constexpr std::size_t kFoldersInBatch = 16;
constexpr std::size_t kStepsInBatch = 256;
constexpr std::size_t kMostBatches = 6;

Place place(int folder, const std::string& path, const std::string& name) {
  return {folder, name, path + "/" + name};
}

Place sourceOf(const LaggingCopy& copy) {
  return place(copy.at->frame->source.get(), copy.at->sourcePath, copy.entry.name);
}

Place destinationOf(const LaggingCopy& copy) {
  const FolderFrame& frame = *copy.at->frame;
  Place found = place(frame.destination.get(), copy.at->destinationPath, copy.entry.destinationName);
  found.startsBare = copy.startsBare;
  if (frame.destinationState == DestinationState::kNew) found.madeFolder = &frame.destinationStatus;
  return found;
}

}  // namespace

// Some neighbouring files, and what is to be done in between on the run's thread.
class CopyQueue::Batch : public WorkPool::Task {
 public:
  explicit Batch(CopyQueue& queue) : queue_(queue) {}

  void run() override {
    auto transport = takeTransport();
    for (Step& step : steps)
      if (step.copy) step.filled = carry(*transport, *step.copy);
    const std::lock_guard lock(queue_.idleLock_);
    queue_.idle_.push_back(std::move(transport));
  }

  struct Step {
    std::shared_ptr<const FrameStack::Visit> at;
    std::optional<LaggingCopy> copy;
    Result<FileTransport::Filled> filled = fail("copy", "", ECANCELED);
    std::function<void()> something;  // where there is no copy
  };
  std::deque<Step> steps;

  Step& add(std::shared_ptr<const FrameStack::Visit> at) {
    if (steps.empty() || steps.back().at != at) ++folders_;
    steps.emplace_back().at = std::move(at);
    return steps.back();
  }
  void noteCopy(std::uint64_t size) {
    ++files_;
    bytes_ += size;
  }
  [[nodiscard]] bool isFull() const {
    return files_ >= kFilesInBatch || bytes_ >= kBytesInBatch || folders_ >= kFoldersInBatch ||
           steps.size() >= kStepsInBatch;
  }

 private:
  std::unique_ptr<FileTransport> takeTransport() {
    const std::lock_guard lock(queue_.idleLock_);
    if (queue_.idle_.empty()) return std::make_unique<FileTransport>(queue_.run_, DataCopy::Progress::kNotTold);
    auto transport = std::move(queue_.idle_.back());
    queue_.idle_.pop_back();
    return transport;
  }

  Result<FileTransport::Filled> carry(FileTransport& transport, const LaggingCopy& copy) const {
    queue_.run_.waitWhilePaused();
    if (queue_.run_.mustStop()) return fail("copy", copy.entry.name, ECANCELED);
    return FileCopier::carryAside(transport, queue_.run_.files, sourceOf(copy), copy.entry.source, destinationOf(copy));
  }

  CopyQueue& queue_;
  std::size_t files_ = 0;
  std::uint64_t bytes_ = 0;
  std::size_t folders_ = 0;
};

CopyQueue::~CopyQueue() {
  // Only after an exception is there anything left.
  for (const auto& batch : batches_)
    if (run_.pool) run_.pool->drop(*batch);
}

bool CopyQueue::takes(const WalkEntry& entry) const {
  return run_.pool && !isTelling_ && !entry.standing && entry.source.links == 1 && copier_.mayCarryAside(entry.source);
}

void CopyQueue::add(LaggingCopy copy) {
  copy.startsBare = copy.at->frame->entriesStartBare == true;
  copier_.beforeCarryingAside(copy.at->frame->destinationStatus, destinationOf(copy));
  Batch& batch = openBatch();
  Batch::Step& step = batch.add(copy.at);
  batch.noteCopy(copy.entry.source.size);
  step.copy = std::move(copy);
  if (batch.isFull()) begin();
}

void CopyQueue::then(std::function<void()> something) {
  // While outcomes are told it is its turn.
  if (batches_.empty() || isTelling_) return something();
  Batch& batch = openBatch();
  Batch::Step& step = batch.add(stack_.here());
  step.something = std::move(something);
  if (batch.isFull()) begin();
}

CopyQueue::Batch& CopyQueue::openBatch() {
  if (!lastIsOpen_) batches_.push_back(std::make_shared<Batch>(*this));
  lastIsOpen_ = true;
  return *batches_.back();
}

void CopyQueue::begin() {
  lastIsOpen_ = false;
  run_.pool->add(batches_.back());
  while (batches_.size() > 1 && (batches_.size() > kMostBatches || run_.pool->isDone(*batches_.front()))) tellFront();
}

void CopyQueue::drain() {
  if (isTelling_) return;
  lastIsOpen_ = false;
  while (!batches_.empty()) tellFront();
}

void CopyQueue::tellFront() {
  run_.pool->finish(*batches_.front());
  const auto batch = std::move(batches_.front());
  batches_.pop_front();
  isTelling_ = true;
  tell(*batch);
  isTelling_ = false;
}

void CopyQueue::tell(Batch& batch) {
  for (Batch::Step& step : batch.steps) {
    if (!step.copy) {
      stack_.revisit(*step.at, step.something);
      continue;
    }
    auto copied = copier_.carriedAside(destinationOf(*step.copy), std::move(step.filled));
    stack_.revisit(*step.copy->at, [&] { onDone(*step.copy, std::move(copied)); });
  }
}

}  // namespace lumisk
