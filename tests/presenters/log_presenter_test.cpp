#include "presenters/log_presenter.h"

#include <filesystem>
#include <fstream>

#include "support/temp_tree.h"

namespace lumisk::test {
namespace {

class LogPresenterTest : public ::testing::Test {
 protected:
  void write(const std::string& text) { std::ofstream(path, std::ios::app) << text; }
  static std::vector<std::string> texts(const LogPresenter& log) {
    std::vector<std::string> texts;
    for (const LogLine& line : log.shown()) texts.push_back(line.text);
    return texts;
  }
  TempTree tree;
  std::string path = tree / "job.log";
};

using ::testing::ElementsAre;

TEST_F(LogPresenterTest, GrowingLog_IsFollowedLineByLine) {
  LogPresenter log(realFileCalls(), path);
  EXPECT_EQ(log.look().added, 0U);
  EXPECT_EQ(log.trouble(), "");
  write("job: one\njob: tw");
  EXPECT_EQ(log.look().added, 1U);
  write("o\njob: ERROR: three \x01\n");
  EXPECT_EQ(log.look().added, 2U);
  EXPECT_THAT(texts(log), ElementsAre("job: one", "job: two", "job: ERROR: three \\x01"));
  EXPECT_TRUE(log.shown().back().isError);
  EXPECT_EQ(log.errors(), 1U);
}

TEST_F(LogPresenterTest, EmptiedOrReplacedLog_IsShownAnew) {
  LogPresenter log(realFileCalls(), path);
  write("a long first line\n");
  log.look();
  ASSERT_TRUE(log.clear());
  EXPECT_TRUE(log.shown().empty());
  EXPECT_EQ(std::filesystem::file_size(path), 0U);
  write("b\n");
  EXPECT_TRUE(log.look().isAnew);
  EXPECT_THAT(texts(log), ElementsAre("b"));
  std::filesystem::rename(path, path + ".old");
  write("c, and longer than what was there\n");
  EXPECT_TRUE(log.look().isAnew);
  EXPECT_THAT(texts(log), ElementsAre("c, and longer than what was there"));
}

TEST_F(LogPresenterTest, ManyLines_KeepsTheLastAndTellsWhatWent) {
  LogPresenter log(realFileCalls(), path, 3);
  write("1\n2\n3\n");
  log.look();
  write("4\n5\n");
  const auto change = log.look();
  EXPECT_EQ(change.dropped, 2U);
  EXPECT_EQ(change.added, 2U);
  EXPECT_THAT(texts(log), ElementsAre("3", "4", "5"));
  write("6\n7\n8\n9\n");
  const auto more = log.look();
  EXPECT_EQ(more.dropped, 3U);
  EXPECT_EQ(more.added, 3U);
  EXPECT_THAT(texts(log), ElementsAre("7", "8", "9"));
}

TEST_F(LogPresenterTest, LargeOldLog_IsReadFromTheBeginningOfALineNearItsEnd) {
  write(std::string(100'000, 'x') + "\nsecond last\nlast\n");
  LogPresenter log(realFileCalls(), path, 100, 20);
  log.look();
  EXPECT_THAT(texts(log), ElementsAre("second last", "last"));
}

TEST_F(LogPresenterTest, Filter_ShowsWhatHasTheText_AndErrorsOnly) {
  LogPresenter log(realFileCalls(), path, 4);
  write("Copied a\njob: ERROR: b\ncopied c\n");
  log.look();
  log.setFilter("COPIED");
  EXPECT_THAT(texts(log), ElementsAre("Copied a", "copied c"));
  write("other\ncopied d\n");  // "Copied a" goes for it
  const auto change = log.look();
  EXPECT_EQ(change.dropped, 1U);
  EXPECT_EQ(change.added, 1U);
  EXPECT_THAT(texts(log), ElementsAre("copied c", "copied d"));
  log.setFilter("");
  log.setErrorsOnly(true);
  EXPECT_THAT(texts(log), ElementsAre("job: ERROR: b"));
}

}  // namespace
}  // namespace lumisk::test
