#pragma once

#include <memory>

#include "app/keychain_images.h"
#include "app/quorvel_app_object.h"
#include "engine/folder_listening.h"
#include "platform/media_registry.h"
#include "platform/user_dialogs.h"

namespace lumisk {

// The application itself in a process with windows: made of the same parts as the one without.
class LocalDesktop {
 public:
  // All outlive it.
  LocalDesktop(MainLoop& loop, UserDialogs& dialogs, Clock& clock, FileCalls& files);

  [[nodiscard]] QuorvelAppObject& app() { return app_; }

 private:
  FileEventStreams streams_;
  UserDefaults defaults_{UserDefaults::standardPath()};
  NotificationCenter notifications_;
  KeychainImages images_;
  std::unique_ptr<MediaRegistry> media_ = makeMediaRegistry();
  QuorvelAppObject app_;
};

}  // namespace lumisk
