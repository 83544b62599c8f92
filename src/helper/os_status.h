#pragma once

#include <cstdint>
#include <string>

namespace lumisk {

// The error codes that travel between the application and its helper: 0, an errno value as it is, or one of these.
// Known to both ends: do not change.
using OSStatus = std::int32_t;
inline constexpr OSStatus kNoError = 0;
inline constexpr OSStatus kUserCancelled = -128;
inline constexpr OSStatus kAuthorizationDenied = -60005;
inline constexpr OSStatus kAuthorizationCancelled = -60006;  // whoever should have authenticated has refused

// ECANCELED is kUserCancelled; every other code stays as it is.
[[nodiscard]] OSStatus BASErrnoToOSStatus(int code);
// EPERM for a denied right, ECANCELED for what a user has cancelled, EBADMSG for what is no dictionary; EIO for every
// other code that is no errno value.
[[nodiscard]] int BASOSStatusToErrno(OSStatus status);
[[nodiscard]] std::string statusText(OSStatus status);  // for people

}  // namespace lumisk
