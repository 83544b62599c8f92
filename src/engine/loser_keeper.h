#pragma once

#include "engine/run_seams.h"
#include "platform/trash.h"

namespace lumisk {

// Keeps the versions that a two-way job overwrites: as the job says, but the loser of a conflict always goes to the
// Trash.
class LoserKeeper : public VersionKeeper {
 public:
  LoserKeeper(VersionKeeper& asTheJobSays, Trash& trash) : asTheJobSays_(asTheJobSays), trash_(trash) {}

  enum class Loser { kByJob, kToTrash };
  void setLoser(Loser loser) { loser_ = loser; }  // for what is overwritten from now on

  Result<Kept> keep(const Place& destination, const FileStatus& standing) override;

 private:
  VersionKeeper& asTheJobSays_;
  Trash& trash_;
  Loser loser_ = Loser::kByJob;
};

}  // namespace lumisk
