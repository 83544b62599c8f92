#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "fuzz.h"
#include "helper_service/job_file.h"
#include "platform/untrusted_file.h"

namespace {

using namespace lumisk;

// In memory; one folder for all runs, since the fuzzer ends without leaving.
const std::string& jobPath() {
  static const std::string path = [] {
    const std::string folder = "/dev/shm/lumisk-fuzz-job-file";
    ::mkdir(folder.c_str(), 0700);
    return folder + "/job.plist";
  }();
  return path;
}

}  // namespace

// Whatever stands in a job file: an order of whole, plain values, or a reason against it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::ofstream(jobPath(), std::ios::binary) << std::string(reinterpret_cast<const char*>(data), size);
  ::chmod(jobPath().c_str(), 0600);
  const auto job = openCloneJob(jobPath(), {::getuid(), ::getgid()});
  if (!job) {
    require(job.error().code != 0, "refused without a reason");
    return 0;
  }
  require(isPlainPath(job->order.sourcePath) && isPlainPath(job->order.targetPath), "a path that is not plain");
  require(!job->order.targetDevice.empty(), "no device");
  return 0;
}
