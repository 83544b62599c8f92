#pragma once

#include "app/instance_requests.h"
#include "platform/clock.h"
#include "presenters/jobs_board.h"

namespace lumisk {

// A board whose changes are made by requests to the application, in this process or another: what the command line does
// to jobs and what the windows do is the same.
class RequestBoard : public JobsBoard {
 public:
  explicit RequestBoard(const Clock& clock) : clock_(clock) {}

  std::vector<BoardJob> jobs() override;
  Refusal start(const std::string& uuid) override;
  Refusal startAllowingDeletions(const std::string& uuid) override;
  Refusal stop(const std::string& uuid) override;
  Refusal pause(const std::string& uuid) override;
  Refusal resume(const std::string& uuid) override;
  Refusal setActive(const std::string& uuid, bool active) override;
  Refusal remove(const std::string& uuid) override;
  Refusal add(const QUORVELPREFERENCEINFO& job) override;
  Refusal edit(const PropertyList& before, const QUORVELPREFERENCEINFO& after) override;
  Refusal setPreference(const std::string& key, const PropertyList& value) override;
  Observation observe(Observer changed) override { return observers_.add(std::move(changed)); }

 protected:
  // The answer, or an error when nobody answers.
  virtual Result<PropertyList::Dictionary> ask(RequestAction action, PropertyList::Dictionary request) = 0;
  virtual PropertyList::Array storedJobs() = 0;
  void tell(BoardChange change) { observers_.tell(change); }

 private:
  Refusal request(RequestAction action, PropertyList::Dictionary request);
  Refusal change(const PropertyList::Array& before, const PropertyList::Array& after);

  const Clock& clock_;
  BoardObservers observers_;
};

}  // namespace lumisk
