#include "platform/child_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>

#include "platform/descriptor.h"
#include "support/temp_tree.h"

namespace lumisk {
namespace {

ChildRequest shell(const std::string& script) {
  ChildRequest request;
  request.arguments = {"sh", "-c", script};
  return request;
}

TEST(ChildProcess, InputOutputAndStatus_AreCarried) {
  ChildRequest request = shell("cat; echo bad >&2; echo $LUMISK_X; exit 7");
  request.input = std::string(300'000, 'x');  // more than any channel holds
  request.environment = {"LUMISK_X=given"};
  const auto result = runChild(request);
  ASSERT_TRUE(result);
  EXPECT_EQ(result->status, 7);
  EXPECT_EQ(result->output, request.input + "given\n");
  EXPECT_EQ(result->errors, "bad\n");
}

TEST(ChildProcess, ChildThatDoesNotReadItsInput_IsNoError) {
  ChildRequest request = shell("exec 0<&-; echo done");
  request.input = std::string(1'000'000, 'x');
  const auto result = runChild(request);
  ASSERT_TRUE(result);
  EXPECT_EQ(result->output, "done\n");
}

TEST(ChildProcess, StandardFilesOpenedByName_AreOurs) {
  ChildRequest request = shell("cat /dev/stdin; echo bad > /dev/stderr");
  request.input = "word";
  const auto result = runChild(request);
  ASSERT_TRUE(result);
  EXPECT_EQ(result->output, "word");
  EXPECT_EQ(result->errors, "bad\n");
}

TEST(ChildProcess, WhatItLeavesInTheBackground_IsNotWaitedFor) {
  const auto result = runChild(shell("sleep 1000 & echo $!; exit 3"));
  ASSERT_TRUE(result);
  EXPECT_EQ(result->status, 3);
  EXPECT_EQ(::kill(std::stoi(result->output), SIGKILL), 0);
}

TEST(ChildProcess, TimeUp_EndsAlsoWhatItStartedAndWhatIsSilent) {
  const test::TempTree tree{{"fifo", test::Fifo{}}};
  const Descriptor reader(::open((tree / "fifo").c_str(), O_RDONLY | O_NONBLOCK));
  ChildRequest request = shell("exec >&- 2>&-; sleep 1000 > '" + tree / "fifo" + "' & wait");
  request.limit = std::chrono::milliseconds(200);
  EXPECT_EQ(runChild(request).error().code, ETIMEDOUT);
  ::fcntl(reader.get(), F_SETFL, 0);
  char byte;
  EXPECT_EQ(::read(reader.get(), &byte, 1), 0) << "this is reached when nobody holds the fifo any more";
}

TEST(ChildProcess, GivenUp_EndsIt) {
  int asked = 0;
  const auto result = runChild({.arguments = {"sleep", "1000"},
                                .input = {},
                                .environment = {},
                                .isGivenUp = [&] { return ++asked == 3; },
                                .sharesTerminal = true});
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().code, ECANCELED);
}

TEST(ChildProcess, Arguments_PassNoShell) {
  ChildRequest request;
  request.arguments = {"printf", "%s|", "a b", "$(id)", "'\"`", ""};
  EXPECT_EQ(runChild(request)->output, "a b|$(id)|'\"`||");
}

TEST(ChildProcess, ChildInheritsNoDescriptorAndNoBlockedSignal) {
  const auto result = runChild(shell("ls /proc/self/fd | wc -l; grep SigBlk /proc/self/status"));
  ASSERT_TRUE(result);
  EXPECT_EQ(result->output, "4\nSigBlk:\t0000000000000000\n");
}

TEST(ChildProcess, Failures_AreToldApart) {
  ChildRequest missing;
  missing.arguments = {"/no/such/program"};
  EXPECT_EQ(runChild(missing).error().code, ENOENT);
  EXPECT_EQ(runChild({}).error().code, EINVAL);
  EXPECT_EQ(runChild(shell("kill -TERM $$"))->status, 128 + 15);
  ChildRequest endless = shell("sleep 1000");
  endless.limit = std::chrono::milliseconds(20);
  EXPECT_EQ(runChild(endless).error().code, ETIMEDOUT);
}

}  // namespace
}  // namespace lumisk
