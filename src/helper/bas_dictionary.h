#pragma once

#include <cstddef>

#include "platform/framed_dictionary.h"
#include "platform/property_list.h"

namespace lumisk {

// The wire between the application and its helper: what goes before and between the dictionaries of
// platform/framed_dictionary.h. All give 0 or an errno value (BASReadDictionary also kNotADictionary), block until the
// deadline (ETIMEDOUT) and never raise SIGPIPE.

// The external form of an authorization, which comes before a request. Here the kernel says who asks and polkit whether
// they may, so that it is kAuthorizationSize zero bytes; anything else is refused.
inline constexpr std::size_t kAuthorizationSize = 32;  // both ends know it: do not change

// Move all bytes; ECONNRESET when the other end has closed before.
[[nodiscard]] int BASRead(int socket, char* buffer, std::size_t size, Deadline deadline);
[[nodiscard]] int BASWrite(int socket, const char* bytes, std::size_t size, Deadline deadline);

[[nodiscard]] int BASReadDictionary(int socket, PropertyList::Dictionary& dictionary, Deadline deadline);
[[nodiscard]] int BASWriteDictionary(const PropertyList::Dictionary& dictionary, int socket, Deadline deadline);

[[nodiscard]] int readAuthorization(int socket, Deadline deadline);  // EBADMSG for another form
[[nodiscard]] int writeAuthorization(int socket, Deadline deadline);

}  // namespace lumisk
