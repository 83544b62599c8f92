#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "cli/command_line.h"
#include "platform/property_list.h"
#include "platform/user_defaults.h"
#include "support/fake_clock.h"
#include "support/temp_tree.h"

namespace lumisk::test {

// The whole command line inside the test, with a home folder and a working folder of its own.
class CommandLineFixture : public ::testing::Test {
 protected:
  struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
    [[nodiscard]] nlohmann::json json() const { return nlohmann::json::parse(out, nullptr, false); }
  };

  CommandLineFixture() { setenv("LUMISK_HOME", home_.path().c_str(), 1); }

  Outcome run(const std::vector<std::string>& arguments) {
    std::ostringstream out, err;
    CommandIo io{out, err, clock_, realFileCalls(), loop_, work_.path()};
    const int status = runCommandLine(arguments, io);
    return {status, out.str(), err.str()};
  }
  // Fails the test where the command does.
  Outcome done(const std::vector<std::string>& arguments) {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, 0) << ::testing::PrintToString(arguments) << "\n" << outcome.err;
    return outcome;
  }
  PropertyList storedJob(std::size_t index) {
    return UserDefaults(storePath()).object("Qel LumiskSettings").value_or(PropertyList()).at(index);
  }
  static std::string storePath() { return UserDefaults::standardPath(); }

  TempTree home_;
  TempTree work_{{"docs", Dir{{"one.txt", File{"one", 0644, 1000}}, {"two.jpg", File{"two", 0644, 1000}}}},
                 {"target", Dir{}},
                 {"file", File{"text"}},
                 {"more", Dir{{"docs", Dir{}}}}};
  FakeClock clock_;
  MainLoop loop_;
};

}  // namespace lumisk::test
