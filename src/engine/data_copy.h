#pragma once

#include <cstddef>
#include <map>
#include <utility>
#include <vector>

#include "engine/run_seams.h"
#include "engine/run_state.h"

namespace lumisk {

// Copies the data of files. Holes stay holes. At full pace the kernel shares or copies whole ranges where it can; what
// a pair of file systems has refused once is not tried again. An object is used by one thread at a time; what tells the
// run of its progress is for the run's own thread.
class DataCopy {
 public:
  enum class Progress : bool { kTold, kNotTold };
  DataCopy(RunState& run, Progress progress) : run_(run), progress_(progress), buffer_(run.pace.chunkSize()) {}

  struct Open {
    int file;
    const Place& place;
  };
  // Whether a file takes one chunk or a few, and nothing but reading and writing.
  [[nodiscard]] static bool isPlainAndSmall(const FileStatus& status);
  // From the beginning of a file, whose status is as it was opened, into a new and empty one: at most its size then, so
  // that a file which grows faster than it is copied has an end; less when it got shorter. Gives the number of bytes of
  // data. ECANCELED at a stop of the run, asked before each chunk.
  Result<std::uint64_t> copy(const Open& from, const FileStatus& status, const Open& to);
  // Whether the file gave fewer bytes than its status said.
  [[nodiscard]] bool endedEarly() const { return endedEarly_; }

 private:
  struct Offload {  // what two file systems have not refused
    bool clone = true;
    bool range = true;
  };
  struct Job {
    const Open& from;
    const Open& to;
    std::uint64_t size;
    Offload* offload;  // null: not to be tried
  };
  Result<void> findOffload(Job& job, const FileStatus& status);
  Result<void> copyWhole(Job job, const FileStatus& status);
  Result<bool> clone(const Job& job);
  Result<bool> copyAroundHoles(const Job& job);
  Result<std::uint64_t> copySpan(const Job& job, std::uint64_t length);
  Result<std::size_t> copyChunk(const Job& job, std::uint64_t length);
  Result<std::size_t> copyRange(const Job& job, std::uint64_t length);
  Result<void> writeAll(const Open& to, std::size_t size);
  void noteProgress(const Job& job, std::uint64_t bytes);

  RunState& run_;
  const Progress progress_;
  bool endedEarly_ = false;
  std::uint64_t bytes_ = 0;  // of the file that is being copied, so far
  std::vector<std::byte> buffer_;
  std::map<std::pair<std::uint64_t, std::uint64_t>, Offload> offloads_;  // by source and target device
};

}  // namespace lumisk
