#include "engine/written_data.h"

#include "support/faulty_file_calls.h"
#include "support/temp_tree.h"

namespace lumisk::test {
namespace {

class WrittenDataTest : public ::testing::Test {
 protected:
  // Makes files in the folder and notes them.
  void writeFiles(int howMany) {
    for (int i = 0; i < howMany; ++i) {
      const auto file = files.createFile(folder.get(), "f" + std::to_string(made++), 0600);
      ASSERT_TRUE(file);
      written.wrote(file->get(), folder.get(), device);
    }
  }

  TempTree tree;
  FaultyFileCalls files;
  Descriptor folder = std::move(*files.openRoot(tree.path()));
  std::uint64_t device = files.statusOf(folder.get())->identity.device;
  WrittenData written{files};
  int made = 0;
};

TEST_F(WrittenDataTest, NothingWritten_WaitsForNothing) {
  ASSERT_TRUE(written.begin(folder.get()));
  EXPECT_TRUE(written.settle());
  EXPECT_EQ(files.count(FileCall::kSyncFile) + files.count(FileCall::kSyncFileSystem), 0);
}

TEST_F(WrittenDataTest, FewEntries_AreSyncedOneByOneWithTheirFolders) {
  ASSERT_TRUE(written.begin(folder.get()));
  writeFiles(2);
  written.wrote(-1, folder.get(), device);
  EXPECT_FALSE(written.isEmpty());
  EXPECT_TRUE(written.settle());
  EXPECT_EQ(files.count(FileCall::kSyncFile), 2 + 3);
  EXPECT_EQ(files.count(FileCall::kSyncFileSystem), 0);
  EXPECT_TRUE(written.isEmpty());
  EXPECT_TRUE(written.settle());
  EXPECT_EQ(files.count(FileCall::kSyncFile), 2 + 3);
}

TEST_F(WrittenDataTest, ManyEntries_AreSyncedByOneCallForEachFileSystemWrittenTo) {
  ASSERT_TRUE(written.begin(folder.get()));
  writeFiles(100);
  written.wrote(-1, folder.get(), device + 1);  // a mount below
  EXPECT_TRUE(written.settle());
  EXPECT_EQ(files.count(FileCall::kSyncFile), 0);
  EXPECT_EQ(files.count(FileCall::kSyncFileSystem), 2);
  writeFiles(100);
  EXPECT_TRUE(written.settle());
  EXPECT_EQ(files.count(FileCall::kSyncFileSystem), 3);
}

TEST_F(WrittenDataTest, SyncThatFails_IsReportedOnce) {
  ASSERT_TRUE(written.begin(folder.get()));
  for (const int howMany : {1, 100}) {
    writeFiles(howMany);
    files.fail(howMany == 1 ? FileCall::kSyncFile : FileCall::kSyncFileSystem, EIO);
    EXPECT_EQ(codeOf(written.settle()), EIO);
    EXPECT_TRUE(written.settle());
  }
}

TEST_F(WrittenDataTest, NoDescriptorsLeft_FallsBackToTheWholeFileSystem) {
  ASSERT_TRUE(written.begin(folder.get()));
  files.fail(FileCall::kDuplicate, EMFILE);
  writeFiles(1);
  EXPECT_TRUE(written.settle());
  EXPECT_EQ(files.count(FileCall::kSyncFileSystem), 1);
}

TEST_F(WrittenDataTest, FileSystemThatCannotBeRemembered_IsAnErrorAtTheEnd) {
  files.fail(FileCall::kDuplicate, EMFILE);
  writeFiles(1);
  EXPECT_FALSE(written.settle());
}

TEST_F(WrittenDataTest, FolderThatCannotBeSynced_TakesItsFileSystem) {
  ASSERT_TRUE(written.begin(folder.get()));
  written.wrote(-1, folder.get(), device);
  files.fail(FileCall::kSyncFile, EINVAL);
  EXPECT_TRUE(written.settle());
  EXPECT_EQ(files.count(FileCall::kSyncFileSystem), 1);
}

}  // namespace
}  // namespace lumisk::test
