#pragma once

#include <optional>
#include <string>

#include "app/instance_requests.h"
#include "cli/complaint.h"
#include "finder/do_client.h"

namespace lumisk {

// The running instance that holds the store of this home folder, as commands talk to it. One thread at a time.
class Instance {
 public:
  // Nothing when none answers.
  [[nodiscard]] static std::optional<Instance> find();

  // What it answers. A complaint only when it has gone or does not answer in time; see resultOf() for the rest.
  Checked<PropertyList> ask(RequestAction action, PropertyList::Dictionary request = {});

 private:
  doClient client_;
};

[[nodiscard]] RequestResult resultOf(const PropertyList& answer);
// An answer that is not kDone, as the complaint about `what`.
[[nodiscard]] tl::unexpected<Complaint> refusedBy(const PropertyList& answer, const std::string& what);
// Nobody is there who could do it.
[[nodiscard]] tl::unexpected<Complaint> noInstance();

}  // namespace lumisk
