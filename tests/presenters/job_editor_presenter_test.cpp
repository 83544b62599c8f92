#include "presenters/job_editor_presenter.h"

#include <rapidcheck.h>

#include "presenters/schedule_sentence.h"
#include "support/fake_clock.h"
#include "support/fake_jobs_board.h"
#include "support/faulty_file_calls.h"
#include "support/temp_tree.h"

namespace lumisk {
namespace {

using test::Dir;
using test::File;
using End = SaveResult::End;
using Filter = JobEditorPresenter::Filter;
using Meanwhile = JobEditorPresenter::Meanwhile;
using Weight = FieldProblem::Weight;

TEST(ScheduleSentence, OfEveryChoice_IsPlain) {
  QUORVELPREFERENCEINFO job;
  EXPECT_EQ(scheduleSentence(job), "as soon as something changes");
  job.jobType = JobType::kClone;
  EXPECT_EQ(scheduleSentence(job), "once and is then removed from the list");
  job.scheduling_method = SchedulingMethod::kNone;
  EXPECT_EQ(scheduleSentence(job), "only when you start it");
  job.scheduling_method = SchedulingMethod::kTimer;
  EXPECT_EQ(scheduleSentence(job), "every 10 minutes");
  job.scheduling_timer = 1;
  job.scheduling_timerUnit = TimerUnit::kHours;
  EXPECT_EQ(scheduleSentence(job), "every hour");
  job.scheduling_timer = 0;
  EXPECT_EQ(scheduleSentence(job), "at no interval yet");

  job.scheduling_method = SchedulingMethod::kWeekDays;
  job.scheduling_date = CalendarDate::fromLocal(2026, 11, 21, 21, 5, 0);
  const auto on = [&](std::array<bool, 7> days) {
    job.scheduling_weekFlag = days;
    return scheduleSentence(job);
  };
  EXPECT_EQ(on({false, true, true, true, true, true, false}), "every weekday at 21:05");
  EXPECT_EQ(on({true, true, true, true, true, true, true}), "every day at 21:05");
  EXPECT_EQ(on({true, false, false, false, false, false, true}), "every Saturday and Sunday at 21:05");
  EXPECT_EQ(on({true, true, false, true, false, false, false}), "every Monday, Wednesday and Sunday at 21:05");
  EXPECT_EQ(on({}), "on no day yet");
}

TEST(Extensions, AsPeopleTypeThem_BecomeThoseOfTheFilter) {
  EXPECT_EQ(extensionsText(extensionsOf("jpg, .PNG;*.tar.gz  jpg .")), "jpg, png, tar.gz, .");
  EXPECT_TRUE(extensionsOf(" ,; ").empty());
}

TEST(SuggestedName, OfAnyPaths_CanBeUsed) {
  EXPECT_EQ(suggestedJobName({"/home/anna/Docs"}, "STICK", {}), "Docs to STICK");
  EXPECT_EQ(suggestedJobName({"/a", "/b", "/c"}, "", {"a and 2 more"}), "a and 2 more 2");
  EXPECT_TRUE(rc::check([](const std::string& name, const std::string& target) {
    const std::string suggested = suggestedJobName({"/" + name + "x"}, target, {});
    RC_ASSERT(suggested.empty() || !checkJobName(suggested));
  }));
}

class JobEditor : public ::testing::Test {
 protected:
  JobEditorPresenter presenter() {
    return {board,
            clock,
            {files,
             [this](const std::string& path) -> Result<FileSystemInfo> {
               FileSystemInfo info;
               info.mountPoint = path == tree / "t" || path == tree / "s" ? path : "/";
               return info;
             }},
            {[this](const Background::Work& work) { isHeldUp ? held.push_back(work) : work(); },
             [](const Background::Work& work) { work(); }}};
  }
  // A backup of s to t that is stored already.
  std::string storedJob() {
    auto editor = presenter();
    editor.addSources({tree / "s"});
    editor.setTarget(tree / "t");
    EXPECT_EQ(editor.save().end, End::kSaved);
    board.list.back().stored.mutableDictionary()["SomethingElse"] = "kept";
    return board.list.back().uuid;
  }
  QUORVELPREFERENCEINFO record(std::size_t index) const {
    QUORVELPREFERENCEINFO job;
    EXPECT_TRUE(jobFromDictionary(board.list.at(index).stored, job));
    return job;
  }
  static std::string problemAt(JobEditorPresenter& editor, JobField field, Weight weight = Weight::kWrong) {
    for (const FieldProblem& problem : editor.problems())
      if (problem.field == field && problem.weight == weight) return problem.text;
    return {};
  }

