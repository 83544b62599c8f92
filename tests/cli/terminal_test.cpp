// What a run shows and asks while it goes on.
#include <deque>
#include <sstream>

#include "cli/terminal_dialogs.h"
#include "log/log_tail.h"
#include "support/fake_clock.h"
#include "support/temp_tree.h"

namespace lumisk {
namespace {

using test::TempTree;

class TerminalTest : public ::testing::Test {
 protected:
  std::ostringstream out_, err_;
  test::FakeClock clock_;
  MainLoop loop_;
  std::deque<std::string> answers_;
  CommandIo io_{out_,
                err_,
                clock_,
                realFileCalls(),
                loop_,
                "/",
                [] { return std::optional(60); },
                [this](const std::function<bool()>& mustStop) -> std::optional<std::string> {
                  if (mustStop() || answers_.empty()) return std::nullopt;
                  std::string answer = answers_.front();
                  answers_.pop_front();
                  return answer;
                }};
  RunDisplay display_{io_, RunDisplay::Progress::kOnTerminal};
  TerminalDialogs dialogs_{display_, ConflictChoice::kTargetWins};

  static JobProgressMessage at(std::uint64_t entries) {
    JobProgressMessage message;
    message.entries = entries;
    return message;
  }
};

TEST_F(TerminalTest, Progress_ManyMessages_IsDrawnAtMostTenTimesASecond) {
  for (std::uint64_t i = 0; i < 1000; ++i) {
    display_.progress(at(i));
    clock_.advance(std::chrono::milliseconds(1));
  }
  const std::string drawn = err_.str();
  EXPECT_EQ(std::count(drawn.begin(), drawn.end(), '\r'), 10);
  EXPECT_EQ(out_.str(), "");
}

TEST_F(TerminalTest, Message_DuringProgress_StandsOnALineOfItsOwn) {
  display_.progress(at(1));
  err_.str("");
  dialogs_.showMessage("docs", "Qel Lumisk", "You may have\n\nan incomplete backup.\n");
  EXPECT_EQ(err_.str(), "\r\x1b[Klumisk: docs: You may have an incomplete backup.\n");
}

TEST_F(TerminalTest, Progress_NoTerminal_IsQuiet) {
  io_.progressColumns = [] { return std::nullopt; };
  display_.progress(at(1));
  display_.clearProgress();
  EXPECT_EQ(err_.str(), "");
}

TEST_F(TerminalTest, PathProblem_TextBeginsWithThePath_SaysItOnce) {
  dialogs_.showPathProblem({"/a: the target lies inside the source", "/a", "docs", 0});
  dialogs_.showPathProblem({"two-way jobs are not here", "", "docs", 0});
  EXPECT_EQ(err_.str(), "lumisk: /a: the target lies inside the source\nlumisk: docs: two-way jobs are not here\n");
}

TEST_F(TerminalTest, Conflict_Answered_AsksUntilItIsUnderstood) {
  answers_ = {"", "maybe", "N!"};
  const auto answer = dialogs_.askConflict({"docs", "a.txt\nSize:3 B", "a.txt\x1b[2J\nSize:4 B"});
  EXPECT_EQ(answer.choice, ConflictChoice::kNewerWins);
  EXPECT_TRUE(answer.forAll);
  EXPECT_TRUE(answers_.empty());
  EXPECT_EQ(err_.str().find('\x1b'), std::string::npos) << "a file's name can write escape sequences";
}

TEST_F(TerminalTest, Conflict_NobodyThere_GoesByTheJob) {
  EXPECT_EQ(dialogs_.askConflict({}).choice, ConflictChoice::kTargetWins) << "the input ended";
  err_.str("");
  io_.readLine = nullptr;
  EXPECT_EQ(dialogs_.askConflict({}).choice, ConflictChoice::kTargetWins);
  EXPECT_FALSE(dialogs_.ask("title", "Really?", "OK", "Cancel"));
  EXPECT_EQ(err_.str(), "") << "a question that nobody can answer";
}

TEST_F(TerminalTest, Conflict_RunIsBeingCancelled_LosesNothing) {
  answers_ = {"s!"};
  dialogs_.stopAsking();
  EXPECT_EQ(dialogs_.askConflict({}).choice, ConflictChoice::kKeepBoth);
}

TEST(LogTail, GrowingAndReplacedLog_GivesEachPartOnce) {
  TempTree tree;
  const std::string path = tree / "docs.log";
  LogTail tail(realFileCalls(), path);
  EXPECT_EQ(*tail.next(), "") << "a log that is not there yet";
  test::writeFile(path, "one\n");
  EXPECT_EQ(*tail.next(), "one\n");
  EXPECT_EQ(*tail.next(), "");
  test::writeFile(tree / "other", "afresh\n");
  ASSERT_EQ(std::rename((tree / "other").c_str(), path.c_str()), 0);
  EXPECT_EQ(*tail.next(), "afresh\n");
  EXPECT_EQ(*tail.next(), "");
}

}  // namespace
}  // namespace lumisk
