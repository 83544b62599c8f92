#pragma once

#include <string>
#include <tl/expected.hpp>
#include <type_traits>
#include <utility>

#include "cli/exit_status.h"
#include "platform/result.h"

namespace lumisk {

// Why a command was not carried out: "lumisk: <what>: <why>" on standard error, one line.
struct Complaint {
  Ending ending = Ending::kRefused;
  std::string what;  // a path, a name, an option
  std::string why;
};

// A value or a complaint. LUMISK_TRY and LUMISK_CHECK carry both kinds of failure up.
template <class T>
class [[nodiscard]] Checked : public tl::expected<T, Complaint> {
 public:
  using tl::expected<T, Complaint>::expected;
};

[[nodiscard]] inline tl::unexpected<Complaint> fail(Complaint complaint) {
  return tl::make_unexpected(std::move(complaint));
}
[[nodiscard]] inline tl::unexpected<Complaint> refuse(std::string what, std::string why) {
  return fail(Complaint{Ending::kRefused, std::move(what), std::move(why)});
}
[[nodiscard]] inline tl::unexpected<Complaint> noSuchJob(std::string name) {
  return fail(Complaint{Ending::kNoSuchJob, std::move(name), "no such job"});
}
// An operation of the system that failed.
[[nodiscard]] Complaint complaintOf(const Error& error);
template <class T>
Checked<T> checked(Result<T> result) {
  if (!result) return fail(complaintOf(result.error()));
  if constexpr (std::is_void_v<T>) {
    return {};
  } else {
    return std::move(*result);
  }
}

// The line as it is shown, without its newline. Whatever the parts hold, it is one line.
[[nodiscard]] std::string complaintLine(const Complaint& complaint);

}  // namespace lumisk
