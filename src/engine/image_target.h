#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "engine/worker_services.h"

namespace lumisk {

// How much room the disk that holds an image has for it.
struct HostRoom {
  std::uint64_t available = 0;  // bytes that may still be written there
  std::uint64_t growth = 0;     // how much larger the sparse image can still become
};

// An image that outgrows its disk damages the file system inside, so that much of the disk stays free: whatever is
// written inside costs more than its size (a journal, tables).
inline constexpr std::uint64_t kHostReserve = 128ULL * 1024 * 1024;

// Whether `bytes` more may be written into the image. Pure.
[[nodiscard]] bool fitsHost(const HostRoom& room, std::uint64_t bytes);
// Nothing when the image or its disk cannot be looked at.
[[nodiscard]] std::optional<HostRoom> hostRoomOf(FileCalls& files, const std::string& imagePath);

// The encrypted image that holds a job's target; of a job without one, nothing does anything.
class ImageTarget {
 public:
  ImageTarget(const WorkerServices& services, const QUORVELPREFERENCEINFOtag_CopyFileObjectPart& info)
      : services_(services), info_(info) {}

  void mountIfNeeded();  // when the target is not there, or what is there takes no data
  // Why a target in the image is not there; "" of a job without one.
  [[nodiscard]] std::string absenceProblem() const;
  // Why the target must not be written to: it stands where the image's volume would be. Or "".
  [[nodiscard]] std::string placeProblem() const;
  // Why nothing may be written into the image, or "".
  [[nodiscard]] std::string roomProblem() const;
  [[nodiscard]] bool hasRoomFor(std::uint64_t bytes) const;
  // Whether this run has mounted it and shall detach it, once nothing of it is open.
  [[nodiscard]] bool isToBeDetached() const { return isMountedHere_; }

 private:
  [[nodiscard]] bool isInImage() const;

  const WorkerServices& services_;
  const QUORVELPREFERENCEINFOtag_CopyFileObjectPart& info_;
  bool isMountedHere_ = false;
};

}  // namespace lumisk
