#pragma once

#include <string>

#include "devices/mounted_images.h"
#include "engine/run_seams.h"

namespace lumisk {

// Mounts the images of jobs with the passwords that the user's keychain holds.
class KeychainImages : public ImageMounter {
 public:
  bool mountTheLumiskDMGFileAtPath(const std::string& path) override {
    return lumisk::mountTheLumiskDMGFileAtPath(path);
  }
  bool detachImage(const std::string& path) override { return detachImageAt(path); }
  bool isInImage(const std::string& folder, const std::string& path) override {
    return lumisk::isInImage(folder, path);
  }
  bool isAKeychainDMGAtPath(const std::string& path) override { return lumisk::isAKeychainDMGAtPath(path); }
};

}  // namespace lumisk
