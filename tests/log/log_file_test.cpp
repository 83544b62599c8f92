#include "log/log_file.h"

#include <filesystem>
#include <thread>

#include "support/home_fixture.h"

namespace lumisk {
namespace {

using test::exists;
using test::readFile;
using test::writeFile;
using ::testing::MatchesRegex;

constexpr std::uintmax_t kCap = 104857600;
const std::string kStamp = "[0-9]{4}-[0-9]{2}-[0-9]{2}  [0-9]{2}:[0-9]{2}:[0-9]{2} : ";

void makeSparse(const std::string& path, std::uintmax_t size) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  writeFile(path, "");
  std::filesystem::resize_file(path, size);
}

class Log : public test::HomeFixture {
 protected:
  ~Log() override { TivCloseLogFile(); }
};

TEST_F(Log, Messages_InBothLogs_AreStampedAndAppended) {
  ASSERT_TRUE(TivOpenLogFile(nullptr));
  TivOutputLogMessage("%s: Attached\n", "USB");
  TivOutputLogMessage("no line end, ");
  TivOutputLogMessage("%d\n", 2);
  EXPECT_THAT(readFile(home / "Library/Logs/Qel Lumisk.log"),
              MatchesRegex(kStamp + "USB: Attached\n" + kStamp + "no line end, " + kStamp + "2\n"));
  const std::string longText(100000, 'x');
  EXPECT_EQ(TivOutputLogMessageByJob("Docs", "%s : %s\nsource:%s\n", "Docs", longText.c_str(), "/a%s"), 0);
  EXPECT_EQ(TivOutputLogMessageByJob("Docs", "again\n"), 0);
  const std::string text = readFile(home / "Library/Logs/Qel Lumisk/Docs.log");
  EXPECT_EQ(text.size(), 100000 + 23 * 2 + std::string("Docs : \nsource:/a%s\nagain\n").size());
  EXPECT_THAT(text.substr(0, 30), MatchesRegex(kStamp + "Docs : "));
  EXPECT_THAT(text.substr(text.size() - 29), MatchesRegex(kStamp + "again\n"));
}

TEST_F(Log, ApplicationLog_NotOpen_DropsMessages) {
  TivOutputLogMessage("before\n");
  const std::string nowhere = home / "missing/log";
  EXPECT_FALSE(TivOpenLogFile(&nowhere));
  TivOutputLogMessage("lost\n");
  TivOutputLogFlush();
  ASSERT_TRUE(TivOpenLogFile(nullptr));
  TivCloseLogFile();
  TivOutputLogMessage("after\n");
  EXPECT_EQ(readFile(applicationLogPath()), "");
}

TEST_F(Log, JobLog_AtTheCap_IsStartedAfresh_JustBelowItGrows) {
  makeSparse(jobLogPath("full"), kCap);
  makeSparse(jobLogPath("nearly"), kCap - 1);
  TivOutputLogMessageByJob("full", "one\n");
  TivOutputLogMessageByJob("nearly", "one\n");
  EXPECT_THAT(readFile(jobLogPath("full")), MatchesRegex(kStamp + "one\n"));
  EXPECT_EQ(std::filesystem::file_size(jobLogPath("nearly")), kCap - 1 + 27);
}

TEST_F(Log, ApplicationLog_OverTheCap_IsEmptiedAtOpeningAndAtEveryThousandthMessage) {
  makeSparse(applicationLogPath(), kCap);
  ASSERT_TRUE(TivOpenLogFile(nullptr));
  EXPECT_EQ(std::filesystem::file_size(applicationLogPath()), 0u);
  std::filesystem::resize_file(applicationLogPath(), kCap);
  for (int i = 1; i < 1000; ++i) TivOutputLogMessage("%d\n", i);
  EXPECT_GT(std::filesystem::file_size(applicationLogPath()), kCap);
  TivOutputLogMessage("the thousandth\n");
  EXPECT_EQ(std::filesystem::file_size(applicationLogPath()), 0u);
  TivOutputLogMessage("next\n");
  EXPECT_THAT(readFile(applicationLogPath()), MatchesRegex(kStamp + "next\n"));
}

TEST_F(Log, JobNames_WithASlash_AreLostSilently) {
  std::filesystem::create_directories(home / "Library/Logs/Qel Lumisk/a");
  EXPECT_EQ(TivOutputLogMessageByJob("a/b", "lost\n"), 0);
  EXPECT_EQ(TivOutputLogMessageByJob("../Qel Lumisk", "lost\n"), 0);
  EXPECT_EQ(test::treeListing(home / "Library/Logs"), (std::vector<std::string>{"Qel Lumisk/", "Qel Lumisk/a/"}));
}

TEST_F(Log, Home_NotMounted_IsNotMade) {
  const test::ScopedVariable elsewhere("LUMISK_HOME", home / "gone");
  EXPECT_FALSE(TivOpenLogFile(nullptr));
  EXPECT_EQ(TivOutputLogMessageByJob("Docs", "lost\n"), 0);
  EXPECT_FALSE(exists(home / "gone"));
}

TEST_F(Log, Threads_WritingTogether_DoNotMixMessages) {
  ASSERT_TRUE(TivOpenLogFile(nullptr));
  const std::string text(5000, 'x');
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int message = 0; message < 50; ++message) {
        TivOutputLogMessage("%s\n", text.c_str());
        TivOutputLogMessageByJob("shared", "%s\n", text.c_str());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const std::string& path : {applicationLogPath(), jobLogPath("shared")}) {
    const std::string all = readFile(path);
    ASSERT_EQ(all.size(), 200 * (23 + text.size() + 1));
    for (std::size_t at = 0; at < all.size(); at += 23 + text.size() + 1)
      ASSERT_EQ(all.substr(at + 23, text.size() + 1), text + "\n");
  }
}

TEST_F(Log, UncaughtException_WithLoggingOn_IsLoggedBeforeTheEnd) {
  ASSERT_TRUE(TivOpenLogFile(nullptr));
  const auto throwUncaught = [](signed char flag) {
    TivDisableOutputLogging(flag);
    std::thread([] { throw std::runtime_error("out of luck"); }).join();
  };
  EXPECT_DEATH(throwUncaught(1), "");
  EXPECT_EQ(readFile(applicationLogPath()), "");
  EXPECT_DEATH(throwUncaught(0), "");
  EXPECT_EQ(readFile(applicationLogPath()), "Uncaught exception: out of luck\n");
}

}  // namespace
}  // namespace lumisk
