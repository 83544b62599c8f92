#include "cli/instance.h"

#include <cerrno>

namespace lumisk {
namespace {

constexpr const char* kName = "running instance";
// A change is answered when the runs that it stops have ended; bringing their data to a slow disk takes its time.
constexpr std::chrono::minutes kChangePatience{30};
constexpr std::chrono::seconds kPatience{30};

Complaint lost(const Error& error) {
  const char* why = error.code == ETIMEDOUT ? "it does not answer" : "it has ended";
  return {Ending::kIncomplete, kName, why};
}

const char* reasonOf(RequestResult result) {
  switch (result) {
    case RequestResult::kNoSuchJob:
      return "no such job";
    case RequestResult::kBusy:
      return "it runs already";
    case RequestResult::kConflict:
      return "somebody else has just changed the same";
    case RequestResult::kNotUnderstood:
      return "the running instance does not understand this; is it of another version?";
    case RequestResult::kDone:
    case RequestResult::kRefused:
      break;
  }
  return "refused by the running instance";
}

}  // namespace

std::optional<Instance> Instance::find() {
  Instance instance;
  if (!instance.client_.connect()) return std::nullopt;
  return instance;
}

Checked<PropertyList> Instance::ask(RequestAction action, PropertyList::Dictionary request) {
  request[kActionTypeKey] = static_cast<std::int32_t>(action);
  auto answer = client_.request(request, action == RequestAction::kChangeJobs ? kChangePatience : kPatience);
  if (!answer) return fail(lost(answer.error()));
  return PropertyList(std::move(*answer));
}

RequestResult resultOf(const PropertyList& answer) {
  if (answer[kResultKey].isNone()) return RequestResult::kNotUnderstood;
  return static_cast<RequestResult>(answer[kResultKey].integer32());
}

tl::unexpected<Complaint> refusedBy(const PropertyList& answer, const std::string& what) {
  const RequestResult result = resultOf(answer);
  if (result == RequestResult::kNoSuchJob) return noSuchJob(what);
  const std::string reason = answer[kReasonKey].text();
  return refuse(what, reason.empty() ? reasonOf(result) : reason);
}

tl::unexpected<Complaint> noInstance() {
  return refuse(kName, "there is none; `lumisk daemon` starts one");
}

}  // namespace lumisk
