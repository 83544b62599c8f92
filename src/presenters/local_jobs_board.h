#pragma once

#include "app/quorvel_app_object.h"
#include "presenters/request_board.h"

namespace lumisk {

// The jobs of the application in this process, which must outlive the board.
class LocalJobsBoard : public RequestBoard {
 public:
  LocalJobsBoard(QuorvelAppObject& app, const Clock& clock);

  std::vector<BoardRun> running() override;
  PropertyList preference(const std::string& key) override { return app_.jobs().preference(key); }

 private:
  Result<PropertyList::Dictionary> ask(RequestAction action, PropertyList::Dictionary request) override;
  PropertyList::Array storedJobs() override { return app_.jobs().jobs(); }

  QuorvelAppObject& app_;
  std::shared_ptr<bool> isThere_ = std::make_shared<bool>(true);  // the application keeps its observers
};

}  // namespace lumisk
