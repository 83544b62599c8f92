#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

#include "support/temp_tree.h"

namespace lumisk::test {

// Sets an environment variable for its lifetime.
class ScopedVariable {
 public:
  ScopedVariable(std::string name, const std::string& value) : name_(std::move(name)) {
    if (const char* before = std::getenv(name_.c_str())) before_ = before;
    ::setenv(name_.c_str(), value.c_str(), 1);
    ::tzset();
  }
  ~ScopedVariable() {
    before_ ? ::setenv(name_.c_str(), before_->c_str(), 1) : ::unsetenv(name_.c_str());
    ::tzset();
  }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  std::string name_;
  std::optional<std::string> before_;
};

// A home folder of its own, one hour east of Greenwich.
class HomeFixture : public ::testing::Test {
 protected:
  TempTree home{{"Library", Dir{{"Preferences", Dir{}}}}};
  [[nodiscard]] std::string preferences(const std::string& name) const {
    return home / ("Library/Preferences/" + name);
  }

 private:
  ScopedVariable home_{"LUMISK_HOME", home.path()};
  ScopedVariable zone_{"TZ", "CET-1"};
};

}  // namespace lumisk::test
