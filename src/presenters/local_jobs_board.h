#pragma once

#include "app/quorvel_app_object.h"
#include "presenters/request_board.h"

namespace lumisk {

// The jobs of the application in this process, which must outlive the board.
class LocalJobsBoard : public RequestBoard {
 public:
  // Serves the windows, without their user, until it is over: a change waits so for the runs that it cancels, which may
  // have much to bring to a slow disk. Without, they are waited for when the change is made.
  using ServeUntil = std::function<void(const std::function<bool()>& isOver)>;
  LocalJobsBoard(QuorvelAppObject& app, const Clock& clock, ServeUntil serveUntil = {});

  std::vector<BoardRun> running() override;
  PropertyList preference(const std::string& key) override { return app_.jobs().preference(key); }

 private:
  Result<PropertyList::Dictionary> ask(RequestAction action, PropertyList::Dictionary request) override;
  PropertyList::Array storedJobs() override { return app_.jobs().jobs(); }
  void endRunsOf(const PropertyList::Array& changes);

  QuorvelAppObject& app_;
  ServeUntil serveUntil_;
  std::shared_ptr<bool> isThere_ = std::make_shared<bool>(true);  // the application keeps its observers
};

}  // namespace lumisk
