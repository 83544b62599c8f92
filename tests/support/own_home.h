#pragma once

#include <cstdlib>
#include <string>

namespace lumisk::test {

// Makes a folder of the test the home folder, so that nothing reaches the user's own settings and Trash.
class OwnHome {
 public:
  explicit OwnHome(const std::string& folder) {
    setenv("LUMISK_HOME", folder.c_str(), 1);
    setenv("XDG_DATA_HOME", (folder + "/data").c_str(), 1);
  }
  ~OwnHome() {
    unsetenv("LUMISK_HOME");
    unsetenv("XDG_DATA_HOME");
  }
  OwnHome(const OwnHome&) = delete;
  OwnHome& operator=(const OwnHome&) = delete;
};

}  // namespace lumisk::test
