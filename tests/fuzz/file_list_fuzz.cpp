#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "engine/file_list.h"
#include "fuzz.h"

namespace {

using lumisk::FileList;
using lumisk::FileListMode;

constexpr std::size_t kHeaderSize = 20;

// In memory, since every list is synced; one folder for all runs, since the fuzzer ends without leaving.
const std::string& scratchFolder() {
  static const std::string folder = [] {
    std::string name = "/dev/shm/lumisk-fuzz-file-list";
    std::filesystem::create_directory(name);
    return name;
  }();
  return folder;
}

std::string listPath() {
  return scratchFolder() + "/" + lumisk::fileListName("job");
}

std::vector<std::string> readAll() {
  FileList list(lumisk::realFileCalls(), scratchFolder());
  std::vector<std::string> records;
  if (!list.openFilelist("job", FileListMode::kRead)) return records;
  while (const auto record = list.readDataToFilelist().value()) records.emplace_back(*record);
  require(records.size() <= list.recordCount(), "more records than the header says");
  return records;
}

}  // namespace

// What can be read of any bytes is what stands there, and nothing else: written again it gives the same bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  std::ofstream(listPath(), std::ios::binary) << bytes;
  const auto records = readAll();
  if (records.empty()) return 0;
  FileList again(lumisk::realFileCalls(), scratchFolder());
  require(again.openFilelist("job", FileListMode::kWrite).has_value(), "a list cannot be written");
  for (const std::string& record : records) again.writeDataToFilelist(record);
  require(again.closeFilelist().has_value(), "a list cannot be closed");
  std::ifstream file(listPath(), std::ios::binary);
  const std::string written{std::istreambuf_iterator<char>(file), {}};
  require(bytes.compare(kHeaderSize, written.size() - kHeaderSize, written, kHeaderSize) == 0, "other records");
  require(readAll() == records, "a written list reads back differently");
  return 0;
}
