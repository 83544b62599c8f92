#pragma once

#include <string>
#include <tl/expected.hpp>
#include <utility>

namespace lumisk {

// Why an operation on the system failed. One error describes one failed operation on one path; lower floors return it
// and never log it, the run decides what it means.
struct Error {
  std::string operation;  // what was tried, a verb phrase: "open", "rename", "read the attributes"
  std::string path;       // what it was tried on: a path, or the bare name where only the folder's descriptor is known
  int code = 0;           // an errno value; 0 when `detail` says all there is to say
  std::string detail;     // free text for failures that have no errno

  // "open /a/b: Permission denied"
  [[nodiscard]] std::string text() const;
};

// A value or an Error. Must not be ignored.
template <class T>
class [[nodiscard]] Result : public tl::expected<T, Error> {
 public:
  using tl::expected<T, Error>::expected;
};

// Builds the failure of any Result: `return fail("open", path, errno);`
[[nodiscard]] inline tl::unexpected<Error> fail(std::string operation, std::string path, int code,
                                                std::string detail = {}) {
  return tl::make_unexpected(Error{std::move(operation), std::move(path), code, std::move(detail)});
}

[[nodiscard]] inline tl::unexpected<Error> fail(Error error) {
  return tl::make_unexpected(std::move(error));
}

#define LUMISK_JOIN2(a, b) a##b
#define LUMISK_JOIN(a, b) LUMISK_JOIN2(a, b)

// LUMISK_TRY(auto folder, files.openFolder(at, name));   declares, or returns the error to the caller
// LUMISK_CHECK(files.removeFile(at, name));              the same for Result<void>
#define LUMISK_TRY(declaration, expression) LUMISK_TRY_IMPL(LUMISK_JOIN(lumiskTry_, __LINE__), declaration, expression)
#define LUMISK_TRY_IMPL(temporary, declaration, expression)            \
  auto temporary = (expression);                                       \
  if (!temporary) return ::lumisk::fail(std::move(temporary).error()); \
  declaration = std::move(*temporary)
#define LUMISK_CHECK(expression)                                                                                    \
  do {                                                                                                              \
    if (auto lumiskChecked = (expression); !lumiskChecked) return ::lumisk::fail(std::move(lumiskChecked).error()); \
  } while (false)

}  // namespace lumisk