  test::TempTree tree{{"s", Dir{{"sub", Dir{}}}}, {"o", Dir{{"s", Dir{}}}}, {"t", Dir{}}, {"f", File{"text"}}};
  test::FaultyFileCalls files;
  test::FakeClock clock;
  test::FakeJobsBoard board;
  bool isHeldUp = false;  // looks at the disk wait in `held`
  std::vector<Background::Work> held;
};

TEST_F(JobEditor, Answers_AreStoredAsTheCommandLineWouldStoreThem) {
  auto editor = presenter();
  EXPECT_FALSE(editor.canSave());
  EXPECT_EQ(problemAt(editor, JobField::kSources, Weight::kMissing), "Choose what is to be copied.");
  editor.addSources({tree / "s/", tree / "f", tree / "s"});
  editor.setTarget(tree / "t");
  editor.setOwnTargets(true);
  editor.setTargetOf(1, tree / "o");
  editor.setSchedule(SchedulingMethod::kWeekDays);
  EXPECT_EQ(problemAt(editor, JobField::kSchedule, Weight::kMissing), "Choose at least one day.");
  editor.setDay(3, true);
  editor.setTime(7, 5);
  editor.setFilter(Filter::kOnly, " ");
  EXPECT_EQ(problemAt(editor, JobField::kFilter, Weight::kMissing), "Name the file types.");
  EXPECT_EQ(editor.filter(), Filter::kOnly);
  editor.setFilter(Filter::kOnly, "jpg");
  editor.setFilter(Filter::kAllBut, "TMP, o");
  editor.setFullPath(true);
  editor.setUnmount(true);
  ASSERT_EQ(editor.save().end, End::kSaved);

  const auto job = record(0);
  EXPECT_EQ(job.sourcePaths, (std::vector<std::string>{tree / "s", tree / "f"}));
  EXPECT_EQ(job.targetPaths, (std::vector<std::string>{tree / "t", tree / "o"}));
  EXPECT_TRUE(job.bMultipleTargetFolder && job.bRetainFullPath);
  EXPECT_EQ(scheduleSentence(job), "every Wednesday at 07:05");
  EXPECT_TRUE(job.inclusionArray.empty());
  EXPECT_EQ(job.exclusionArray, (std::vector<std::string>{"tmp", "o"}));
  EXPECT_TRUE(job.otherKeys.at(kUnmountAfterArrivalKey).boolean());

  editor.removeSource(0);
  EXPECT_EQ(editor.job().targetPaths, std::vector<std::string>{tree / "o"});
  EXPECT_FALSE(editor.hasOwnTargets());
}

TEST_F(JobEditor, WrongAnswers_AreToldAtTheirFields) {
  (void)storedJob();
  auto editor = presenter();
  editor.addSources({tree / "s"});
  editor.setTarget(tree / "s/sub");
  EXPECT_NE(problemAt(editor, JobField::kTarget).find("lies inside a folder that is to be copied"), std::string::npos);
  editor.setTarget(tree / "missing");
  EXPECT_NE(problemAt(editor, JobField::kTarget).find("does not exist"), std::string::npos);
  editor.setTarget(tree / "f");
  EXPECT_NE(problemAt(editor, JobField::kTarget).find("is a file, not a folder"), std::string::npos);
  files.fail(test::FileCall::kMayWrite, EACCES);
  editor.setTarget(tree / "o");
  EXPECT_NE(problemAt(editor, JobField::kTarget).find("You may not write"), std::string::npos);
  editor.lookAgain();
  EXPECT_EQ(problemAt(editor, JobField::kTarget), "");
  editor.setTarget(tree / "t");
  EXPECT_EQ(problemAt(editor, JobField::kTarget), "");
  EXPECT_NE(problemAt(editor, JobField::kTarget, Weight::kWarning), "") << "another job has it, too";

  editor.addSources({tree / "o/s"});
  EXPECT_NE(problemAt(editor, JobField::kSources).find("the same name"), std::string::npos);
  editor.removeSource(1);
  editor.setName("s to t");
  EXPECT_EQ(problemAt(editor, JobField::kName), "Another job has this name.");
  editor.setName("a/b");
  EXPECT_EQ(problemAt(editor, JobField::kName), "A name cannot hold a slash.");
  editor.setName("");
  EXPECT_EQ(problemAt(editor, JobField::kName), "") << "it is suggested again";
  editor.change([](auto& job) { job.revision_maxNumber = 0; });
  EXPECT_NE(problemAt(editor, JobField::kRevisions), "");
  EXPECT_EQ(editor.save().end, End::kRefused);

  editor.setKind(JobType::kClone);
  editor.setTarget(tree / "o");
  EXPECT_NE(problemAt(editor, JobField::kTarget).find("is a folder, not a whole volume"), std::string::npos);
  EXPECT_FALSE(editor.plainWarnings().empty());
  EXPECT_EQ(board.list.size(), 1U);
}

TEST_F(JobEditor, DiskThatDoesNotAnswer_KeepsWaitingOnlyWhatHasNeverBeenLookedAt) {
  const std::string uuid = storedJob();
  isHeldUp = true;
  auto known = presenter();
  ASSERT_TRUE(known.edit(uuid));
  known.setTimer(3, TimerUnit::kDays);
  EXPECT_TRUE(known.canSave());
  known.setTarget(tree / "o");
  EXPECT_EQ(problemAt(known, JobField::kTarget, Weight::kMissing), "Looking at the folders…");
  EXPECT_FALSE(known.canSave());
  int told = 0;
  known.changed = [&] {
    ++told;
    (void)known.problems();
  };
  known.setTarget(tree / "f");
  for (const auto& look : held) look();
  EXPECT_EQ(told, 2) << "the look at the target before is not told of";
  EXPECT_NE(problemAt(known, JobField::kTarget).find("is a file, not a folder"), std::string::npos);

  known.setTarget(tree / "t");
  EXPECT_TRUE(known.canSave()) << "the job had this folder before";
  held.back()();
  held.clear();
  known.lookAgain();
  EXPECT_TRUE(known.canSave());
  EXPECT_EQ(held.size(), 1U);
}

TEST_F(JobEditor, StoredJobWhoseFoldersAreAway_CanStillBeEdited) {
  const std::string uuid = storedJob();
  files.fail(test::FileCall::kOpenRoot, ENOENT, {.times = test::FaultyFileCalls::kAlways});
  auto editor = presenter();
  ASSERT_TRUE(editor.edit(uuid));
  EXPECT_NE(problemAt(editor, JobField::kTarget, Weight::kWarning), "");
  EXPECT_FALSE(editor.isChanged());
  editor.setTimer(3, TimerUnit::kDays);
  EXPECT_TRUE(editor.isChanged());
  EXPECT_EQ(editor.save().end, End::kSaved);
  EXPECT_EQ(record(0).scheduling_timer, 3);
  EXPECT_EQ(board.list[0].stored["SomethingElse"].text(), "kept");
  EXPECT_EQ(board.list.size(), 1U);
}

TEST_F(JobEditor, JobChangedBySomebodyElseMeanwhile_LosesNeitherChangeUnasked) {
  const std::string uuid = storedJob();
  auto editor = presenter();
  ASSERT_TRUE(editor.edit(uuid));
  editor.change([](auto& job) { job.nAutoDeletion = 1; });
  auto& stored = board.list[0].stored.mutableDictionary();
  stored[kLastRanTimeKey] = "2026-11-21 21:05:00 +0000";
  stored[kMoveFileTrashKey] = false;
  EXPECT_EQ(editor.save().end, End::kSaved) << "different settings";
  EXPECT_EQ(record(0).nAutoDeletion, 1);
  EXPECT_FALSE(record(0).bMoveFileTrash);
  EXPECT_EQ(record(0).lastRanTime, "2026-11-21 21:05:00 +0000");

  editor.setName("mine");
  stored[kObjectNameKey] = "theirs";
  EXPECT_EQ(editor.save().end, End::kChangedMeanwhile);
  EXPECT_EQ(record(0).name, "theirs");
  EXPECT_EQ(editor.save(Meanwhile::kMineWins).end, End::kSaved);
  EXPECT_EQ(record(0).name, "mine");

  board.list.clear();
  EXPECT_EQ(editor.save().end, End::kGone);
  editor.makeNew();
  EXPECT_EQ(editor.save().end, End::kSaved);
  EXPECT_EQ(record(0).name, "mine");
  EXPECT_NE(record(0).uuidString, uuid);
}

TEST_F(JobEditor, RefusedByTheBoard_KeepsWhatWasEntered) {
  const std::string uuid = storedJob();
  auto editor = presenter();
  ASSERT_TRUE(editor.edit(uuid));
  editor.setTarget(tree / "o");
  board.refusal = "The disk is full.";
  const auto result = editor.save();
  EXPECT_EQ(result.end, End::kRefused);
  EXPECT_EQ(result.text, "The disk is full.");
  EXPECT_TRUE(editor.isChanged());
  board.refusal.reset();
  EXPECT_EQ(editor.save().end, End::kSaved);
  EXPECT_TRUE(record(0).bFirstCopy) << "what the other folder holds says nothing about this one";
}

}  // namespace
}  // namespace lumisk
