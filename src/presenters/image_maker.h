#pragma once

#include <functional>
#include <optional>
#include <string>

#include "devices/create_dmg_controller.h"
#include "presenters/background.h"

namespace lumisk {

// What is asked about an encrypted image that a job's copies shall go into.
struct ImageAnswers {
  std::string folder;  // where its file goes
  std::string name;    // of the file, without extension, and of the volume inside
  std::string password, verify;
  bool keepPassword = true;  // in the keychain
};

struct MadeImage {
  std::string imagePath;
  std::string mountPoint;
};

// Makes and mounts an image in the background. The password is passed on and not kept. Main thread only; what is being
// made when the maker goes is deleted.
class ImageMaker {
 public:
  ImageMaker(std::string defaultsPath, createDMGController::Tool tool, Background background)
      : defaultsPath_(std::move(defaultsPath)), tool_(std::move(tool)), task_(std::move(background)) {}

  // What is wrong with the answers, for a person; nothing when an image can be made of them.
  [[nodiscard]] static std::optional<std::string> problem(const ImageAnswers& answers);
  // `done`: the image, or why there is none. Never called after the maker has gone.
  void make(ImageAnswers answers, std::function<void(std::optional<MadeImage>, const std::string& why)> done);

 private:
  std::string defaultsPath_;
  createDMGController::Tool tool_;
  BackgroundTask task_;
};

}  // namespace lumisk
