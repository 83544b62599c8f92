#include "app/app_fixture.h"
#include "app/job_changes.h"
#include "app/login_item.h"
#include "app/target_matching.h"
#include "engine/file_list.h"
#include "engine/info_files.h"
#include "finder/do_client.h"
#include "jobs/shared_files.h"
#include "platform/durable_file.h"
#include "support/fake_media_registry.h"
#include "support/result_code.h"

namespace lumisk::test {
namespace {

using Dictionary = PropertyList::Dictionary;

// Start and end.

TEST_F(AppFixture, Launch_JobsOfEveryMethodAndSomeThatCannotRun_EachHasItsPlace) {
  store(makeJob("real", SchedulingMethod::kRealTime));
  store(makeJob("timer", SchedulingMethod::kTimer));
  store(makeJob("days", SchedulingMethod::kWeekDays));
  auto off = makeJob("off");
  off.bActive = false;
  off.nCurrentStatus = JobStatus::kRunning;
  store(off);
  ASSERT_TRUE(defaults.change([](Dictionary& settings) {
    settings[kJobArrayKey].mutableArray().insert(settings[kJobArrayKey].mutableArray().begin(), "no job");
  }));
  store(makeJob("hand"));
  launch();
  ASSERT_TRUE(app->control().object(5) && !app->control().object(6));
  EXPECT_FALSE(app->control().object(0)->isStarted());
  EXPECT_FALSE(scheduler("off")->isStarted());
  EXPECT_EQ(job("off")[kJobStatusKey].integer(), 0) << "what the last end cut short is shown as running";
  for (const char* name : {"real", "timer", "days", "hand"}) {
    runToEnd(name);
    EXPECT_TRUE(exists(copyOf(name))) << name;
    EXPECT_FALSE(job(name)[kLastCompletedBeginKey].text().empty()) << name;
  }
  EXPECT_FALSE(app->startNowButtonActionWithJobIndex(indexOf("off")));
  EXPECT_FALSE(app->startNowButtonActionWithJobIndex(99));
}

TEST_F(AppFixture, SecondInstance_IsRefused_AndAShortChangeIsWaitedFor) {
  store(makeJob("a"));
  launch();
  QuorvelAppObject second(services());
  EXPECT_EQ(codeOf(second.applicationDidFinishLaunching()), EWOULDBLOCK);
  EXPECT_EQ(dialogs.take(), std::vector<std::string>{"Qel Lumisk: Qel Lumisk already run"});
  app.reset();

  auto held = defaults.own();
  ASSERT_TRUE(held);
  clock.onSleep = [&] {
    if (clock.sleeps == 3) held->reset();
  };
  clock.sleeps = 0;
  EXPECT_TRUE(second.applicationDidFinishLaunching());
  EXPECT_TRUE(dialogs.take().empty());
  EXPECT_TRUE(doClient().connect());
}

TEST_F(AppFixture, TerminatedInACopy_IsResumable) {
  storeThree();
  ASSERT_TRUE(writePropertyListFile(pluginListPath(), Dictionary{{"RunningJobSourcePath", PropertyList::Array{"/x"}}}));
  launch();
  startHeld("b");
  auto opened = openGateAtStopOf("b");
  app->applicationWillTerminate();
  opened.get();
  EXPECT_TRUE((*readPropertyListFile(pluginListPath()))["RunningJobSourcePath"].array().empty());
  EXPECT_FALSE(exists(copyOf("b")));
  const auto stored = (*defaults.object(kJobArrayKey)).at(1);
  EXPECT_EQ(stored[kJobStatusKey].integer(), 0);
  EXPECT_EQ(stored[kCancelStatusKey].integer(), 1);
  EXPECT_TRUE(stored[kLastCompletedBeginKey].isNone());
  EXPECT_TRUE(defaults.own()) << "the store is still held";
  launch();
  runToEnd("b");
  EXPECT_TRUE(exists(copyOf("b")));
}

TEST_F(AppFixture, Quit_AsksOnlyWhenJobsRunAndItIsWanted) {
  store(makeJob("a"));
  launch();
  ASSERT_TRUE(defaults.setObject(kPreferencesKey, Dictionary{{"SGWarnPendingJobs", true}}));
  dialogs.answer = false;
  EXPECT_TRUE(app->terminateApplicationAction());
  startHeld("a");
  EXPECT_FALSE(app->terminateApplicationAction());
  EXPECT_EQ(dialogs.take(),
            std::vector<std::string>{"Qel Lumisk is now running for syncs.\n\ndo you really want to exit?"});
  gate->set(false);
}

TEST_F(AppFixture, LoginItem_OnlyWhenSomebodySaidYes) {
  const std::string window = preferences("loginwindow.plist");
  launch();
  EXPECT_TRUE(dialogs.take().empty());
  EXPECT_TRUE((*defaults.object("AutomaticRunning")).isNone()) << "nobody was there to be asked";
  app.reset();
  const auto launchAnswering = [&](bool answer) {
    dialogs.answer = answer;
    AppServices given = services();
    given.somebodyCanAnswer = true;
    QuorvelAppObject one(given);
    ASSERT_TRUE(one.applicationDidFinishLaunching());
    serve();
  };
  launchAnswering(true);
  EXPECT_TRUE(dialogs.take().empty()) << "nothing would run";
  store(makeJob("a"));
  launchAnswering(false);
  launchAnswering(true);
  EXPECT_EQ(dialogs.take(), std::vector<std::string>{"Would you like Qel Lumisk to run at login?"});
  EXPECT_FALSE(exists(window) || exists(autostartPath()));
  ASSERT_TRUE(defaults.removeObject("AutomaticRunning"));
  launchAnswering(true);
  launchAnswering(true);
  const PropertyList entered = *readPropertyListFile(window);
  ASSERT_EQ(entered["AutoLaunchedApplicationDictionary"].array().size(), 1u);
  EXPECT_EQ(entered["AutoLaunchedApplicationDictionary"].at(0)["Path"].text(), "/opt/lumisk");
  EXPECT_EQ(readFile(home / "config/autostart/lumisk.desktop"), autostartText("/opt/lumisk"));
  EXPECT_NE(autostartText("/a b/\"%").find("Exec=\"/a b/\\\\\"%%\" daemon\n"), std::string::npos);
}

// Commands.

TEST_F(AppFixture, StartOfARunningJob_CancelsIt) {
  launchThree();
  startHeld("b");
  EXPECT_TRUE(busy("b"));
  EXPECT_TRUE(app->startNowButtonActionWithJobIndex(1));
  gate->set(false);
  serveUntil([&] { return !busy("b") && finishes == 1; });
  serve();
  EXPECT_TRUE(scheduler("b")->endedRuns().last.cancelled);
  EXPECT_EQ(job("b")[kCancelStatusKey].integer(), 1);
  EXPECT_EQ(job("a")[kCancelStatusKey].integer(), 0);
}

TEST_F(AppFixture, DeleteWhileOthersRun_EventsReachTheirJobs) {
  launchThree();
  makeTree(home.path(), {{"Library/Preferences/QEL_LUMISK", Dir{{"a.qellumiskdat", File{""}}}}});
  startHeld("c");
  dialogs.answer = false;
  EXPECT_FALSE(app->deleteJobButtonActionWithIndex(0));
  dialogs.answer = true;
  EXPECT_TRUE(app->deleteJobButtonActionWithIndex(0));
  EXPECT_EQ(dialogs.take(), (std::vector<std::string>{"Do you really want to delete this job?",
                                                      "Do you really want to delete this job?"}));
  EXPECT_FALSE(exists(fileListFolder() + "/a.qellumiskdat"));
  EXPECT_EQ(app->jobs().count(), 2);
  EXPECT_EQ(scheduler("c")->jobIndex(), 1);
  gate->set(false);
  serveUntil([&] { return !busy("c") && !job("c")[kLastCompletedBeginKey].isNone(); });
  EXPECT_EQ(job("c")[kJobStatusKey].integer(), 0);
  EXPECT_TRUE(job("b")[kLastBeginTimeKey].text().empty());
  EXPECT_FALSE(app->deleteJobButtonActionWithOutPromptAtIndex(7));
}

TEST_F(AppFixture, EnableAndDisable_SaveOnlyChangesAndStopTheRun) {
  launchThree();
  const auto stamp = *stampOf(defaults.path());
  EXPECT_FALSE(app->enableJobAtIndex(0));
  EXPECT_FALSE(app->disableJobAtIndex(9));
  EXPECT_TRUE(*stampOf(defaults.path()) == stamp);
  startHeld("a");
  auto opened = openGateAtStopOf("a");
  EXPECT_TRUE(app->disableJobAtIndex(0));
  opened.get();
  EXPECT_FALSE(scheduler("a")->isStarted());
  EXPECT_EQ(job("a")[kJobStatusKey].integer(), 0);
  EXPECT_EQ(job("a")[kCancelStatusKey].integer(), 1);
  EXPECT_EQ(resultOf(ask(RequestAction::kStart, {{kRequestUuidKey, "uuid-a"}})), RequestResult::kRefused);
  EXPECT_TRUE(app->enableJobAtIndex(0));
  runToEnd("a");
  EXPECT_TRUE(exists(copyOf("a")));
  EXPECT_TRUE(app->setManullyDisableAtIndex(0, true));
  EXPECT_TRUE(app->getManullyDisableAtIndex(0));
}

TEST_F(AppFixture, StatusRefresh_ImageJobsFollowTheirTarget) {
  auto image = makeJob("image");
  image.dmgPath = "/i.dmg";
  image.bAutoMount = false;
  image.targetPaths = {tree / "image/mounted"};
  store(image);
  store(makeJob("plain"));
  launch();
  app->freshTheJobStatus();
  EXPECT_FALSE(job("image")[kActiveKey].boolean());
  EXPECT_TRUE(job("plain")[kActiveKey].boolean());
  makeTree(tree.path(), {{"image/mounted", Dir{}}});
  app->setManullyDisableAtIndex(0, true);
  app->freshTheJobStatus();
  EXPECT_FALSE(job("image")[kActiveKey].boolean()) << "the user's own switch was not respected";
  app->setManullyDisableAtIndex(0, false);
  app->freshTheJobStatus();
  EXPECT_TRUE(job("image")[kActiveKey].boolean() && scheduler("image")->isStarted());
}

// Events.

TEST_F(AppFixture, OneTimeClone_GoesOnlyAfterSuccess) {
  auto once = makeJob("once", SchedulingMethod::kRealTime), often = makeJob("often", SchedulingMethod::kTimer);
  once.jobType = often.jobType = JobType::kClone;
  store(once);
  store(often);
  launch();
  const auto end = [&](const std::string& uuid, bool completed) {
    center.post({kDidFinishNotification, {}, {{kJobIndexKey, 0}, {kJobUuidKey, uuid}, {kRunCompletedKey, completed}}});
    serve();
    serve();
  };
  end("uuid-once", false);
  end("uuid-often", true);
  EXPECT_EQ(app->jobs().count(), 2);
  EXPECT_TRUE(dialogs.take().empty());
  end("uuid-once", true);
  EXPECT_EQ(app->jobs().count(), 1);
  EXPECT_EQ(indexOf("often"), 0);
  EXPECT_EQ(dialogs.take(), std::vector<std::string>{"once: Backup has been completed."});
}

TEST_F(AppFixture, DataBitAndAddedSources_AreStored) {
  launchThree();
  makeTree(tree.path(), {{"more", Dir{}}});
  center.post({"QelLumiskObjectNotification", {}, {{kJobIndexKey, 1}, {kDataBitKey, 5}}});
  center.post({"QelLumiskObjectNotification", {}, {{kJobIndexKey, 9}, {kDataBitKey, 5}}});
  const Dictionary sources{{"selected_Array", PropertyList::Array{tree / "more"}}};
  center.post({"ADDJOBMESSAGE", Dictionary{{"SelectedRow", 2}, {"SourceDict", sources}}, {}});
  serve();
  serve();
  EXPECT_EQ(job("b")[kDataBitKey].integer(), 5);
  EXPECT_EQ(job("c")[kBackupFoldersKey].at(3).text(), tree / "more");
  EXPECT_FALSE(app->addSourceToJobAtIndex(2, {tree / "c/target"})) << "a source that holds the target";
}

TEST_F(AppFixture, Progress_GoesByJobAndEndsWithTheRun) {
  launchThree();
  int changes = 0;
  app->observeJobs([] {}, [&] { ++changes; });
  center.post(
      {kProgressNotification, JobProgressMessage::messageWithJobName("b", "f", 50, 10), {{kJobUuidKey, "uuid-b"}}});
  serve();
  EXPECT_EQ(changes, 1);
  for (const auto& [passed, told] : {std::pair{100, 1}, {100, 2}}) {
    clock.advance(std::chrono::milliseconds(passed));
    center.post(
        {kProgressNotification, JobProgressMessage::messageWithJobName("b", "f", 51, 10), {{kJobUuidKey, "uuid-b"}}});
    serve();
    EXPECT_EQ(changes, told) << "five times a second";
  }
  const PropertyList status = ask(RequestAction::kStatus);
  EXPECT_EQ(progressMessageOf(status[kJobsKey].at(1)[kProgressKey]).fileName, "f");
  EXPECT_TRUE(status[kJobsKey].at(0)[kProgressKey].isNone());
  EXPECT_TRUE(status[kJobsKey].at(0)[kSchedulerKey].boolean());
  center.post({kProgressNotification, JobProgressMessage::finishedMessageWithJobName("b"), {{kJobUuidKey, "uuid-b"}}});
  EXPECT_FALSE(app->progressOf("uuid-b"));
}

// Devices.

TEST(TargetMatching, Volumes_ByWholeComponentsOrTheDeepestMount) {
  const auto mount = [](const std::string& path, const std::string& type = "ext4") {
    return MountEntry{path, type, {}};
  };
  const std::vector<MountEntry> mounts{mount("/"), mount("/proc", "proc"), mount("/media/anna/Disk"), mount("/srv/b")};
  EXPECT_TRUE(liesOnVolume("/Volumes/Backup/jobs", "/Volumes/Backup", mounts));
  EXPECT_FALSE(liesOnVolume("/Volumes/Backup2/jobs", "/Volumes/Backup", mounts));
  EXPECT_TRUE(liesOnVolume("/media/anna/Disk/jobs", "/media/anna/Disk", mounts));
  EXPECT_TRUE(liesOnVolume("/srv/b", "/srv/b", mounts));
  EXPECT_FALSE(liesOnVolume("/srv/bb", "/srv/b", mounts));
  EXPECT_FALSE(liesOnVolume("/home/anna", "/", mounts));
  EXPECT_EQ(volumesOf(mounts), (std::vector<std::string>{"/", "/media/anna/Disk", "/srv/b"}));
}

TEST_F(AppFixture, DeviceArrival_RunsItsJobsOnce) {
  storeThree();
  makeTree(tree.path(), {{"stick", Dir{{"folder", Dir{}}}}});
  auto absent = makeJob("absent"), marked = makeJob("marked");
  absent.targetPaths = marked.targetPaths = {tree / "stick/gone"};
  store(absent);
  store(marked);
  auto here = makeJob("here");
  here.targetPaths = {tree / "stick/folder"};
  here.otherKeys[kUnmountAfterArrivalKey] = true;
  store(here);
  const auto volume = realFileCalls().openRoot(tree / "stick");
  ASSERT_TRUE(createInfoFileIntoDestFolder(realFileCalls(), volume->get(), {"marked", {}, {}, "uuid-marked"}));
  std::vector<MountEntry> mounts(1);
  mounts[0].mountPoint = tree / "stick";
  FakeMediaRegistry registry;
  AppServices given = services();
  given.mounts = [&] { return Result<std::vector<MountEntry>>(mounts); };
  given.media = &registry;
  std::atomic<int> unmounted{0};
  given.unmount = [&](const std::string&) {
    ++unmounted;
    return Result<void>();
  };
  launch(given);
  constexpr std::int32_t kVolumes = 16;
  const auto plugInAgain = [&, before = mounts] {
    mounts.clear();
    app->CallbackMessageIOMedia(kVolumes, 0);
    mounts = before;
    app->CallbackMessageIOMedia(kVolumes, 0x11);
  };
  app->CallbackMessageIOMedia(kVolumes, 0x11);  // mounted when the application began
  EXPECT_FALSE(busy("here"));
  plugInAgain();
  EXPECT_EQ(app->USBDeviceHasAttached(1), 0);
  serveUntil(
      [&] { return scheduler("here")->endedRuns().number == 1 && scheduler("marked")->endedRuns().number == 1; });
  serve();
  EXPECT_TRUE(exists(tree / "stick/folder/source/a.txt"));
  for (const char* name : {"a", "b", "c", "absent"}) EXPECT_EQ(scheduler(name)->endedRuns().number, 0u) << name;

  // The other job's run did not complete, so the volume stayed; alone, this one has it unmounted.
  EXPECT_EQ(unmounted, 0);
  EXPECT_TRUE(app->deleteJobButtonActionWithOutPromptAtIndex(app->jobs().indexOfName("marked")));
  plugInAgain();
  serveUntil([&] { return unmounted == 1 && !busy("here"); });

  gate->waitForRun();
  startHeld("here");
  std::atomic<bool> hasCome{false};
  const auto opened = std::async(std::launch::async, [&, here = scheduler("here")] {
    while (!hasCome && here->isStarted()) std::this_thread::yield();
    gate->set(false);
  });
  app->checkingDestinationFolderForSync(tree / "stick");
  hasCome = true;
  serveUntil([&] { return !busy("here"); });
  EXPECT_FALSE(scheduler("here")->endedRuns().last.cancelled) << "a volume that came has cut its run short";
  serveUntil([&] { return unmounted == 2; });
  app->freshTheJobStatus();
  serveUntil([&] { return unmounted == 3; });
}

// Requests.

TEST_F(AppFixture, ChangesOfTwoClients_AreMergedOrRefused) {
  launchThree();
  const auto seen = app->jobs().jobs();
  const auto change = [&](const auto& edit) {
    auto after = seen;
    edit(after);
    return ask(RequestAction::kChangeJobs, {{kRequestChangesKey, jobChanges(seen, after)}});
  };
  const auto rename = [&](std::size_t index, const std::string& name) {
    return [=](PropertyList::Array& jobs) { jobs[index].mutableDictionary()[kObjectNameKey] = name; };
  };
  startHeld("c");
  const auto removal = [](PropertyList::Array& jobs) { jobs.erase(jobs.begin()); };
  EXPECT_EQ(resultOf(change(removal)), RequestResult::kDone);
  EXPECT_EQ(resultOf(change(rename(1, "B"))), RequestResult::kDone);
  EXPECT_EQ(resultOf(change(rename(1, "b2"))), RequestResult::kConflict);
  EXPECT_NE(resultOf(change(rename(2, "B"))), RequestResult::kDone) << "two jobs of one name";
  const PropertyList refused = change(rename(2, "a/b"));
  EXPECT_EQ(resultOf(refused), RequestResult::kRefused);
  EXPECT_FALSE(refused[kReasonKey].text().empty());
  const auto added = makeJob("d");
  EXPECT_EQ(resultOf(change([&](PropertyList::Array& jobs) { jobs.push_back(jobToDictionary(added)); })),
            RequestResult::kDone);
  EXPECT_TRUE(busy("c")) << "the changes of others have stopped its run";
  EXPECT_EQ(scheduler("B")->jobName(), "B");
  EXPECT_EQ(scheduler("c")->jobIndex(), 1);
  gate->set(false);
  serveUntil([&] { return !job("c")[kLastCompletedBeginKey].isNone(); });
  runToEnd("d");
  EXPECT_TRUE(exists(copyOf("d")));
  EXPECT_EQ((*defaults.object(kJobArrayKey)).array().size(), 3u);
}

TEST_F(AppFixture, StartFollowStop_TellWhatBecomesOfTheRun) {
  launchThree();
  const Dictionary b{{kRequestUuidKey, "uuid-b"}};
  EXPECT_EQ(resultOf(ask(RequestAction::kStart, {{kRequestUuidKey, "other"}})), RequestResult::kNoSuchJob);
  EXPECT_EQ(resultOf(ask(static_cast<RequestAction>(77))), RequestResult::kNotUnderstood);
  EXPECT_EQ(resultOf(ask(RequestAction::kStop, b)), RequestResult::kDone);
  EXPECT_EQ(job("b")[kCancelStatusKey].integer(), 0) << "what does not run was cancelled";
  gate->set(true);
  const PropertyList started = ask(RequestAction::kStart, b);
  ASSERT_EQ(resultOf(started), RequestResult::kDone);
  gate->waitForRun();
  EXPECT_EQ(resultOf(ask(RequestAction::kStart, b)), RequestResult::kBusy);
  const auto follow = [&] {
    return ask(RequestAction::kFollow, {{kRequestUuidKey, "uuid-b"}, {kEndedRunsKey, started[kEndedRunsKey]}});
  };
  EXPECT_FALSE(follow()[kEndedKey].boolean());
  EXPECT_EQ(resultOf(ask(RequestAction::kStop, b)), RequestResult::kDone);
  gate->set(false);
  serveUntil([&] { return follow()[kEndedKey].boolean(); });
  EXPECT_TRUE(runReportOf(follow()[kReportKey]).cancelled);
}

TEST_F(AppFixture, PathsOfFileManagers_GoToTheOnlyJobOrTheFace) {
  store(makeJob("a"));
  launch();
  makeTree(tree.path(), {{"more", Dir{}}});
  const Dictionary paths{{kSelectedArrayKey, PropertyList::Array{tree / "more"}}};
  EXPECT_EQ(resultOf(ask(RequestAction::kAddSources, paths)), RequestResult::kDone);
  EXPECT_EQ(job("a")[kBackupFoldersKey].at(3).text(), tree / "more");
  EXPECT_EQ(resultOf(ask(RequestAction::kNewJob, paths)), RequestResult::kRefused);
  EXPECT_TRUE(app->addJob(makeJob("b")));
  EXPECT_FALSE(app->addJob(makeJob("b")));
  runToEnd("b");
  EXPECT_EQ(resultOf(ask(RequestAction::kAddSources, paths)), RequestResult::kRefused);
  std::vector<std::string> taken;
  app->setPathDialogs([&](const auto& given) { taken = given; }, {});
  EXPECT_EQ(resultOf(ask(RequestAction::kAddSources, paths)), RequestResult::kDone);
  EXPECT_EQ(taken, std::vector<std::string>{tree / "more"});
}

TEST_F(AppFixture, Reload_FollowsAStoreThatWasChangedByHand) {
  launchThree();
  runToEnd("c");
  ASSERT_TRUE(defaults.change([](Dictionary& settings) {
    auto& jobs = settings[kJobArrayKey].mutableArray();
    std::reverse(jobs.begin(), jobs.end());
    jobs.pop_back();
  }));
  EXPECT_EQ(resultOf(ask(RequestAction::kReload)), RequestResult::kDone);
  EXPECT_EQ(indexOf("c"), 0);
  EXPECT_EQ(scheduler("c")->endedRuns().number, 1u) << "its scheduler was made anew";
  EXPECT_EQ(scheduler("b")->jobUuid(), "uuid-b");
  EXPECT_EQ(app->control().object(2), nullptr);
}

TEST_F(AppFixture, SettingsDamagedOrWithoutAList_JobsAndRunsGoOn) {
  launchThree();
  const auto* const b = scheduler("b");
  writeFile(UserDefaults::standardPath(), "<plist><dict><key>half");
  EXPECT_EQ(resultOf(ask(RequestAction::kReload)), RequestResult::kDone);
  EXPECT_EQ(scheduler("b"), b) << "it was stopped, and made anew or not at all";
  ASSERT_TRUE(defaults.removeObject(kJobArrayKey));
  EXPECT_EQ(resultOf(ask(RequestAction::kReload)), RequestResult::kRefused);
  EXPECT_EQ(scheduler("b"), b);
  EXPECT_EQ(app->jobs().count(), 3);
  EXPECT_EQ(defaults.object(kJobArrayKey)->array().size(), 3u);
  EXPECT_EQ(dialogs.take().size(), 2u);
}

TEST_F(AppFixture, EditOfARunningJob_StopsItsRunAndSaysSo) {
  launchThree();
  startHeld("b");
  const auto seen = app->jobs().jobs();
  auto after = seen;
  after[0].mutableDictionary()[kActiveKey] = false;
  after[1].mutableDictionary()[kObjectNameKey] = "B";
  const auto opened = openGateAtStopOf("b");
  const PropertyList answer = ask(RequestAction::kChangeJobs, {{kRequestChangesKey, jobChanges(seen, after)}});
  EXPECT_EQ(answer[kStoppedRunsKey], PropertyList(PropertyList::Array{"B"}));
  EXPECT_EQ(job("B")[kCancelStatusKey].integer(), 1);
}

// For the thread sanitizer, and for whoever is stuck.
TEST_F(AppFixture, AnyCommandsWhileJobsRun_NothingIsLostOrStuck) {
  for (const char* name : {"a", "b", "c", "d", "e"}) store(makeJob(name));
  launch();
  const auto request = [](RequestAction action, int step) {
    return Dictionary{{kActionTypeKey, static_cast<std::int32_t>(action)},
                      {kRequestUuidKey, std::string("uuid-") + "abcde"[step % 5]}};
  };
  constexpr int kSteps = 100;
  std::atomic<int> clients{2};
  const auto client = [&](int first) {
    return std::async(std::launch::async, [&, first] {
      doClient connection;
      int answers = 0;
      for (int step = first; connection.connect() && step < first + kSteps; ++step) {
        answers +=
            connection.request(request(step % 7 == 0 ? RequestAction::kStop : RequestAction::kStart, step)) ? 1 : 0;
        answers += connection.request(request(RequestAction::kStatus, step)) ? 1 : 0;
      }
      --clients;
      return answers;
    });
  };
  auto one = client(0), two = client(3);
  for (int step = 0; clients > 0 || step <= 20; ++step) {
    serve();
    if (step % 11 == 0) app->disableJobAtIndex(step % 5);
    if (step % 5 == 0) app->enableJobAtIndex((step + 2) % 5);
    if (step == 20) {
      EXPECT_TRUE(app->deleteJobButtonActionWithOutPromptAtIndex(0));
    }
    if (step % 13 != 0) continue;
    const auto before = app->jobs().jobs();
    auto after = before;
    after[0].mutableDictionary()[kRetainFullPathKey] = step % 2 == 0;
    EXPECT_EQ(resultOf(ask(RequestAction::kChangeJobs, {{kRequestChangesKey, jobChanges(before, after)}})),
              RequestResult::kDone);
  }
  EXPECT_EQ(one.get(), 2 * kSteps);
  EXPECT_EQ(two.get(), 2 * kSteps);
  ASSERT_EQ(app->jobs().count(), 4);
  for (std::int32_t index = 0; index < 4; ++index) {
    app->enableJobAtIndex(index);
    serveUntil([&] { return !app->jobIsBusyAtIndex(index); });
    const auto before = app->control().object(index)->endedRuns().number;
    app->startNowButtonActionWithJobIndex(index);
    serveUntil([&] { return app->control().object(index)->endedRuns().number > before; });
  }
}

}  // namespace
}  // namespace lumisk::test
