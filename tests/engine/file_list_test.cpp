#include "engine/file_list.h"

#include <rapidcheck.h>

#include <cerrno>

#include "support/faulty_file_calls.h"
#include "support/temp_tree.h"

namespace lumisk::test {
namespace {

class FileListTest : public ::testing::Test {
 protected:
  Result<void> write(const std::vector<std::string>& records) {
    FileList list(files_, folder());
    EXPECT_TRUE(list.openFilelist("job", FileListMode::kWrite));
    for (const std::string& record : records) list.writeDataToFilelist(record);
    return list.closeFilelist();
  }
  std::vector<std::string> read() {
    FileList list(files_, folder());
    std::vector<std::string> records;
    if (!list.openFilelist("job", FileListMode::kRead)) return records;
    while (const auto record = list.readDataToFilelist().value_or(std::nullopt)) records.emplace_back(*record);
    return records;
  }
  std::string folder() { return tree_ / "Preferences"; }
  std::string path() { return folder() + "/job.qellumiskdat"; }

  TempTree tree_{{"Preferences", Dir{}}};
  FaultyFileCalls files_;
};

std::string bytes(const char* text, std::size_t size) {
  return {text, size};
}

TEST_F(FileListTest, Written_IsTheGivenLayout) {
  ASSERT_TRUE(write({}));
  EXPECT_EQ(readFile(path()), "MACOFLSIGN" + std::string(10, '\0'));
  ASSERT_TRUE(write({"/s/a", "/t/\xFF"}));
  EXPECT_EQ(readFile(path()), "MACOFLSIGN" + bytes("\0\0\0\2\0\0\0\0\0\0\0\0\0\4/s/a\0\0\0\4/t/\xFF", 26));
  EXPECT_EQ(listing(folder()), std::vector<std::string>{"job.qellumiskdat"});
}

TEST_F(FileListTest, AnyRecords_ComeBackTheSame) {
  EXPECT_TRUE(rc::check([this] {
    // Around the size of the buffer, where records do not fit behind each other.
    const auto size =
        rc::gen::oneOf(rc::gen::inRange(1, 300), rc::gen::inRange(65500, 65560), rc::gen::inRange(20000, 200000));
    const auto sizes = *rc::gen::container<std::vector<int>>(size);
    std::vector<std::string> records;
    for (const int length : sizes)
      records.emplace_back(static_cast<std::size_t>(length), static_cast<char>('a' + length % 26));
    RC_ASSERT(write(records).has_value());
    RC_ASSERT(read() == records);
  }));
}

TEST_F(FileListTest, DamagedList_EndsAtTheFirstThingThatDoesNotFit) {
  ASSERT_TRUE(write({"/s/a", "/t/a", "/s/b", "/t/b"}));
  const std::string whole = readFile(path());
  for (std::size_t size = 0; size < whole.size(); ++size) {
    writeFile(path(), whole.substr(0, size));
    EXPECT_EQ(read().size(), size < 20 ? 0u : (size - 20) / 8) << size;
  }
  const auto readWith = [&](std::size_t offset, const std::string& damage) {
    std::string damaged = whole;
    damaged.replace(offset, damage.size(), damage);
    writeFile(path(), damaged);
    return read();
  };
  const std::vector<std::string> first{"/s/a"};
  EXPECT_EQ(readWith(28, bytes("\xFF\xFF\xFF\xFF", 4)), first);      // longer than memory
  EXPECT_EQ(readWith(28, bytes("\0\0\0\x15", 4)), first);            // one byte longer than the file
  EXPECT_EQ(readWith(28, bytes("\0\0\0\0", 4)), first);              // empty
  EXPECT_EQ(readWith(33, bytes("\0", 1)), first);                    // a zero byte in a path
  EXPECT_EQ(readWith(10, bytes("\xFF\xFF\xFF\xFF", 4)).size(), 4u);  // more records than there are
  EXPECT_EQ(readWith(10, bytes("\0\0\0\1", 4)), first);              // fewer
}

TEST_F(FileListTest, RecordWithoutItsPartner_IsNoPair) {
  ASSERT_TRUE(write({"/s/a", "/t/a", "/s/b"}));
  FileList list(files_, folder());
  ASSERT_TRUE(list.openFilelist("job", FileListMode::kRead));
  EXPECT_EQ((*list.readPair())->destination, "/t/a");
  EXPECT_FALSE(*list.readPair());
  EXPECT_FALSE(*list.readPair());
}

TEST_F(FileListTest, OtherFile_IsSetAside) {
  writeFile(path(), "MACOFLSIGX" + std::string(30, '\0'));
  FileList list(files_, folder());
  EXPECT_EQ(list.openFilelist("job", FileListMode::kRead).error().code, EINVAL);
  EXPECT_EQ(listing(folder()), std::vector<std::string>{"job.qellumiskdat.damaged"});
  EXPECT_EQ(list.openFilelist("job", FileListMode::kRead).error().code, ENOENT);
}

TEST_F(FileListTest, AnyFailureWhileWriting_LeavesThePreviousList) {
  ASSERT_TRUE(write({"/s/old", "/t/old"}));
  const std::vector<FileCall> calls{FileCall::kWrite, FileCall::kSeek, FileCall::kSyncFile, FileCall::kClose,
                                    FileCall::kRename};
  for (const FileCall call : calls) {
    files_.forgetRules();
    files_.fail(call, ENOSPC);
    EXPECT_FALSE(write({"/s/new", "/t/new", std::string(70000, 'n'), "/t/new2"})) << static_cast<int>(call);
    EXPECT_EQ(read(), (std::vector<std::string>{"/s/old", "/t/old"}));
    EXPECT_EQ(listing(folder()).size(), 1u);
  }
}

TEST_F(FileListTest, Unclosed_LeavesThePreviousList) {
  ASSERT_TRUE(write({"/s/old", "/t/old"}));
  {
    FileList list(files_, folder());
    ASSERT_TRUE(list.openFilelist("job", FileListMode::kWrite));
    FileListRecorder(list).recordPair("/s/new", "/t/new");
    EXPECT_EQ(list.recordCount(), 2u);
  }
  EXPECT_EQ(read(), (std::vector<std::string>{"/s/old", "/t/old"}));
  EXPECT_EQ(listing(folder()).size(), 1u);
}

TEST_F(FileListTest, KilledWriter_LeavesNothingForGood) {
  files_.fail(FileCall::kRemoveFile, EIO, {.times = FaultyFileCalls::kAlways});
  {
    FileList list(files_, folder());
    ASSERT_TRUE(list.openFilelist("job", FileListMode::kWrite));
  }
  EXPECT_EQ(listing(folder()).size(), 1u);
  files_.forgetRules();
  ASSERT_TRUE(write({"/s/a", "/t/a"}));
  EXPECT_EQ(listing(folder()), std::vector<std::string>{"job.qellumiskdat"});
}

}  // namespace
}  // namespace lumisk::test
